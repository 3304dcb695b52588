#include "model/step.h"

#include <cstdio>

namespace ModelTest {

namespace {

constexpr std::array<std::int64_t, NumberCount> Defaults{{
    7'000'000'000'000, // Timestamp
    0x300,             // Coding
    1920,              // Bytes
    0,                 // DataAt
    48000,             // Rate
    1,                 // Channels
    100'000'000,       // Ahead
    1,                 // Decoded
    48000,             // DecodedRate
    1920,              // DecodedBytes
    0,                 // EndsInNull
    1,                 // Transcoded
    1920,              // TranscodedBytes
    1000,              // Volume
    500,               // Balance
    0,                 // Amount
    0,                 // Phase
}};

std::string NumberText(std::int64_t value) {
    if (value == INT64_MIN) {
        return "INT64_MIN";
    }
    return std::to_string(value);
}

std::string Hex(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned int>(value));
    return text;
}

} // namespace

char const* ToString(Action action) {
    static constexpr std::array<char const*, ActionCount> Names{{
        "Render",           "Client",        "Service",      "Advance",
        "StepSystemClock",  "Lose",          "Skew",         "CursorStep",
        "StartDelay",       "LockSplit",     "CaptureStart", "CaptureStop",
        "CaptureHalt",      "CaptureCreate", "CaptureRead",  "CaptureMeter",
        "CaptureLevel",     "CaptureAtOnce", "CaptureSkew",  "CaptureCursorStep",
        "CaptureLockSplit", "CaptureStall",
    }};
    return Names[static_cast<std::size_t>(action)];
}

char const* ToString(Number number) {
    static constexpr std::array<char const*, NumberCount> Names{{
        "Timestamp",
        "Coding",
        "Bytes",
        "DataAt",
        "Rate",
        "Channels",
        "Ahead",
        "Decoded",
        "DecodedRate",
        "DecodedBytes",
        "EndsInNull",
        "Transcoded",
        "TranscodedBytes",
        "Volume",
        "Balance",
        "Amount",
        "Phase",
    }};
    return Names[static_cast<std::size_t>(number)];
}

std::int64_t DefaultOf(Number number) {
    return Defaults[static_cast<std::size_t>(number)];
}

Step::Step(Action action_) : action(action_), numbers(Defaults) {}

std::string Step::Text() const {
    std::string text = "Step(Action::" + std::string(ToString(action)) + ")";
    for (std::size_t i = 0; i < NumberCount; ++i) {
        auto const number = static_cast<Number>(i);
        if (Get(number) != DefaultOf(number)) {
            text += std::string(".With(Number::") + ToString(number) + ", " + NumberText(Get(number)) + ")";
        }
    }
    for (Fault const& fault : faults) {
        text += std::string(".Failing(Call::") + ToString(fault.call) + ", " + std::to_string(fault.nth) +
                ", " + Hex(fault.result) + ")";
    }
    return text;
}

std::string ToText(Scenario const& scenario) {
    std::string text = "{\n";
    for (Step const& step : scenario) {
        text += "    " + step.Text() + ",\n";
    }
    return text + "}";
}

} // namespace ModelTest
