#include "support/recording/noise.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace TestSupport {

namespace {

/// One section of second order, as the well-known bilinear designs with Butterworth's quality give it.
class Section {
public:
    enum class Pass_t { Low, High };

    Section(Pass_t pass, double edgeHz) {
        double const angle = 2.0 * Listening::Pi * edgeHz / Listening::SoundRateHz;
        double const cosine = std::cos(angle);
        double const alpha = std::sin(angle) / std::sqrt(2.0);
        double const sign = pass == Pass_t::Low ? -1.0 : 1.0;
        double const edge = (1.0 + sign * cosine) / 2.0;
        double const scale = 1.0 / (1.0 + alpha);
        b0_ = edge * scale;
        b1_ = -sign * 2.0 * edge * scale;
        a1_ = -2.0 * cosine * scale;
        a2_ = (1.0 - alpha) * scale;
    }

    double Run(double in) {
        double const out = b0_ * in + first_;
        first_ = b1_ * in - a1_ * out + second_;
        second_ = b0_ * in - a2_ * out;
        return out;
    }

private:
    double b0_ = 0.0;
    double b1_ = 0.0;
    double a1_ = 0.0;
    double a2_ = 0.0;
    double first_ = 0.0;
    double second_ = 0.0;
};

void Filter(std::vector<double>& values, Section section) {
    for (double& value : values) {
        value = section.Run(value);
    }
}

} // namespace

Listening::Samples MakeNoise(std::uint32_t seed, std::size_t count, Band band) {
    std::mt19937 generator(seed);
    std::vector<double> values(count);
    double const middle = 0.5 * static_cast<double>(std::mt19937::max());
    for (double& value : values) {
        value = static_cast<double>(generator()) - middle;
    }
    // Four sections an edge: eight times the slope that one has, enough to take every sixth sample without
    // foldover that matters.
    for (int i = 0; i < 4; ++i) {
        Filter(values, Section(Section::Pass_t::Low, band.highHz));
        Filter(values, Section(Section::Pass_t::High, band.lowHz));
    }
    double energy = 0.0;
    for (double const value : values) {
        energy += value * value;
    }
    double const gain =
        NoiseRmsLsb / std::sqrt(std::max(1.0, energy) / static_cast<double>(std::max<std::size_t>(1, count)));
    Listening::Samples samples(count);
    std::transform(values.begin(), values.end(), samples.begin(), [gain](double value) {
        return static_cast<std::int16_t>(std::lround(std::clamp(value * gain, -32768.0, 32767.0)));
    });
    return samples;
}

} // namespace TestSupport
