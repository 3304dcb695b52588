// Events are the simulation's, where the module's Win32 calls come to it.

#include "simulation/world.h"

namespace Simulation {

bool World::MayBeNotified(HANDLE event) {
    return events_.Find(event) != nullptr;
}

bool World::Notify(HANDLE event) {
    EventObject* const object = events_.Find(event);
    if (object == nullptr) {
        return false;
    }
    scheduler_.Signal(*object);
    return true;
}

} // namespace Simulation
