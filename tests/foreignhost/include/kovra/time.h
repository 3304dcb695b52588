#pragma once

#include <chrono>
#include <cstdint>

#include "harbour/export.h"
#if defined(HARBOUR_FOR_SIMULATION)
#include "harbour/simulated.h"
#endif

namespace Kovra {

/// An instant of the wall clock, or a span: a duration of the standard library's.
class HARBOUR_API SysTime {
public:
    using Span = std::chrono::duration<std::int64_t, std::nano>;

    constexpr SysTime() = default;
    constexpr explicit SysTime(Span span) : span_(span) {}
    static SysTime Now();
    static constexpr SysTime FromMilliSec(std::int64_t milliSec) {
        return SysTime(std::chrono::milliseconds(milliSec));
    }
    constexpr std::int64_t NanoSec() const { return span_.count(); }
    SysTime& operator+=(SysTime const& span) {
        span_ += span.span_;
        return *this;
    }

private:
    Span span_{0};
};

/// An instant of the monotonic clock, which counts up to the end of time here: the later, the less is left.
class HARBOUR_API JiffyTime {
public:
    constexpr JiffyTime() = default;
    static JiffyTime Now();
    SysTime GetDiffSysTime(JiffyTime const& earlier) const;
    std::int32_t GetDiffMilliSec32(JiffyTime const& earlier) const;
    JiffyTime AddMilliSec(std::int64_t milliSec) const;

private:
    constexpr explicit JiffyTime(std::uint64_t left) : left_(left) {}

    std::uint64_t left_ = UINT64_MAX;
};

} // namespace Kovra
