#include "kovra/time.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <limits>

namespace Kovra {

namespace {

using Limits = std::numeric_limits<std::int64_t>;

constexpr std::int64_t LongestSpanMilliSec = Limits::max() / NanoSecPerMilliSec;

// Null stands for the machine's own clocks. Constant-initialised, so that static initialisers of other
// libraries may read the time.
std::atomic<ClockSource const*> clockSource{nullptr};

template <class Clock>
std::int64_t ReadNanoSec() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
}

} // namespace

ClockSource::~ClockSource() = default;

void SetClockSource(ClockSource const* source) {
    clockSource.store(source, std::memory_order_release);
}

SysTime SysTime::Now() {
    ClockSource const* const source = clockSource.load(std::memory_order_acquire);
    return SysTime(source ? source->SystemNanoSec() : ReadNanoSec<std::chrono::system_clock>());
}

JiffyTime JiffyTime::Now() {
    ClockSource const* const source = clockSource.load(std::memory_order_acquire);
    return JiffyTime(source ? source->MonotonicNanoSec() : ReadNanoSec<std::chrono::steady_clock>());
}

SysTime JiffyTime::GetDiffSysTime(JiffyTime earlier) const {
    return SysTime(nanoSec_) - SysTime(earlier.nanoSec_);
}

std::int32_t JiffyTime::GetDiffMilliSec32(JiffyTime earlier) const {
    std::int64_t const milliSec = GetDiffSysTime(earlier).NanoSec() / NanoSecPerMilliSec;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(milliSec));
}

JiffyTime JiffyTime::AddMilliSec(std::int64_t milliSec) const {
    // In steps, because a span too long for 64-bit nanoseconds may still lead from one end of the range to an
    // instant before its other end. The third step is at an end at the latest.
    std::int64_t nanoSec = nanoSec_;
    while (milliSec != 0) {
        std::int64_t const step = std::clamp(milliSec, -LongestSpanMilliSec, LongestSpanMilliSec);
        std::int64_t const next = (SysTime(nanoSec) + SysTime(step * NanoSecPerMilliSec)).NanoSec();
        if (next == nanoSec) {
            break;
        }
        nanoSec = next;
        milliSec -= step;
    }
    return JiffyTime(nanoSec);
}

} // namespace Kovra
