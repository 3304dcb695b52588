#include "listening/tests/testsounds.h"

#include <cmath>

namespace Listening {

Samples MakeVoice(std::int64_t count, std::uint32_t seed) {
    Samples samples;
    std::uint32_t state = seed * 2654435761U + 1U;
    double smooth = 0.0;
    double smoother = 0.0;
    for (std::int64_t i = 0; i < count; ++i) {
        state = state * 1664525U + 1013904223U;
        double const noise = static_cast<double>(state >> 8) / 8388608.0 - 1.0;
        smooth += 0.08 * (noise - smooth);
        smoother += 0.08 * (smooth - smoother);
        double const loudness = 0.6 + 0.4 * std::sin(2.0 * Pi * 5.0 * static_cast<double>(i) / SoundRateHz);
        samples.push_back(static_cast<std::int16_t>(std::lround(60000.0 * loudness * smoother)));
    }
    return samples;
}

Samples MakeSine(std::int64_t count, double hz, double amplitude, std::uint32_t rateHz) {
    Samples samples;
    for (std::int64_t i = 0; i < count; ++i) {
        samples.push_back(static_cast<std::int16_t>(
            std::lround(amplitude * std::sin(2.0 * Pi * hz * static_cast<double>(i) / rateHz))));
    }
    return samples;
}

Samples Join(std::initializer_list<SampleView> parts) {
    Samples joined;
    for (SampleView const& part : parts) {
        joined.insert(joined.end(), part.begin(), part.end());
    }
    return joined;
}

} // namespace Listening
