#pragma once

#include <cstdint>

namespace Media {

/// Arithmetic of the playback ring: pure functions on numbers.
///
/// A *sample position* is two bytes of the ring, whatever the channel count of the sound buffer. Positions
/// are unsigned 32-bit and wrap as such; times are signed 64-bit nanoseconds.
namespace Ring {

constexpr std::uint32_t NominalFrequencyHz = 48000;
/// Length of the ring: five seconds.
constexpr std::uint32_t LengthSamples = 240000;
/// The same five seconds as time: conversions from time to position are taken modulo this.
constexpr std::int64_t TimeSpanNanoSec = 5'000'000'000;
constexpr std::uint32_t SampleSizeBytes = 2;
/// 1 s / 48000, truncated.
constexpr std::int64_t SamplePeriodNanoSec = 20833;

/// A gap this small is a rounding of the timestamp, not a loss.
constexpr std::uint32_t SmallGapLimitSamples = 10;
/// Played data is cleared, and a lag counts as lost, at this share of the ring (312.5 ms).
constexpr std::uint32_t LimitShareOfRing = 16;
/// Cleared lengths are multiples of this.
constexpr std::uint32_t ClearGranuleSamples = 128;

/// `samples` of the ring from `start` on; behind its end it goes on at its start.
struct Stretch {
    std::uint32_t start;
    std::uint32_t samples;
};

constexpr std::int64_t NanoSecPerMilliSec = 1'000'000;

/// `instant` minus `origin`, wrapping: timestamps come from outside and may be anything.
constexpr std::int64_t WrappingDifference(std::int64_t instant, std::int64_t origin) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(instant) -
                                     static_cast<std::uint64_t>(origin));
}

/// How many samples lie from `from` forward to `to`, in [0, ringSamples).
constexpr std::uint32_t ForwardDistance(std::uint32_t from, std::uint32_t to, std::uint32_t ringSamples) {
    return (to % ringSamples + ringSamples - from % ringSamples) % ringSamples;
}

/// Where audio belongs whose timestamp lies `offsetNanoSec` (0 or more) after the ring's origin. Positions
/// are even: an odd one is rounded up. Wanted (docs/kept-behaviour.md).
constexpr std::uint32_t PositionRoundedUpToEven(std::int64_t offsetNanoSec, std::int64_t nsPerSample,
                                                std::uint32_t ringSamples) {
    std::int64_t const samples = offsetNanoSec % TimeSpanNanoSec / nsPerSample;
    return static_cast<std::uint32_t>(samples + samples % 2) % ringSamples;
}
static_assert(PositionRoundedUpToEven(20833, 20833, LengthSamples) == 2);
static_assert(PositionRoundedUpToEven(5'001'000'000, 20833, LengthSamples) == 48);

/// What to do about the space between the end of the last frame and the start of a new one.
enum class Gap_t {
    /// The frames touch or overlap, or the new one lies half a ring or more ahead, which is the past.
    None,
    /// The frame is moved back to close it.
    Small,
    /// Audio was lost.
    Loss,
};

constexpr Gap_t JudgeGap(std::uint32_t gapSamples, std::uint32_t ringSamples) {
    if (gapSamples == 0 || 2 * gapSamples >= ringSamples) {
        return Gap_t::None;
    }
    return gapSamples <= SmallGapLimitSamples ? Gap_t::Small : Gap_t::Loss;
}
static_assert(JudgeGap(SmallGapLimitSamples, LengthSamples) == Gap_t::Small);

/// Samples that play in `aheadNanoSec` (0 or more), modulo the ring's time span, truncated. Since a sample's
/// period is truncated too, up to three more than the ring holds.
constexpr std::uint32_t SamplesAheadTruncated(std::int64_t aheadNanoSec, std::int64_t nsPerSample) {
    return static_cast<std::uint32_t>(aheadNanoSec % TimeSpanNanoSec / nsPerSample);
}

/// Where the play cursor must stand now to reach `writePos` after `aheadSamples`. Of the up to three samples
/// more than the ring holds the difference wraps at 2^32, which is no multiple of the ring: just below a
/// multiple of five seconds the cursor stands elsewhere. Wanted (docs/kept-behaviour.md).
constexpr std::uint32_t StartPosition(std::uint32_t writePos, std::uint32_t aheadSamples,
                                      std::uint32_t ringSamples) {
    return (writePos - aheadSamples + ringSamples) % ringSamples;
}
static_assert(StartPosition(10000, 4800, LengthSamples) == 5200);
static_assert(StartPosition(0, 4800, LengthSamples) == 235200);

/// How much of what was played since `clearedEnd` is due for clearing: 0 until enough has gathered.
constexpr std::uint32_t ClearableSamples(std::uint32_t clearedEnd, std::uint32_t playPos,
                                         std::uint32_t ringSamples) {
    std::uint32_t const played = ForwardDistance(clearedEnd, playPos, ringSamples);
    return played >= ringSamples / LimitShareOfRing ? played / ClearGranuleSamples * ClearGranuleSamples : 0;
}
static_assert(ClearableSamples(0, 15000, LengthSamples) == 14976);

/// A newest frame this far ahead of the play cursor is out of the frequency's reach: the cursor jumps.
constexpr bool IsLagBeyondLimit(std::uint32_t lagSamples, std::uint32_t ringSamples) {
    return lagSamples > ringSamples / LimitShareOfRing;
}

/// How long `samples` play, in whole milliseconds, truncated. 32 bits times nanoseconds fit 64 bits.
constexpr std::int64_t MilliSecTruncated(std::uint32_t samples, std::int64_t nsPerSample) {
    return static_cast<std::int64_t>(samples) * nsPerSample / NanoSecPerMilliSec;
}

} // namespace Ring
} // namespace Media
