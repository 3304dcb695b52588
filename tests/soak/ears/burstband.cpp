#include "ears/burstband.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>

namespace Soak {

namespace {

/// A windowed sinc, 45 dB down at 0.6 kHz outside these edges.
constexpr double LowHz = 10500.0;
constexpr double HighHz = 17500.0;

} // namespace

BurstBand::BurstBand() {
    for (std::int64_t i = -Reach; i <= Reach; ++i) {
        auto const at = static_cast<double>(i);
        auto const lowPass = [i, at](double edgeHz) {
            double const edge = 2.0 * edgeHz / Listening::SoundRateHz;
            return i == 0 ? edge : std::sin(Listening::Pi * edge * at) / (Listening::Pi * at);
        };
        double const window = 0.5 + 0.5 * std::cos(Listening::Pi * at / static_cast<double>(Reach + 1));
        taps_[i + Reach] = static_cast<float>((lowPass(HighHz) - lowPass(LowHz)) * window);
    }
}

float BurstBand::FilterAt(Listening::SampleView sound, std::int64_t at) const {
    std::int64_t const first = std::max<std::int64_t>(0, at - Reach);
    std::int64_t const last = std::min(at + Reach + 1, static_cast<std::int64_t>(sound.GetSize()));
    if (first >= last) {
        return 0.0F;
    }
    return std::inner_product(sound.begin() + first, sound.begin() + last,
                              std::begin(taps_) + (first - at + Reach), 0.0F);
}

Listening::Samples BurstBand::Filter(Listening::SampleView sound, std::int64_t start,
                                     std::int64_t count) const {
    Listening::Samples filtered(static_cast<std::size_t>(std::max<std::int64_t>(0, count)));
    for (std::size_t i = 0; i < filtered.size(); ++i) {
        float const value = FilterAt(sound, start + static_cast<std::int64_t>(i));
        filtered[i] = static_cast<std::int16_t>(std::lround(std::clamp(value, -32768.0F, 32767.0F)));
    }
    return filtered;
}

} // namespace Soak
