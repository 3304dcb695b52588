#include "model/steps/step.h"

#include <array>
#include <cstdio>
#include <iterator>

namespace ModelTest {

namespace {

constexpr std::array<char const*, std::variant_size_v<Action>> Names{{
    "Render",           "Client",        "Service",      "Advance",
    "StepSystemClock",  "Lose",          "Skew",         "CursorStep",
    "StartDelay",       "LockSplit",     "CaptureStart", "CaptureStop",
    "CaptureHalt",      "CaptureCreate", "CaptureRead",  "CaptureMeter",
    "CaptureLevel",     "CaptureAtOnce", "CaptureSkew",  "CaptureCursorStep",
    "CaptureLockSplit", "CaptureStall",
}};

constexpr char const* CallNames[] = {
#define MODEL_CALL_NAME(name, text) #name,
    SIMULATION_CALLS(MODEL_CALL_NAME)
#undef MODEL_CALL_NAME
};

struct Field {
    char const* name;
    std::int64_t Render::*number;
};
constexpr Field RenderFields[] = {
    {"timestampNanoSec", &Render::timestampNanoSec},
    {"coding", &Render::coding},
    {"bytes", &Render::bytes},
    {"dataAt", &Render::dataAt},
    {"rate", &Render::rate},
    {"channels", &Render::channels},
    {"aheadNanoSec", &Render::aheadNanoSec},
    {"decoded", &Render::decoded},
    {"decodedRate", &Render::decodedRate},
    {"decodedBytes", &Render::decodedBytes},
    {"endsInNull", &Render::endsInNull},
    {"transcoded", &Render::transcoded},
    {"transcodedBytes", &Render::transcodedBytes},
};
static_assert(std::size(RenderFields) == sizeof(Render) / sizeof(std::int64_t));

std::vector<std::int64_t*> FieldsOf(Render& frame) {
    std::vector<std::int64_t*> numbers;
    for (Field const& field : RenderFields) {
        numbers.push_back(&(frame.*field.number));
    }
    return numbers;
}

/// Of any other action, which has two numbers at most.
template <class Kind>
std::vector<std::int64_t*> FieldsOf([[maybe_unused]] Kind& kind) {
    if constexpr (std::is_empty_v<Kind>) {
        return {};
    } else if constexpr (sizeof(Kind) == sizeof(std::int64_t)) {
        auto& [only] = kind;
        return {&only};
    } else {
        auto& [first, second] = kind;
        return {&first, &second};
    }
}

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

/// A frame has too many numbers to tell them apart by their places: those that differ from the defaults are
/// named.
std::string TextOf(Render const& frame) {
    std::string text = "Render{}";
    for (Field const& field : RenderFields) {
        std::int64_t const value = frame.*field.number;
        if (value != Render().*field.number) {
            text += std::string(".With(&Render::") + field.name + ", " + NumberText(value) + ")";
        }
    }
    return text;
}

std::string TextOf(Action action) {
    if (auto const* const frame = std::get_if<Render>(&action)) {
        return TextOf(*frame);
    }
    std::string text = Names[action.index()] + std::string("{");
    for (std::int64_t const* const number : NumbersOf(action)) {
        text += (text.back() == '{' ? "" : ", ") + NumberText(*number);
    }
    return text + "}";
}

} // namespace

std::vector<std::int64_t*> NumbersOf(Action& action) {
    return std::visit([](auto& kind) { return FieldsOf(kind); }, action);
}

Action DefaultOf(Action const& action) {
    return std::visit([](auto const& kind) -> Action { return std::decay_t<decltype(kind)>(); }, action);
}

std::string Step::Text() const {
    std::string text = TextOf(action);
    if (!faults.empty()) {
        text = "Step(" + text + ")";
    }
    for (Fault const& fault : faults) {
        text += std::string(".Failing(Call_t::") + CallNames[static_cast<std::size_t>(fault.call)] + ", " +
                std::to_string(fault.nth) + ", " + Hex(fault.result) + ")";
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
