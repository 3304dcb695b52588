#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "kovra/time.h"

namespace AudioHost {

/// Lets time pass, up to an instant.
class Pacer {
public:
    virtual ~Pacer() = default;

    /// Waits until the monotonic clock reads `instant`. False, at once, when the person asked to stop.
    virtual bool WaitUntil(Kovra::JiffyTime instant) = 0;
};

/// The machine's own time, ended by the person's wish.
///
/// **Threads:** `Request` from any thread (a Windows console handler runs on one of its own, so it may take
/// the lock); not from a POSIX signal handler.
class StopSignal : public Pacer {
public:
    /// Ends every wait, now and later. False when it was requested already.
    bool Request();
    bool IsRequested() const;
    bool WaitUntil(Kovra::JiffyTime instant) override;

private:
    mutable std::mutex lock_;
    std::condition_variable changed_;
    bool isRequested_ = false;
};

/// What `ask` answers, or throws. Nothing when the person asked to stop meanwhile: `ask`, which nothing ends,
/// runs on a thread of its own, is left to itself then, and must have all that it needs.
template <typename Answer>
std::optional<Answer> AskUntilStopped(std::function<Answer()> ask, Pacer& pacer) {
    constexpr std::chrono::milliseconds Poll(20);
    std::packaged_task<Answer()> task(std::move(ask));
    std::future<Answer> answer = task.get_future();
    std::thread asking(std::move(task));
    while (answer.wait_for(Poll) != std::future_status::ready) {
        if (!pacer.WaitUntil(Kovra::JiffyTime::Now())) {
            asking.detach();
            return std::nullopt;
        }
    }
    asking.join();
    return answer.get();
}

} // namespace AudioHost
