#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "outputwatch.h"

namespace AudioHost {

/// A time in which the output did not play in step with the clock.
struct OutputGlitch {
    /// From when its cursor last moved as it should until it does again. Since the first frame was handed
    /// over.
    std::int64_t startNanoSec = 0;
    std::int64_t endNanoSec = 0;
    /// How far it fell behind and how far it got ahead, at most; not below 0.
    double lateMilliSec = 0.0;
    double earlyMilliSec = 0.0;
    /// Longest time in which the watching thread did not get to look.
    double blindMilliSec = 0.0;
    /// What was left of it in the end: above 0 the output is behind from then on.
    double leftMilliSec = 0.0;

    /// The most that sound may have been displaced by it.
    double GetSizeMilliSec() const;
};

/// What was seen of the output while something played.
struct OutputRecord {
    bool isWatched = false;
    /// In the order of time.
    std::vector<OutputGlitch> glitches;
    /// Furthest that the cursor got from where it should have been, glitches or not.
    double worstMilliSec = 0.0;
};

/// Devices move their cursor in steps, and by a few milliseconds sooner or later; from here on it is a
/// glitch.
constexpr double GlitchMilliSec = 15.0;
/// As much for a watching thread that sleeps for up to 16 ms at a time.
constexpr double BlindMilliSec = 30.0;

/// Finds what was out of step in `stays`. `start` is the instant (of the monotonic clock) that times count
/// from; what was over before it is left out.
OutputRecord FindOutputGlitches(std::deque<CursorStay> const& stays, std::int64_t startNanoSec);

} // namespace AudioHost
