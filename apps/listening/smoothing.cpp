#include "listening/smoothing.h"

#include <array>
#include <cmath>

namespace Listening {

namespace {

constexpr double SmoothCutHz = 5000.0;
/// With less of its energy below the cut than this, a sound is not what is left of it.
constexpr double MinShare = 0.02;
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

Signal Smooth(SampleView sound) {
    Signal result;
    result.reserve(sound.GetSize());
    LowPass filter(SmoothCutHz);
    for (std::int16_t const sample : sound) {
        result.push_back(static_cast<float>(filter.Pass(sample)));
    }
    return result;
}

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

Signal ToSignal(SampleView sound) {
    return Signal(sound.begin(), sound.end());
}

} // namespace Listening
