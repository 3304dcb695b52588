#pragma once

#include <cstdint>

#include "kovra/export.h"

/// What every library stands on: time, memory, threads, logging.
namespace Kovra {

/// Nanoseconds in a millisecond.
constexpr std::int64_t NanoSecPerMilliSec = 1'000'000;
/// Nanoseconds in a second.
constexpr std::int64_t NanoSecPerSec = 1'000'000'000;

/// Where both clocks of this library get their time. Replaceable, so that tests and simulations run on a
/// clock that they move by hand.
///
/// **Threads:** both readings may be asked for from any thread at once.
/// **Units:** nanoseconds.
class KOVRA_API ClockSource {
public:
    virtual ~ClockSource();

    /// Nanoseconds since 1970-01-01 00:00 UTC; may be set back by the user.
    virtual std::int64_t SystemNanoSec() const = 0;

    /// Nanoseconds since an arbitrary origin; never runs backwards.
    virtual std::int64_t MonotonicNanoSec() const = 0;
};

/// Replaces the process-wide clock source; null brings the machine's own clocks back. The source is
/// borrowed: it must outlive its use. Any thread; takes effect at the next reading.
KOVRA_API void SetClockSource(ClockSource const* source);

/// A signed 64-bit count of nanoseconds, used as an instant (since 1970-01-01 00:00 UTC, or since any
/// origin that the sender of a stream chose) or as a span. Sums and differences beyond the range (292 years)
/// saturate: a stream may carry any timestamp.
class SysTime {
public:
    constexpr SysTime() = default;
    constexpr explicit SysTime(std::int64_t nanoSec) : nanoSec_(nanoSec) {}

    /// The current instant of the process-wide clock source.
    KOVRA_API static SysTime Now();

    static constexpr SysTime FromMilliSec(std::int64_t milliSec) {
        return SysTime(milliSec * NanoSecPerMilliSec);
    }

    constexpr std::int64_t NanoSec() const { return nanoSec_; }

    constexpr SysTime& operator+=(SysTime span) { return *this = *this + span; }

    friend constexpr SysTime operator+(SysTime a, SysTime b) {
        if (b.nanoSec_ > 0 && a.nanoSec_ > INT64_MAX - b.nanoSec_) {
            return SysTime(INT64_MAX);
        }
        if (b.nanoSec_ < 0 && a.nanoSec_ < INT64_MIN - b.nanoSec_) {
            return SysTime(INT64_MIN);
        }
        return SysTime(a.nanoSec_ + b.nanoSec_);
    }
    friend constexpr SysTime operator-(SysTime a, SysTime b) {
        if (b.nanoSec_ > 0 && a.nanoSec_ < INT64_MIN + b.nanoSec_) {
            return SysTime(INT64_MIN);
        }
        if (b.nanoSec_ < 0 && a.nanoSec_ > INT64_MAX + b.nanoSec_) {
            return SysTime(INT64_MAX);
        }
        return SysTime(a.nanoSec_ - b.nanoSec_);
    }
    friend constexpr bool operator==(SysTime a, SysTime b) { return a.nanoSec_ == b.nanoSec_; }
    friend constexpr bool operator!=(SysTime a, SysTime b) { return a.nanoSec_ != b.nanoSec_; }
    friend constexpr bool operator<(SysTime a, SysTime b) { return a.nanoSec_ < b.nanoSec_; }

private:
    std::int64_t nanoSec_ = 0;
};

/// An instant of the monotonic clock, in nanoseconds. Trivially copyable and eight bytes long, so that it
/// can stand in a `std::atomic`.
class JiffyTime {
public:
    constexpr JiffyTime() = default;
    constexpr explicit JiffyTime(std::int64_t nanoSec) : nanoSec_(nanoSec) {}

    /// The current instant of the process-wide clock source.
    KOVRA_API static JiffyTime Now();

    constexpr std::int64_t NanoSec() const { return nanoSec_; }

    /// This instant minus `earlier`; negative when this one comes first. Differences beyond the range of
    /// 64-bit nanoseconds (292 years) saturate.
    KOVRA_API SysTime GetDiffSysTime(JiffyTime earlier) const;

    /// This instant minus `earlier` in whole milliseconds, truncated towards zero, then cut to its low 32
    /// bits: a difference of more than 24 days wraps.
    KOVRA_API std::int32_t GetDiffMilliSec32(JiffyTime earlier) const;

    /// The instant `milliSec` milliseconds later (earlier when negative); saturates.
    KOVRA_API JiffyTime AddMilliSec(std::int64_t milliSec) const;

    friend constexpr bool operator==(JiffyTime a, JiffyTime b) { return a.nanoSec_ == b.nanoSec_; }
    friend constexpr bool operator!=(JiffyTime a, JiffyTime b) { return a.nanoSec_ != b.nanoSec_; }
    friend constexpr bool operator<(JiffyTime a, JiffyTime b) { return a.nanoSec_ < b.nanoSec_; }

private:
    std::int64_t nanoSec_ = 0;
};

} // namespace Kovra
