#include "simulation/threadnumber.h"

#include <atomic>

#include "simulation/platformmutex.h"
#include "simulation/world.h"

namespace Simulation {

namespace {

std::atomic<std::uint64_t> lastThreadNumber{0};

class ThreadMark {
public:
    ThreadMark() = default;
    ThreadMark(ThreadMark const&) = delete;
    ThreadMark& operator=(ThreadMark const&) = delete;
    ~ThreadMark() {
        PlatformLock const lock(PlatformMutex());
        if (World* const world = World::Find()) {
            world->Threads().HasEnded(number);
        }
    }

    std::uint64_t const number = ++lastThreadNumber;
};

} // namespace

std::uint64_t ThisThreadNumber() {
    thread_local ThreadMark const mark;
    return mark.number;
}

} // namespace Simulation
