#include "simulation/call.h"

#include <array>
#include <cstring>

namespace Simulation {

namespace {

constexpr std::array<char const*, CallCount> Names{{
#define SIMULATION_NAME(name, text) text,
    SIMULATION_CALLS(SIMULATION_NAME)
#undef SIMULATION_NAME
}};

template <class Predicate>
CallSet Pick(Predicate predicate) {
    CallSet set;
    for (std::size_t i = 0; i < CallCount; ++i) {
        auto const call = static_cast<Call_t>(i);
        if (predicate(call)) {
            set = set | CallSet{call};
        }
    }
    return set;
}

bool StartsWith(char const* text, char const* start) {
    return std::strncmp(text, start, std::strlen(start)) == 0;
}

} // namespace

char const* ToString(Call_t call) {
    return Names[static_cast<std::size_t>(call)];
}

char const* ToShortString(Call_t call) {
    return std::strstr(ToString(call), "::") + 2;
}

CallSet CallSet::All() {
    return Pick([](Call_t) { return true; });
}

CallSet CallSet::Win32() {
    return Pick([](Call_t call) { return StartsWith(ToString(call), "Win32::"); });
}

CallSet CallSet::References() {
    return Pick([](Call_t call) {
        char const* const name = ToShortString(call);
        return StartsWith(name, "QueryInterface") || StartsWith(name, "AddRef") ||
               StartsWith(name, "Release");
    });
}

CallSet CallSet::Buffer() {
    return Pick([](Call_t call) {
               return StartsWith(ToString(call), "SoundBuffer::") ||
                      StartsWith(ToString(call), "SoundNotify::");
           }) -
           References();
}

CallSet CallSet::CaptureBuffer() {
    return Pick([](Call_t call) { return StartsWith(ToString(call), "CaptureBuffer::"); }) - References();
}

} // namespace Simulation
