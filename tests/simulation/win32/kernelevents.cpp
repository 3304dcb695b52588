// Events are the kernel's own, where the simulation is a DLL beside a module that knows nothing of it.

#include "simulation/world.h"

namespace Simulation {

bool World::MayBeNotified(HANDLE event) {
    DWORD flags = 0;
    return GetHandleInformation(event, &flags) != FALSE;
}

bool World::Notify(HANDLE event) {
    return SetEvent(event) != FALSE;
}

} // namespace Simulation
