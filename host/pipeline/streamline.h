#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Media {

/// The line under the delays of a stream: for every instant of the sender's timeline, when a frame stamped
/// with it can arrive at the earliest. Jitter only ever adds to the delay, so the earliest frames tell the
/// clock, and the line is what lies below all of them: its height is the offset of the two clocks, its slope
/// their skew. See docs/timing.md, "The sender's clock".
///
/// **Threads:** one at a time.
/// **Units:** nanoseconds; `stream` is an instant of the sender's timeline, `arrival` one of our monotonic
/// clock.
class StreamLine {
public:
    /// The delays of so long are one point of the line. A minute of points gives its height, four its slope.
    static constexpr std::int64_t BucketNanoSec = 250'000'000;
    static constexpr std::size_t HeightBuckets = 256;
    static constexpr std::size_t MaxBuckets = 1024;

    /// Begins anew with a frame that is taken for the earliest; the skew known so far stays the first guess.
    void Begin(std::int64_t stream, std::int64_t arrival);

    /// When a frame stamped `stream` can arrive at the earliest, and the other way round.
    std::int64_t EarliestArrival(std::int64_t stream) const;
    std::int64_t LatestStream(std::int64_t arrival) const;

    /// Takes in a frame that arrives and returns the change of the route's delay that it brings to light; 0
    /// for none. Changes below a millisecond are followed and not told.
    std::int64_t Add(std::int64_t stream, std::int64_t arrival);

    /// How much faster than ours the sender's clock runs, in parts per million.
    double SkewPartsPerMillion() const;

    /// What the delays of the last minute exceeded the line by, but for the worst quarter of a second. Once
    /// begun.
    std::int64_t SpreadNanoSec() const;

    /// Quarters of a second since the beginning, as far as frames arrived in them.
    std::size_t CountBuckets() const { return buckets_.size(); }

private:
    /// What arrived in a quarter of a second of the sender's timeline.
    struct Bucket {
        std::int64_t number = 0;
        /// The earliest frame of it, against the line.
        std::int64_t stream = 0;
        std::int64_t delay = 0;
        /// The greatest delay beyond the line.
        std::int64_t most = 0;
        std::int32_t frames = 0;
    };

    /// A frame that came before it could.
    struct Early {
        std::int64_t stream = 0;
        std::int64_t arrival = 0;
    };

    struct Point {
        double x = 0.0;
        double y = 0.0;
    };

    /// A line below the points, and their mean distance from it.
    struct Fitted {
        double slope = 0.0;
        double distance = 0.0;
    };

    static constexpr std::size_t EarlyToBelieve = 3;

    std::int64_t Residual(std::int64_t stream, std::int64_t arrival) const;
    /// What an early frame may be early by because the line is not known better.
    std::int64_t DoubtNanoSec() const;
    std::int64_t FollowEarly(std::int64_t stream, std::int64_t arrival);
    /// The part of a shorter route that is followed but not told, once it is worth it.
    std::int64_t TellEarly();
    std::int64_t FollowLate();
    void Take(std::int64_t stream, std::int64_t arrival);
    /// Moves the line, and all that was seen before bucket `end` with it.
    void Move(std::int64_t nanoSec, std::size_t end);
    void Fit();
    Fitted FitFrom(std::size_t begin) const;
    void ForgetStart();
    void AlignRoutes();
    /// The lowest bucket of the present route, whose first ones may turn out to be of the one before. `mean`
    /// is what those of the route before were above the lowest of them.
    double LowestSinceRoute(double mean);
    void FitHeight();
    void FindSpread();
    std::vector<Point> FindHull(std::size_t begin) const;
    /// Of the bucket's earliest frame, against a line of slope 0 or of the present slope.
    Point PointOf(Bucket const& bucket) const;
    double HeightOf(Bucket const& bucket) const;
    /// The first of the last `count` buckets.
    std::size_t BeginOfLast(std::size_t count) const;

    std::vector<Bucket> buckets_;
    /// Of the route as it is now; those before were moved to lie on the same line.
    std::size_t routeBegin_ = 0;
    std::array<Early, EarlyToBelieve> early_{};
    std::size_t earlyCount_ = 0;
    std::int64_t untold_ = 0;

    /// Earliest arrival of `stream`: stream + height + slope * (stream - origin).
    std::int64_t origin_ = 0;
    std::int64_t height_ = 0;
    double slope_ = 0.0;
    double firstSlope_ = 0.0;
    /// Of the buckets' earliest frames beyond the line.
    double meanResidual_ = 0.0;
    /// Greatest and second greatest delay beyond the line, of the buckets that are complete.
    std::int64_t firstSpread_ = 0;
    std::int64_t secondSpread_ = 0;
};

} // namespace Media
