#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "pipeline/export.h"

namespace Media {

/// How many spans of time had which length, in no more memory for years of them than for one, seven
/// kilobytes. A quantile is told to within 3.2 % of itself, or to 50 ns where that is more; count, mean and
/// extremes are exact. Spans of more than 107 s, of either sign, count as such; the extremes are kept as they
/// were.
///
/// **Threads:** none of its own; one at a time.
/// **Units:** nanoseconds, either sign.
class MEDIAPIPELINE_API Distribution {
public:
    /// Allocates nothing.
    void Add(std::int64_t nanoSec);
    /// As if all that was added to `other` had been added here.
    void Merge(Distribution const& other);

    std::uint64_t GetCount() const { return count_; }
    /// 0 for none, like all that follow.
    double GetMeanNanoSec() const;
    std::int64_t GetLeastNanoSec() const { return least_; }
    std::int64_t GetMostNanoSec() const { return most_; }

    /// A span that `share` (0.0 to 1.0) of all do not exceed.
    std::int64_t GetQuantileNanoSec(double share) const;

private:
    /// Of each octave.
    static constexpr std::size_t Parts = 16;
    static constexpr std::size_t Octaves = 26;
    /// Below the first octave all parts are as wide as in it.
    static constexpr std::size_t Steps = Parts * (Octaves + 1);

    static std::size_t StepOf(std::int64_t nanoSec);
    static std::int64_t MiddleOf(std::size_t step);

    /// Of spans below zero, by their magnitude, and of the others.
    std::array<std::uint64_t, Steps> below_{};
    std::array<std::uint64_t, Steps> above_{};
    std::uint64_t count_ = 0;
    double sum_ = 0.0;
    std::int64_t least_ = 0;
    std::int64_t most_ = 0;
};

} // namespace Media
