#include "listening/search/smoothing.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Listening {

namespace {

constexpr double SmoothCutHz = 5000.0;
/// With less of its energy below the cut than this, a sound is not what is left of it.
constexpr double MinShare = 0.02;
/// What the filter still knows of a sample after so many: less than a float can tell.
constexpr std::int64_t SettlingSamples = 256;
/// Keeps what rings on behind the end of a sound from becoming numbers that take a processor long.
constexpr double NotQuiteZero = 1e-15;

/// A Butterworth filter of the sixth order: three sections in a row.
class LowPass {
public:
    explicit LowPass(double cutHz) {
        double const w = std::tan(Pi * cutHz / SoundRateHz);
        for (std::size_t i = 0; i < sections_.size(); ++i) {
            double const damping = 2.0 * std::cos(Pi * (2.0 * static_cast<double>(i) + 1.0) / 12.0);
            double const norm = 1.0 / (1.0 + damping * w + w * w);
            sections_[i].gain = w * w * norm;
            sections_[i].back1 = 2.0 * (w * w - 1.0) * norm;
            sections_[i].back2 = (1.0 - damping * w + w * w) * norm;
        }
    }

    double Pass(double value) {
        for (Section& section : sections_) {
            double const in = value + NotQuiteZero;
            value = section.gain * in + section.state1;
            section.state1 = 2.0 * section.gain * in - section.back1 * value + section.state2;
            section.state2 = section.gain * in - section.back2 * value;
        }
        return value;
    }

private:
    struct Section {
        double gain = 0.0;
        double back1 = 0.0;
        double back2 = 0.0;
        double state1 = 0.0;
        double state2 = 0.0;
    };
    std::array<Section, 3> sections_;
};

} // namespace

bool IsTreble(SampleView sound) {
    LowPass filter(SmoothCutHz);
    double below = 0.0;
    double all = 0.0;
    for (std::int16_t const sample : sound) {
        double const value = filter.Pass(sample);
        below += value * value;
        all += static_cast<double>(sample) * sample;
    }
    return below < MinShare * all;
}

Signal ComparedSound::Cut(std::int64_t start, std::int64_t count) const {
    std::int64_t const settling = isTreble_ ? 0 : SettlingSamples;
    std::int64_t const from = start - settling;
    SampleView const inside = sound_.Cut(from, settling + count);
    Signal result(static_cast<std::size_t>(settling + count));
    std::copy(inside.begin(), inside.end(),
              result.begin() + std::clamp<std::int64_t>(-from, 0, settling + count));
    if (!isTreble_) {
        LowPass filter(SmoothCutHz);
        for (float& sample : result) {
            sample = static_cast<float>(filter.Pass(static_cast<double>(sample)));
        }
        result.erase(result.begin(), result.begin() + settling);
    }
    return result;
}

Signal const& KeptSound::PartAt(std::int64_t number) const {
    std::int64_t const rest = number % PartsKept;
    Part& part = parts_[static_cast<std::size_t>(rest < 0 ? rest + PartsKept : rest)];
    if (part.samples.empty() || part.number != number) {
        part = {number, sound_.Cut(number * PartSamples, PartSamples)};
    }
    return part.samples;
}

Signal KeptSound::Cut(std::int64_t start, std::int64_t count) const {
    Signal result;
    result.reserve(static_cast<std::size_t>(count));
    while (count > 0) {
        std::int64_t const within = (start % PartSamples + PartSamples) % PartSamples;
        std::int64_t const taken = std::min(count, PartSamples - within);
        SignalView const part = SignalView(PartAt((start - within) / PartSamples)).Cut(within, taken);
        result.insert(result.end(), part.begin(), part.end());
        start += taken;
        count -= taken;
    }
    return result;
}

} // namespace Listening
