#pragma once

#include "simulation/win32/dsoundheaders.h"

namespace Simulation {

class World;

// What a notification point does with its event: the simulated one in unit tests, the kernel's own where the
// simulation is a DLL beside a module that knows nothing of it. The platform's mutex is held.

/// True when `event` may stand in a notification point.
bool MayBeNotified(World& world, HANDLE event);

/// Signals `event`; false when it is closed.
bool Notify(World& world, HANDLE event);

} // namespace Simulation
