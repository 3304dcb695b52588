#include "terminal/stopsignal.h"

namespace AudioHost {

bool StopSignal::Request() {
    {
        std::lock_guard<std::mutex> const guard(lock_);
        if (isRequested_) {
            return false;
        }
        isRequested_ = true;
    }
    changed_.notify_all();
    return true;
}

bool StopSignal::IsRequested() const {
    std::lock_guard<std::mutex> const guard(lock_);
    return isRequested_;
}

bool StopSignal::WaitUntil(Kovra::JiffyTime instant) {
    std::unique_lock<std::mutex> guard(lock_);
    while (!isRequested_) {
        std::int64_t const left = instant.GetDiffSysTime(Kovra::JiffyTime::Now()).NanoSec();
        if (left <= 0) {
            return true;
        }
        changed_.wait_for(guard, std::chrono::nanoseconds(left));
    }
    return false;
}

} // namespace AudioHost
