#include "simulation/win32/threadnumber.h"

#include <atomic>
#include <boost/thread/tss.hpp>
#include <type_traits>

#include "simulation/win32/platformmutex.h"
#include "simulation/world.h"

namespace Simulation {

namespace {

std::atomic<std::uint64_t> lastThreadNumber{0};

/// Kept by each thread until it ends.
struct ThreadMark {
    explicit ThreadMark(std::uint64_t number_) : number(number_) {}
    ThreadMark(ThreadMark const&) = delete;
    ThreadMark& operator=(ThreadMark const&) = delete;
    ~ThreadMark() {
        PlatformLock const lock(PlatformMutex());
        if (World* const world = World::Find()) {
            world->Threads().HasEnded(number);
        }
    }

    std::uint64_t const number;
};

/// Boost's, since the memory of a `thread_local` object is gone under mingw before its destructor runs. It
/// lives for ever, as threads may end after the program's statics.
boost::thread_specific_ptr<ThreadMark>& Mark() {
    static auto* const mark = new boost::thread_specific_ptr<ThreadMark>;
    return *mark;
}

} // namespace

std::uint64_t ThisThreadNumber() {
    thread_local std::uint64_t number = 0;
    static_assert(std::is_trivially_destructible_v<decltype(number)>);
    if (number == 0) {
        number = ++lastThreadNumber;
        Mark().reset(new ThreadMark(number));
    }
    return number;
}

} // namespace Simulation
