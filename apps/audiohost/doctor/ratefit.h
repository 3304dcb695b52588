#pragma once

#include <cstdint>
#include <optional>

namespace AudioHost {

/// How fast a device runs against the clock.
struct Rate {
    /// Parts per million, above 0 when it is faster than the clock.
    double ppm = 0.0;
    /// One standard error.
    double uncertaintyPpm = 0.0;
};

/// A device that is behind or ahead of itself by more than this at once stood still or leapt: its speed is
/// another matter.
constexpr std::int64_t MinBreakNanoSec = 15'000'000;

/// A straight line through how much of its sound a device had done at which time; where that stands still or
/// leaps the line goes on beside itself.
///
/// **Threads:** one at a time.
/// **Units:** nanoseconds.
class RateFit {
public:
    /// Best called when the device has just moved on: in between, the same is told over and over.
    void Add(std::int64_t clockNanoSec, std::int64_t doneNanoSec);

    /// Nothing from less than three times, or from one moment.
    std::optional<Rate> GetRate() const;

private:
    std::int64_t firstNanoSec_ = 0;
    std::int64_t lastNanoSec_ = 0;
    std::int64_t lastDoneNanoSec_ = 0;
    double count_ = 0.0;
    double breaks_ = 0.0;
    // Since the last break. Of the seconds since the first time, and of how far the device is ahead then, in
    // seconds: the sums stay small, so that nothing is lost in them.
    double pieceCount_ = 0.0;
    double meanTime_ = 0.0;
    double meanAhead_ = 0.0;
    // Of all pieces, each about its own means.
    double timeTime_ = 0.0;
    double timeAhead_ = 0.0;
    double aheadAhead_ = 0.0;
};

} // namespace AudioHost
