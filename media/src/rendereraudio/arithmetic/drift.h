#pragma once

#include <cstdint>

#include "arithmetic/ring.h"

namespace Media {

/// The law that holds playback in step with the presentation times: over windows of about a second, the lags
/// measured are held against the lags expected, and the ratio chooses among three playback frequencies.
namespace Drift {

/// 833 ppm below and above nominal: 1.4 cents, which nobody hears.
constexpr std::uint32_t SlowFrequencyHz = 47960;
constexpr std::uint32_t FastFrequencyHz = 48040;

constexpr double LowerRatioBound = 0.98;
constexpr double UpperRatioBound = 1.02;

/// A window is judged no earlier than this.
constexpr std::int32_t WindowMilliSec = 1024;

/// True when a window of `elapsedMilliSec` is long enough. Negative after a wrap of the 32-bit difference,
/// when a full window of either sign has passed.
constexpr bool IsWindowOver(std::int32_t elapsedMilliSec) {
    return elapsedMilliSec / WindowMilliSec != 0;
}
static_assert(!IsWindowOver(1023) && IsWindowOver(1024));

/// The frequency for a window's sums, in samples; `expectedLagSum` is not 0. Measured below expected: the
/// newest audio is queued less far ahead than asked for, so the ring plays early and is slowed down.
/// Wanted: the sums lack the frame that closes the window, and survive a jump (docs/kept-behaviour.md).
constexpr std::uint32_t FrequencyForSums(std::uint32_t measuredLagSum, std::uint32_t expectedLagSum) {
    double const ratio = static_cast<double>(measuredLagSum) / static_cast<double>(expectedLagSum);
    if (ratio < LowerRatioBound) {
        return SlowFrequencyHz;
    }
    return ratio > UpperRatioBound ? FastFrequencyHz : Ring::NominalFrequencyHz;
}
static_assert(FrequencyForSums(9700, 10000) == SlowFrequencyHz);
static_assert(FrequencyForSums(10150, 10000) == Ring::NominalFrequencyHz);
static_assert(FrequencyForSums(10300, 10000) == FastFrequencyHz);

} // namespace Drift
} // namespace Media
