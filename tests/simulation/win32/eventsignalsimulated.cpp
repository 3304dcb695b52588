#include "simulation/win32/eventsignal.h"
#include "simulation/world.h"

namespace Simulation {

bool MayBeNotified(World& world, HANDLE event) {
    return world.Events().Find(event) != nullptr;
}

bool Notify(World& world, HANDLE event) {
    EventObject* const object = world.Events().Find(event);
    if (object == nullptr) {
        return false;
    }
    world.Threads().Signal(*object);
    return true;
}

} // namespace Simulation
