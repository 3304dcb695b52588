#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

namespace Listening {

/// A time during which the output's cursor was seen to stay where it was.
struct CursorStay {
    /// Monotonic clock, when the cursor was first and last seen there.
    std::int64_t firstNanoSec = 0;
    std::int64_t lastNanoSec = 0;
    /// How much was played by then, since the watch began.
    std::int64_t playedNanoSec = 0;
};

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
struct OutputLog {
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

/// Reads where the cursor was, one stay after the other, and finds what was out of step.
///
/// **Threads:** one at a time.
class GlitchFinder {
public:
    void Add(CursorStay const& stay);

    /// What was found. Times count from `startNanoSec` (of the monotonic clock); glitches that were over
    /// before it are left out. The last operation.
    OutputLog Finish(std::int64_t startNanoSec);

private:
    /// How far the cursor is behind the clock, from some zero, when it comes to a place and when it leaves.
    struct Lateness {
        double onArrivalMilliSec = 0.0;
        double onLeavingMilliSec = 0.0;
    };
    struct Open {
        OutputGlitch glitch;
        /// Since the cursor last moved unevenly.
        std::deque<std::pair<CursorStay, Lateness>> even;
    };

    void Learn(Lateness const& now);
    Lateness GetUsual() const;
    void Judge(CursorStay const& stay, Lateness const& now);
    /// Ends the glitch when the cursor moves evenly again.
    void Follow(CursorStay const& stay, Lateness const& now, double stepMilliSec);
    void Close(std::int64_t endNanoSec, double leftMilliSec);

    std::int64_t zeroNanoSec_ = 0;
    std::optional<CursorStay> last_;
    std::deque<Lateness> usual_;
    /// Once enough was seen; a glitch leaves less of it, which is enough to go on.
    bool hasLearnt_ = false;
    std::optional<Open> open_;
    double calmWorstMilliSec_ = 0.0;
    /// Times of the monotonic clock.
    std::vector<OutputGlitch> glitches_;
};

/// The same of all `stays` at once.
OutputLog FindOutputGlitches(std::deque<CursorStay> const& stays, std::int64_t startNanoSec);

} // namespace Listening
