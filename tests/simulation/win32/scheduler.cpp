#include "simulation/win32/scheduler.h"

#include <algorithm>
#include <chrono>

#include "kovra/thread.h"
#include "simulation/win32/fatal.h"
#include "simulation/win32/threadnumber.h"
#include "simulation/world.h"
#include "support/facts.h"

namespace Simulation {

DWORD Scheduler::Wait(PlatformLock& lock, EventObject* const* events, std::size_t count,
                      DWORD timeoutMilliSec) {
    for (std::size_t i = 0; i < count; ++i) {
        if (events[i]->isSignalled) {
            events[i]->isSignalled = events[i]->isManualReset;
            return WAIT_OBJECT_0 + static_cast<DWORD>(i);
        }
    }
    if (timeoutMilliSec == 0) {
        return WAIT_TIMEOUT;
    }
    std::int64_t const deadlineNanoSec =
        timeoutMilliSec == INFINITE ? INT64_MAX
                                    : clock_.NowNanoSec() + timeoutMilliSec * Facts::NanoSecPerMilliSec;
    Waiter waiter{events, count, deadlineNanoSec, ThisThreadNumber(), Kovra::GetThreadName(), false, 0, {}};
    StopRunning(waiter.thread);
    waiters_.push_back(&waiter);
    Reschedule();
    changed_.notify_all();
    waiter.released.wait(lock, [&waiter] { return waiter.isReleased; });
    return waiter.result;
}

void Scheduler::Signal(EventObject& event) {
    event.isSignalled = true;
    for (std::size_t i = 0; i < waiters_.size() && event.isSignalled;) {
        Waiter& waiter = *waiters_[i];
        auto const end = waiter.events + waiter.count;
        auto const found = std::find(waiter.events, end, &event);
        if (found == end) {
            ++i;
            continue;
        }
        event.isSignalled = event.isManualReset;
        Release(waiter, WAIT_OBJECT_0 + static_cast<DWORD>(found - waiter.events));
    }
}

void Scheduler::Release(Waiter& waiter, DWORD result) {
    waiter.result = result;
    waiter.isReleased = true;
    runners_.push_back({waiter.thread, waiter.threadName});
    waiters_.erase(std::find(waiters_.begin(), waiters_.end(), &waiter));
    Reschedule();
    waiter.released.notify_one();
}

void Scheduler::RunUntil(PlatformLock& lock, std::int64_t targetNanoSec) {
    for (;;) {
        WaitUntil(
            lock, [this] { return IsQuiet(); }, "every released thread to wait again or end");
        std::int64_t const deviceNanoSec = world_.NextDeviceEventNanoSec();
        std::int64_t const waitNanoSec = NextWaitNanoSec();
        std::int64_t const nextNanoSec = std::min(deviceNanoSec, waitNanoSec);
        if (nextNanoSec > targetNanoSec) {
            break;
        }
        clock_.MoveTo(std::max(clock_.NowNanoSec(), nextNanoSec));
        if (deviceNanoSec <= waitNanoSec) {
            world_.RunDeviceEvent(deviceNanoSec);
        } else {
            Release(*NextDueWaiter(), WAIT_TIMEOUT);
        }
    }
    clock_.MoveTo(std::max(clock_.NowNanoSec(), targetNanoSec));
    Reschedule();
}

void Scheduler::Reschedule() {
    clock_.SetQuietUntil(runners_.empty() ? std::min(NextWaitNanoSec(), world_.NextDeviceEventNanoSec())
                                          : INT64_MIN);
}

void Scheduler::HasEnded(std::uint64_t thread) {
    StopRunning(thread);
    Reschedule();
    changed_.notify_all();
}

void Scheduler::LetGo() {
    HasEnded(ThisThreadNumber());
}

void Scheduler::StopRunning(std::uint64_t thread) {
    runners_.erase(std::remove_if(runners_.begin(), runners_.end(),
                                  [thread](Runner const& runner) { return runner.thread == thread; }),
                   runners_.end());
}

void Scheduler::CountWaitCall() {
    ++waitCalls_;
    changed_.notify_all();
}

bool Scheduler::IsBlocked(std::string const& threadName) const {
    return std::any_of(waiters_.begin(), waiters_.end(),
                       [&threadName](Waiter const* waiter) { return waiter->threadName == threadName; });
}

bool Scheduler::IsQuiet() const {
    std::uint64_t const self = ThisThreadNumber();
    return std::all_of(runners_.begin(), runners_.end(),
                       [self](Runner const& runner) { return runner.thread == self; });
}

void Scheduler::WaitUntil(PlatformLock& lock, std::function<bool()> const& isDone, std::string const& what) {
    if (!changed_.wait_for(lock, std::chrono::seconds(World::WatchdogSeconds), isDone)) {
        Fatal("gave up waiting for " + what + "; " + Describe());
    }
}

Scheduler::Waiter* Scheduler::NextDueWaiter() const {
    auto const next = std::min_element(
        waiters_.begin(), waiters_.end(),
        [](Waiter const* a, Waiter const* b) { return a->deadlineNanoSec < b->deadlineNanoSec; });
    return next == waiters_.end() ? nullptr : *next;
}

std::int64_t Scheduler::NextWaitNanoSec() const {
    Waiter const* const next = NextDueWaiter();
    return next == nullptr ? INT64_MAX : next->deadlineNanoSec;
}

std::string Scheduler::Describe() const {
    std::string text = "running:";
    for (Runner const& runner : runners_) {
        text += " '" + runner.threadName + "'";
    }
    text += "; blocked:";
    for (Waiter const* const waiter : waiters_) {
        text += " '" + waiter->threadName + "'";
    }
    return text;
}

} // namespace Simulation
