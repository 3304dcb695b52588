#include "streamline.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "kovra/time.h"

namespace Media {

using Kovra::NanoSecPerMilliSec;

namespace {

/// Crystals are within 100 ppm; ten times that is a sender that counts wrongly.
constexpr double MaxSlope = 1e-3;
/// What is known of a skew before anything is measured: four in five senders have a good crystal. Standard
/// deviations.
constexpr double GoodSlope = 80e-6;
constexpr double OtherSlope = 400e-6;
constexpr double GoodShare = 0.8;
/// Slopes that are weighed against each other, between limits that are drawn closer until those fit the
/// weights.
constexpr int Slopes = 41;
constexpr int MaxPasses = 8;
constexpr double LimitDeviations = 5.0;
/// Fewer points say nothing of a slope.
constexpr std::size_t MinPoints = 3;
constexpr std::int64_t SlopeInterval = 8;

/// So often the line of the later half alone is tried, and taken when it is likelier by exp(12); so also what
/// a route begins with.
constexpr std::size_t SplitInterval = 16;
constexpr double SplitSurprise = 12.0;

/// Below so many buckets the spread of the delays is not known.
constexpr std::size_t FewBuckets = 16;
/// While the route is so young, a frame below the line corrects the line's height and says nothing of its
/// slope.
constexpr std::size_t YoungBuckets = 40;

/// Frames so much earlier than the line, in mean heights of the earliest of all, are none of the jitter's.
constexpr double DoubtFactor = 20.0;
constexpr std::int64_t MinDoubtNanoSec = NanoSecPerMilliSec / 4;
/// What a route may begin too late by: the first frame of a burst comes with the last.
constexpr std::int64_t FirstDoubtNanoSec = 100 * NanoSecPerMilliSec;
/// Delays may differ by so much where they have not been seen to.
constexpr std::int64_t MinSpreadNanoSec = 50 * NanoSecPerMilliSec;
/// Early frames that lie further apart do not confirm each other.
constexpr std::int64_t EarlyLimitNanoSec = 2'000 * NanoSecPerMilliSec;

/// The earliest frame of m buckets is beyond x with a probability of exp(-m x / mean): with 2e-12, once in
/// thousands of days. Fewer buckets may be a gap in a burst, more are no quicker than the window itself. Of
/// buckets with fewer frames than usual, as in a pause, each counts for as much of one.
constexpr double SurpriseFactor = 27.0;
constexpr std::size_t MinLateBuckets = 4;
constexpr std::size_t MaxLateBuckets = 20;
constexpr double MinMeanNanoSec = 0.05 * NanoSecPerMilliSec;
/// Smaller changes are left to the window, which forgets the time before them.
constexpr double MinChangeNanoSec = NanoSecPerMilliSec;

std::int64_t BucketOf(std::int64_t stream) {
    std::int64_t const rest = stream % StreamLine::BucketNanoSec;
    return stream / StreamLine::BucketNanoSec - (rest < 0 ? 1 : 0);
}

/// How likely a slope is before anything is measured.
double Expectation(double slope) {
    double const good = slope / GoodSlope;
    double const other = slope / OtherSlope;
    return GoodShare / GoodSlope * std::exp(-0.5 * good * good) +
           (1.0 - GoodShare) / OtherSlope * std::exp(-0.5 * other * other);
}

std::int64_t Scale(double factor, std::int64_t nanoSec) {
    return std::llround(factor * static_cast<double>(nanoSec));
}

} // namespace

void StreamLine::Begin(std::int64_t stream, std::int64_t arrival) {
    buckets_.clear();
    buckets_.reserve(MaxBuckets);
    routeBegin_ = 0;
    earlyCount_ = 0;
    origin_ = stream;
    height_ = arrival - stream;
    firstSlope_ = slope_;
    meanResidual_ = 0.0;
    firstSpread_ = 0;
    secondSpread_ = 0;
    untold_ = 0;
    Take(stream, arrival);
}

std::int64_t StreamLine::EarliestArrival(std::int64_t stream) const {
    return stream + height_ + Scale(slope_, stream - origin_);
}

std::int64_t StreamLine::LatestStream(std::int64_t arrival) const {
    return origin_ + Scale(1.0 / (1.0 + slope_), arrival - height_ - origin_);
}

std::int64_t StreamLine::Add(std::int64_t stream, std::int64_t arrival) {
    if (Residual(stream, arrival) < -DoubtNanoSec()) {
        return FollowEarly(stream, arrival);
    }
    // What came so late has not taken a way so short.
    if (earlyCount_ > 0 && Residual(stream, arrival) -
                                   Residual(early_[earlyCount_ - 1].stream, early_[earlyCount_ - 1].arrival) >
                               std::max(SpreadNanoSec(), MinSpreadNanoSec)) {
        earlyCount_ = 0;
    }
    std::int64_t const number = BucketOf(stream);
    std::int64_t change = 0;
    if (number > buckets_.back().number) {
        Fit();
        change = FollowLate();
    }
    Take(stream, arrival);
    return change != 0 ? change : TellEarly();
}

double StreamLine::SkewPartsPerMillion() const {
    // The sender's second takes 1 + slope of ours.
    return -slope_ / (1.0 + slope_) * 1e6;
}

std::int64_t StreamLine::SpreadNanoSec() const {
    std::int64_t const last = buckets_.back().most;
    return buckets_.size() == 1 ? last : std::max(secondSpread_, std::min(firstSpread_, last));
}

std::int64_t StreamLine::Residual(std::int64_t stream, std::int64_t arrival) const {
    return arrival - EarliestArrival(stream);
}

std::int64_t StreamLine::DoubtNanoSec() const {
    std::size_t const count = buckets_.size() - routeBegin_;
    if (count < FewBuckets) {
        return FirstDoubtNanoSec;
    }
    return std::max<std::int64_t>(MinDoubtNanoSec,
                                  std::llround(DoubtFactor * meanResidual_ / static_cast<double>(count)));
}

std::int64_t StreamLine::FollowEarly(std::int64_t stream, std::int64_t arrival) {
    if (earlyCount_ > 0 && arrival - early_[earlyCount_ - 1].arrival > EarlyLimitNanoSec) {
        earlyCount_ = 0;
    }
    early_[earlyCount_++] = {stream, arrival};
    if (earlyCount_ < EarlyToBelieve) {
        return 0;
    }
    earlyCount_ = 0;
    // One may be stamped wrongly; all three are not earlier than the least early of them.
    std::int64_t change = INT64_MIN;
    for (Early const& early : early_) {
        change = std::max(change, Residual(early.stream, early.arrival));
    }
    Move(change, buckets_.size());
    routeBegin_ = buckets_.size() - 1;
    if (BucketOf(stream) > buckets_.back().number) {
        ++routeBegin_;
    }
    untold_ = change;
    Take(stream, arrival);
    return TellEarly();
}

std::int64_t StreamLine::TellEarly() {
    return static_cast<double>(untold_) <= -MinChangeNanoSec ? std::exchange(untold_, 0) : 0;
}

std::int64_t StreamLine::FollowLate() {
    std::size_t const count = buckets_.size();
    std::size_t const begin = BeginOfLast(HeightBuckets);
    double before = 0.0;
    double framesBefore = 0.0;
    for (std::size_t i = begin; i < count; ++i) {
        before += HeightOf(buckets_[i]);
        framesBefore += buckets_[i].frames;
    }
    double frames = 0.0;
    double least = 1e18;
    double minButFirst = 1e18;
    for (std::size_t run = 1; run <= MaxLateBuckets && count - begin >= run + std::max(run, FewBuckets);
         ++run) {
        double const residual = HeightOf(buckets_[count - run]);
        minButFirst = least;
        least = std::min(least, residual);
        before -= residual;
        framesBefore -= buckets_[count - run].frames;
        frames += buckets_[count - run].frames;
        auto const bucketsBefore = static_cast<double>(count - begin - run);
        double const mean = std::max(MinMeanNanoSec, before / bucketsBefore);
        double const weight = std::min(static_cast<double>(run), frames * bucketsBefore / framesBefore);
        if (run >= MinLateBuckets && least >= MinChangeNanoSec && least * weight > SurpriseFactor * mean) {
            // The first bucket of the run may have frames of both routes.
            auto const change = std::llround(minButFirst);
            routeBegin_ = count - run + 1;
            untold_ = 0;
            Move(change, routeBegin_);
            for (std::size_t i = routeBegin_; i < count; ++i) {
                buckets_[i].most -= change;
            }
            FindSpread();
            return change;
        }
    }
    return 0;
}

void StreamLine::Take(std::int64_t stream, std::int64_t arrival) {
    std::int64_t const number = BucketOf(stream);
    std::int64_t residual = buckets_.empty() ? 0 : Residual(stream, arrival);
    if (residual < 0 && buckets_.size() - routeBegin_ < YoungBuckets) {
        Move(residual, routeBegin_);
        untold_ += untold_ != 0 ? residual : 0;
        residual = 0;
    }
    if (buckets_.empty() || number > buckets_.back().number) {
        if (buckets_.size() == MaxBuckets) {
            buckets_.erase(buckets_.begin());
            routeBegin_ -= routeBegin_ > 0 ? 1 : 0;
        }
        buckets_.push_back({number, stream, arrival - stream, residual, 1});
        return;
    }
    Bucket& bucket = buckets_.back();
    ++bucket.frames;
    bucket.most = std::max(bucket.most, residual);
    // A frame of an earlier bucket came late, and is not the earliest of any.
    if (number == bucket.number && residual < Residual(bucket.stream, bucket.stream + bucket.delay)) {
        bucket.stream = stream;
        bucket.delay = arrival - stream;
    }
}

void StreamLine::Move(std::int64_t nanoSec, std::size_t end) {
    height_ += nanoSec;
    for (std::size_t i = 0; i < end; ++i) {
        buckets_[i].delay += nanoSec;
    }
}

void StreamLine::Fit() {
    origin_ = buckets_.back().stream;
    height_ = buckets_.back().delay;
    // With a minute of points a quarter of a second more changes little.
    bool const isKnown = buckets_.size() >= HeightBuckets && buckets_.back().number % SlopeInterval != 0;
    if (buckets_.size() >= MinPoints && !isKnown) {
        slope_ = FitFrom(0).slope;
    }
    AlignRoutes();
    FitHeight();
    if (buckets_.size() <= HeightBuckets && buckets_.size() % SplitInterval == 0) {
        ForgetStart();
    }
    FindSpread();
}

void StreamLine::ForgetStart() {
    // A route that changes before the skew is known looks like a skew at first. What came since then fits a
    // line of its own much better than that.
    std::size_t const begin = buckets_.size() / 2;
    auto const count = static_cast<double>(buckets_.size() - begin);
    double distance = 0.0;
    for (std::size_t i = begin; i < buckets_.size(); ++i) {
        distance += HeightOf(buckets_[i]) / count;
    }
    // Without jitter the mean is a rounding around 0, and may be below it.
    distance = std::max(distance, MinMeanNanoSec);
    Fitted const fitted = FitFrom(begin);
    if (count * std::log(distance / fitted.distance) < SplitSurprise) {
        return;
    }
    buckets_.erase(buckets_.begin(), buckets_.begin() + static_cast<std::ptrdiff_t>(begin));
    routeBegin_ = 0;
    for (Bucket& bucket : buckets_) {
        bucket.most += EarliestArrival(bucket.stream);
    }
    slope_ = fitted.slope;
    FitHeight();
    for (Bucket& bucket : buckets_) {
        bucket.most -= EarliestArrival(bucket.stream);
    }
}

StreamLine::Fitted StreamLine::FitFrom(std::size_t begin) const {
    // The earliest frames of the buckets lie above the line like waiting times: of a line below all of them
    // with the mean distance m they are seen with a likelihood of m to the power of minus their number.
    std::vector<Point> const hull = FindHull(begin);
    auto const count = static_cast<double>(buckets_.size() - begin);
    Point mean;
    for (std::size_t i = begin; i < buckets_.size(); ++i) {
        mean.x += PointOf(buckets_[i]).x / count;
        mean.y += PointOf(buckets_[i]).y / count;
    }
    auto const distance = [&](double slope) {
        double lowest = 1e18;
        for (Point const& point : hull) {
            lowest = std::min(lowest, point.y - slope * point.x);
        }
        return std::max(mean.y - slope * mean.x - lowest, MinMeanNanoSec);
    };
    auto const likelihood = [&](double slope) {
        return -count * std::log(distance(slope)) + std::log(Expectation(slope - firstSlope_));
    };
    double limit = MaxSlope;
    double slope = 0.0;
    for (int pass = 0; pass < MaxPasses; ++pass) {
        std::array<double, Slopes> likelihoods{};
        auto const slopeOf = [&](int i) { return slope + limit * (2.0 * i / (Slopes - 1) - 1.0); };
        double most = -1e18;
        for (int i = 0; i < Slopes; ++i) {
            likelihoods[static_cast<std::size_t>(i)] = likelihood(slopeOf(i));
            most = std::max(most, likelihoods[static_cast<std::size_t>(i)]);
        }
        double sum = 0.0;
        double first = 0.0;
        double second = 0.0;
        for (int i = 0; i < Slopes; ++i) {
            double const weight = std::exp(likelihoods[static_cast<std::size_t>(i)] - most);
            double const offset = slopeOf(i) - slope;
            sum += weight;
            first += weight * offset;
            second += weight * offset * offset;
        }
        double const offset = first / sum;
        double const deviation = std::sqrt(std::max(second / sum - offset * offset, 0.0));
        slope = std::clamp(slope + offset, -MaxSlope, MaxSlope);
        double const closer = std::max(LimitDeviations * deviation, 4.0 * limit / (Slopes - 1));
        if (closer >= 0.8 * limit) {
            break;
        }
        limit = closer;
    }
    return {slope, distance(slope)};
}

void StreamLine::AlignRoutes() {
    // How far the present route is from those before is known better with every frame: the lowest of both lie
    // on the line, each as far above it as the lowest of so many does.
    std::size_t const count = buckets_.size();
    if (routeBegin_ == 0 || routeBegin_ >= count || count - routeBegin_ >= HeightBuckets) {
        return;
    }
    std::size_t const begin = std::min(BeginOfLast(2 * HeightBuckets), routeBegin_ - 1);
    double before = 1e18;
    double mean = 0.0;
    for (std::size_t i = begin; i < routeBegin_; ++i) {
        double const height = HeightOf(buckets_[i]);
        before = std::min(before, height);
        mean += height / static_cast<double>(routeBegin_ - begin);
    }
    double const since = LowestSinceRoute(mean - before);
    before -= meanResidual_ / static_cast<double>(routeBegin_ - begin);
    double const line = since - meanResidual_ / static_cast<double>(count - routeBegin_);
    for (std::size_t i = 0; i < routeBegin_; ++i) {
        buckets_[i].delay += std::llround(line - before);
    }
}

double StreamLine::LowestSinceRoute(double mean) {
    // A quarter of a second whose frames were all late, just before the route became longer, looks like the
    // longer route's, and lies far below the rest of it. It is given back where that leaves the rest likelier
    // by exp(12).
    std::size_t const count = buckets_.size();
    double const surprise = SplitSurprise * std::max(mean, MinMeanNanoSec);
    std::size_t begin = routeBegin_;
    double lowest = 1e18;
    for (std::size_t i = count; i-- > begin;) {
        double const height = HeightOf(buckets_[i]);
        bool const isFirst = i < routeBegin_ + MinLateBuckets;
        if (isFirst && static_cast<double>(count - i - 1) * (lowest - height) > surprise) {
            begin = i + 1;
            break;
        }
        lowest = std::min(lowest, height);
    }
    routeBegin_ = begin;
    return lowest;
}

void StreamLine::FitHeight() {
    std::size_t const begin = BeginOfLast(HeightBuckets);
    auto const count = static_cast<double>(buckets_.size() - begin);
    double lowest = 1e18;
    double mean = 0.0;
    for (std::size_t i = begin; i < buckets_.size(); ++i) {
        double const height = HeightOf(buckets_[i]);
        lowest = std::min(lowest, height);
        mean += height / count;
    }
    meanResidual_ = mean - lowest;
    height_ += std::llround(lowest - meanResidual_ / count);
}

void StreamLine::FindSpread() {
    firstSpread_ = 0;
    secondSpread_ = 0;
    for (std::size_t i = BeginOfLast(HeightBuckets); i < buckets_.size(); ++i) {
        secondSpread_ = std::max(secondSpread_, std::min(firstSpread_, buckets_[i].most));
        firstSpread_ = std::max(firstSpread_, buckets_[i].most);
    }
}

std::vector<StreamLine::Point> StreamLine::FindHull(std::size_t begin) const {
    std::vector<Point> hull;
    hull.reserve(buckets_.size());
    for (std::size_t i = begin; i < buckets_.size(); ++i) {
        Point const point = PointOf(buckets_[i]);
        while (hull.size() >= 2) {
            Point const& a = hull[hull.size() - 2];
            Point const& b = hull.back();
            if ((b.y - a.y) * (point.x - b.x) < (point.y - b.y) * (b.x - a.x)) {
                break;
            }
            hull.pop_back();
        }
        hull.push_back(point);
    }
    return hull;
}

StreamLine::Point StreamLine::PointOf(Bucket const& bucket) const {
    return {static_cast<double>(bucket.stream - origin_), static_cast<double>(bucket.delay - height_)};
}

double StreamLine::HeightOf(Bucket const& bucket) const {
    Point const point = PointOf(bucket);
    return point.y - slope_ * point.x;
}

std::size_t StreamLine::BeginOfLast(std::size_t count) const {
    return buckets_.size() > count ? buckets_.size() - count : 0;
}

} // namespace Media
