#pragma once

#include <condition_variable>
#include <mutex>

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

} // namespace AudioHost
