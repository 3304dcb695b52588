#include "listening/cutoff.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>

namespace Listening {

namespace {

/// Magnitudes that speak for the peaks and for the rest, against the highest. Fewer samples may be chance.
constexpr double PeakShare = 0.9;
constexpr double RestShare = 0.35;
constexpr std::int64_t MinPeaks = 24;
/// Peaks this much lower than they should be were cut off.
constexpr double CutOffShare = 0.93;

/// How many samples have each magnitude: what a sound's place, to a few samples, does not change.
class MagnitudeCounts {
public:
    void Add(SampleView samples) {
        for (std::int16_t const sample : samples) {
            ++counts_[static_cast<std::size_t>(std::abs(static_cast<int>(sample)))];
        }
    }

    std::int64_t CountFrom(int magnitude) const {
        return std::accumulate(counts_.begin() + magnitude, counts_.end(), std::int64_t(0));
    }

    /// The magnitude that `count` samples have or exceed.
    int FindReachedBy(std::int64_t count) const {
        auto magnitude = static_cast<int>(counts_.size()) - 1;
        for (std::int64_t sum = 0; magnitude > 0; --magnitude) {
            sum += counts_[static_cast<std::size_t>(magnitude)];
            if (sum >= count) {
                break;
            }
        }
        return magnitude;
    }

private:
    std::vector<std::int64_t> counts_ = std::vector<std::int64_t>(static_cast<std::size_t>(FullScaleLsb) + 1);
};

} // namespace

bool IsCutOff(SampleView sent, SampleView heard, std::vector<WindowMatch> const& windows) {
    MagnitudeCounts in;
    MagnitudeCounts out;
    for (WindowMatch const& window : windows) {
        if (window.IsMatch()) {
            in.Add(sent.Cut(window.sentStart, CompareWindowSamples));
            out.Add(heard.Cut(window.sentStart + window.lag, CompareWindowSamples));
        }
    }
    double const highest = in.FindReachedBy(1);
    double const peak = PeakShare * highest;
    double const rest = RestShare * highest;
    std::int64_t const peaks = in.CountFrom(static_cast<int>(peak));
    double const peakGain = out.FindReachedBy(peaks) / peak;
    double const restGain = out.FindReachedBy(in.CountFrom(static_cast<int>(rest))) / rest;
    return highest > 0.0 && peaks >= MinPeaks && peakGain < CutOffShare * restGain;
}

} // namespace Listening
