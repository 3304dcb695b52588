#pragma once

#include <cstdint>
#include <numeric>

namespace Media {

/// How a resampler's start-up is arranged so that every frame gives exactly its share.
///
/// A filter needs `taps / 2` samples of the future. Left alone it would keep the first frame's end back and
/// leave a hole in a timeline on which each frame is placed by its own timestamp. So it is fed
/// `primingSamples` of silence first and the `discardedSamples` that these give are thrown away; what is
/// left in it is `delaySamples` of silence, which come out in front of the first frame. From then on output
/// sample n is the sound of input time n / outRate - delaySamples / inRate, for good.
///
/// **Units:** sample positions (one sample of every channel) of the input, but for `discardedSamples`, which
/// are of the output.
struct ResamplerPlan {
    std::int64_t delaySamples = 0;
    std::int64_t primingSamples = 0;
    std::int64_t discardedSamples = 0;
};

/// Taps of the filter at the input's rate, or at the output's when that is lower: 32 keep the telephone
/// band up to 3.4 kHz clear at 8 kHz, for 2 ms of delay.
inline constexpr int ResamplerFilterTaps = 32;

/// The filter's edge, a share of the lower rate's half.
inline constexpr int ResamplerCutoffPercent = 97;

/// Taps that the resampler really has at a pair of rates: it stretches its filter when the edge lies below
/// the input's own half rate.
constexpr std::int64_t CountFilterTaps(std::int64_t inRate, std::int64_t outRate) {
    std::int64_t const reach = outRate * ResamplerCutoffPercent;
    if (reach >= inRate * 100) {
        return ResamplerFilterTaps;
    }
    return (ResamplerFilterTaps * inRate * 100 + reach - 1) / reach;
}

/// The plan for a pair of rates in Hz, both positive. The same rates need no filter and have no delay.
constexpr ResamplerPlan PlanResampler(std::int64_t inRate, std::int64_t outRate) {
    ResamplerPlan plan;
    if (inRate == outRate) {
        return plan;
    }
    std::int64_t const taps = CountFilterTaps(inRate, outRate);
    // The library counts a stretched filter's taps in floating point and may come to one more.
    plan.delaySamples = taps / 2 + (taps > ResamplerFilterTaps ? 1 : 0);
    // Whole periods of the ratio, so that the output discarded is a whole number of samples; enough of them
    // that the filter is full before the first frame, however short that is.
    std::int64_t const divisor = std::gcd(inRate, outRate);
    std::int64_t const period = inRate / divisor;
    std::int64_t const periods = (taps + 2 - plan.delaySamples + period - 1) / period;
    plan.primingSamples = plan.delaySamples + periods * period;
    plan.discardedSamples = periods * (outRate / divisor);
    return plan;
}

static_assert(PlanResampler(8'000, 48'000).delaySamples == 16, "2 ms at 8 kHz");
// 34 - 16 = 18 samples more than the delay, each worth six at the output.
static_assert(PlanResampler(8'000, 48'000).primingSamples == 34);
static_assert(PlanResampler(8'000, 48'000).discardedSamples == 108);
// 147 samples in give 160 out: one period.
static_assert(PlanResampler(44'100, 48'000).primingSamples == 16 + 147);
static_assert(PlanResampler(44'100, 48'000).discardedSamples == 160);
// 32 x 2 / 0.97 = 65.98.
static_assert(CountFilterTaps(96'000, 48'000) == 66);
static_assert(PlanResampler(96'000, 48'000).delaySamples == 34);
static_assert(PlanResampler(48'000, 48'000).primingSamples == 0);

/// Counts out the output samples that are due for the input so far, `floor(in x outRate / inRate)` in all,
/// without ever multiplying the whole stream's length.
class SampleShare {
public:
    constexpr SampleShare(std::int64_t inRate, std::int64_t outRate) : inRate_(inRate), outRate_(outRate) {}

    /// Samples that `inSamples` more (below 2^40) make due.
    constexpr std::int64_t Take(std::int64_t inSamples) {
        std::int64_t const whole = inSamples * outRate_ + remainder_;
        remainder_ = whole % inRate_;
        return whole / inRate_;
    }

private:
    std::int64_t inRate_;
    std::int64_t outRate_;
    /// In units of 1 / inRate of an output sample.
    std::int64_t remainder_ = 0;
};

} // namespace Media
