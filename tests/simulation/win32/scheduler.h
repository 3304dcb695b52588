#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "simulation/manualclock.h"
#include "simulation/win32/eventtable.h"
#include "simulation/win32/platformmutex.h"

namespace Simulation {

class World;

/// Who waits, and until when; lets time pass from one due event to the next.
///
/// A thread is known from the first wait that blocks it. It counts as running from its release until it
/// waits again or ends, and while any thread runs (the one that moves the clock aside) time stands still.
///
/// **Threads:** the platform's mutex is held in every operation, and given up while one of them blocks.
class Scheduler {
public:
    Scheduler(World& world, ManualClock& clock) : world_(world), clock_(clock) {}

    /// Blocks until one of `count` events is signalled or `timeoutMilliSec` have passed on the clock (for
    /// ever when INFINITE). The index of the event with the lowest index, or WAIT_TIMEOUT. No event at all
    /// makes a sleep.
    DWORD Wait(PlatformLock& lock, EventObject* const* events, std::size_t count, DWORD timeoutMilliSec);

    /// Signals the event and hands it to the threads that wait for it.
    void Signal(EventObject& event);

    /// Moves the clock to `targetNanoSec`, through every due event.
    void RunUntil(PlatformLock& lock, std::int64_t targetNanoSec);

    /// Something that is due has changed.
    void Reschedule();

    void HasEnded(std::uint64_t thread);
    /// The calling thread's wait has failed. It may do so for ever: time does not stand still for a thread
    /// that cannot wait.
    void LetGo();

    /// Counts a call of WaitForMultipleObjects.
    void CountWaitCall();
    std::uint64_t WaitCalls() const { return waitCalls_; }

    std::size_t BlockedThreads() const { return waiters_.size(); }
    bool IsBlocked(std::string const& threadName) const;
    bool IsQuiet() const;
    /// Waits in real time until `isDone`; ends the program after a while, with `what` in the message.
    void WaitUntil(PlatformLock& lock, std::function<bool()> const& isDone, std::string const& what);

private:
    struct Waiter {
        EventObject* const* events;
        std::size_t count;
        std::int64_t deadlineNanoSec;
        std::uint64_t thread;
        std::string threadName;
        bool isReleased;
        DWORD result;
        std::condition_variable released;
    };
    struct Runner {
        std::uint64_t thread;
        std::string threadName;
    };

    void Release(Waiter& waiter, DWORD result);
    Waiter* NextDueWaiter() const;
    std::int64_t NextWaitNanoSec() const;
    void StopRunning(std::uint64_t thread);
    std::string Describe() const;

    World& world_;
    ManualClock& clock_;
    /// In the order in which the waits began.
    std::vector<Waiter*> waiters_;
    std::vector<Runner> runners_;
    std::uint64_t waitCalls_ = 0;
    std::condition_variable changed_;
};

} // namespace Simulation
