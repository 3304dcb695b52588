#include "model/trace.h"

#include <algorithm>
#include <cstdio>

namespace ModelTest {

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
    Add(Call_t::Win32CreateEvent, events, {}, 0);
    return events;
}

std::uint32_t Trace::TakeFault(Call_t call) {
    std::uint32_t result = Ok;
    for (Fault& fault : faults_) {
        // Of two for the same call the later one holds.
        if (fault.call == call && fault.nth != 0 && --fault.nth == 0) {
            result = fault.result;
        }
    }
    return result;
}

void Trace::Add(Call_t call, std::uint32_t object, std::initializer_list<std::int64_t> arguments,
                std::uint32_t result) {
    CallLine line;
    line.call = call;
    line.object = object;
    std::copy(arguments.begin(), arguments.end(), line.arguments.begin());
    line.result = result;
    calls.push_back(line);
}

} // namespace ModelTest
