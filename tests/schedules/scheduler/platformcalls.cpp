#include "platformcalls.h"

#include <cstdint>

#include "simulation/win32/invocation.h"
#include "simulation/win32/platformmutex.h"

// The program's own code, as the linker lays it out.
extern "C" char const __executable_start;
extern "C" char const etext;

namespace Schedules {

namespace {

bool IsOfTheProgram(void const* place) {
    auto const address = reinterpret_cast<std::uintptr_t>(place);
    return address >= reinterpret_cast<std::uintptr_t>(&__executable_start) &&
           address < reinterpret_cast<std::uintptr_t>(&etext);
}

} // namespace

bool IsPlatformMutex(pthread_mutex_t const* mutex) {
    return mutex == Simulation::PlatformMutex().native_handle();
}

bool IsPoint(pthread_mutex_t const* mutex, void const* place) {
    return IsPlatformMutex(mutex) ? Simulation::IsInInvocation() : IsOfTheProgram(place);
}

} // namespace Schedules
