#include "model/trace.h"

#include <algorithm>
#include <cstdio>

namespace ModelTest {

char const* ToString(Call call) {
    static constexpr std::array<char const*, CallCount> Names{{
        "MakeEvent",
        "SetEvent",
        "CloseHandle",
        "CreateSoundBuffer",
        "QueryBuffer8",
        "QueryNotify",
        "ReleaseBuffer",
        "ReleaseNotify",
        "GetStatus",
        "GetPosition",
        "SetPosition",
        "SetFrequency",
        "SetVolume",
        "SetPan",
        "SetNotification",
        "Play",
        "Stop",
        "Lock",
        "Unlock",
        "Restore",
        "CreateCaptureBuffer",
        "CaptureQueryBuffer8",
        "CaptureRelease",
        "CaptureGetPosition",
        "CaptureLock",
        "CaptureUnlock",
        "CaptureStart",
        "CaptureStop",
    }};
    return Names[static_cast<std::size_t>(call)];
}

std::string CallLine::Text() const {
    std::string text = std::string(ToString(call)) + " on " + std::to_string(object) + " (";
    for (std::int64_t const argument : arguments) {
        text += std::to_string(argument) + " ";
    }
    text.back() = ')';
    if (result != Ok) {
        char number[16];
        std::snprintf(number, sizeof number, " = 0x%08X", static_cast<unsigned int>(result));
        text += number;
    }
    return text;
}

std::string LogLine::Text() const {
    return channel + " level " + std::to_string(level) + ": " + message +
           (function.empty() ? "" : " at " + function);
}

std::string CodecLine::Text() const {
    return isTranscode ? "transcode to " + std::to_string(coding) + ", " + std::to_string(channels) +
                             " channels, " + std::to_string(frequency) + " Hz, " +
                             std::to_string(durationNanoSec) + " ns, flush " + std::to_string(isFlush)
                       : "decode";
}

void Trace::BeginStep(std::vector<Fault> const& faults) {
    calls.clear();
    logs.clear();
    codec.clear();
    faults_ = faults;
}

std::uint32_t Trace::MakeEvent() {
    ++events;
    Add(Call::MakeEvent, events, {}, 0);
    return events;
}

std::uint32_t Trace::TakeFault(Call call) {
    std::uint32_t result = Ok;
    for (Fault& fault : faults_) {
        // Of two for the same call the later one holds.
        if (fault.call == call && fault.nth != 0 && --fault.nth == 0) {
            result = fault.result;
        }
    }
    return result;
}

void Trace::Add(Call call, std::uint32_t object, std::initializer_list<std::int64_t> arguments,
                std::uint32_t result) {
    CallLine line;
    line.call = call;
    line.object = object;
    std::copy(arguments.begin(), arguments.end(), line.arguments.begin());
    line.result = result;
    calls.push_back(line);
}

} // namespace ModelTest
