#include "simulation/win32/eventsignal.h"

namespace Simulation {

bool MayBeNotified(World&, HANDLE event) {
    DWORD flags = 0;
    return GetHandleInformation(event, &flags) != FALSE;
}

bool Notify(World&, HANDLE event) {
    return SetEvent(event) != FALSE;
}

} // namespace Simulation
