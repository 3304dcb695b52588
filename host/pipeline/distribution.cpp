#include "pipeline/distribution.h"

#include <algorithm>
#include <cmath>

namespace Media {

namespace {

/// What the finest steps are apart.
constexpr std::uint64_t UnitNanoSec = 100;

/// `INT64_MIN` too has one.
constexpr std::uint64_t MagnitudeOf(std::int64_t nanoSec) {
    return nanoSec < 0 ? ~static_cast<std::uint64_t>(nanoSec) + 1U : static_cast<std::uint64_t>(nanoSec);
}

} // namespace

std::size_t Distribution::StepOf(std::int64_t nanoSec) {
    std::uint64_t units = MagnitudeOf(nanoSec) / UnitNanoSec;
    std::size_t octave = 0;
    // Halved until it lies in the first two rows of parts, which are one unit wide.
    while (units >= 2 * Parts) {
        units /= 2;
        ++octave;
    }
    return std::min<std::size_t>(octave * Parts + static_cast<std::size_t>(units), Steps - 1);
}

std::int64_t Distribution::MiddleOf(std::size_t step) {
    std::size_t const octave = step < Parts ? 0 : step / Parts - 1;
    std::uint64_t const width = UnitNanoSec << octave;
    std::uint64_t const begin = (step - octave * Parts) * width;
    return static_cast<std::int64_t>(begin + width / 2);
}

void Distribution::Add(std::int64_t nanoSec) {
    ++(nanoSec < 0 ? below_ : above_)[StepOf(nanoSec)];
    least_ = count_ == 0 ? nanoSec : std::min(least_, nanoSec);
    most_ = count_ == 0 ? nanoSec : std::max(most_, nanoSec);
    sum_ += static_cast<double>(nanoSec);
    ++count_;
}

void Distribution::Merge(Distribution const& other) {
    if (other.count_ == 0) {
        return;
    }
    for (std::size_t step = 0; step < Steps; ++step) {
        below_[step] += other.below_[step];
        above_[step] += other.above_[step];
    }
    least_ = count_ == 0 ? other.least_ : std::min(least_, other.least_);
    most_ = count_ == 0 ? other.most_ : std::max(most_, other.most_);
    sum_ += other.sum_;
    count_ += other.count_;
}

double Distribution::GetMeanNanoSec() const {
    return count_ == 0 ? 0.0 : sum_ / static_cast<double>(count_);
}

std::int64_t Distribution::GetQuantileNanoSec(double share) const {
    if (count_ == 0) {
        return 0;
    }
    double const wanted = std::ceil(std::clamp(share, 0.0, 1.0) * static_cast<double>(count_));
    // The extremes are known exactly.
    if (wanted <= 1.0) {
        return least_;
    }
    if (wanted >= static_cast<double>(count_)) {
        return most_;
    }
    std::uint64_t passed = 0;
    auto const isReached = [&](std::uint64_t more) {
        passed += more;
        return static_cast<double>(passed) >= wanted;
    };
    for (std::size_t step = Steps; step-- > 0;) {
        if (isReached(below_[step])) {
            return std::clamp(-MiddleOf(step), least_, most_);
        }
    }
    for (std::size_t step = 0; step < Steps; ++step) {
        if (isReached(above_[step])) {
            return std::clamp(MiddleOf(step), least_, most_);
        }
    }
    return most_;
}

} // namespace Media
