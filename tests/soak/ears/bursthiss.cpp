#include "ears/bursthiss.h"

#include <algorithm>
#include <cmath>

#include "ears/burstband.h"
#include "ears/soundplan.h"

namespace Soak {

namespace {

using Listening::SampleView;

/// 5 ms.
constexpr std::int64_t StepSamples = 240;
constexpr std::int64_t MinSteps = 2;
/// A quarter of a burst's power is hiss; what all tones together leave in the band is a hundredth.
constexpr float MinRmsLsb = 1000.0F;
/// Only every fourth sample is filtered: enough to know a power by.
constexpr std::int64_t Stride = 4;

/// A step belongs to a burst when the filter lets it hear the burst, which it does from so far before the
/// burst's beginning to so far behind its end.
constexpr std::int64_t BeforeSamples = 480;
constexpr std::int64_t AfterSamples = 240;

float MeasureRms(SampleView heard, std::int64_t start, BurstBand const& band) {
    float power = 0.0F;
    int count = 0;
    for (std::int64_t at = start; at < start + StepSamples; at += Stride) {
        float const value = band.FilterAt(heard, at);
        power += value * value;
        ++count;
    }
    return std::sqrt(power / static_cast<float>(count));
}

/// True when `sample` lies in or beside a burst.
bool IsExplained(std::int64_t sample, std::vector<std::int64_t> const& burstPlaces) {
    auto const next = std::upper_bound(burstPlaces.begin(), burstPlaces.end(), sample + BeforeSamples);
    return next != burstPlaces.begin() && sample < *(next - 1) + FrameSamples + AfterSamples;
}

} // namespace

std::vector<Hiss> FindUnexplainedHiss(SampleView heard, std::int64_t beginSample,
                                      std::vector<std::int64_t> const& burstPlaces) {
    BurstBand const band;
    std::vector<Hiss> found;
    Hiss open;
    auto const close = [&found, &open] {
        if (open.samples >= MinSteps * StepSamples) {
            found.push_back(open);
        }
        open = {};
    };
    auto const size = static_cast<std::int64_t>(heard.GetSize());
    for (std::int64_t start = beginSample; start + StepSamples <= size; start += StepSamples) {
        if (!IsExplained(start, burstPlaces) && MeasureRms(heard, start, band) >= MinRmsLsb) {
            open.startSample = open.samples == 0 ? start : open.startSample;
            open.samples += StepSamples;
        } else {
            close();
        }
    }
    close();
    return found;
}

} // namespace Soak
