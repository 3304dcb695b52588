#include "soundlevel.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace AudioHost {

namespace {

constexpr double FullScaleLsb = 32768.0;
} // namespace

double LevelDecibel(SampleView samples) {
    double energy = 0.0;
    for (std::int16_t const sample : samples) {
        energy += static_cast<double>(sample) * sample;
    }
    if (energy <= 0.0) {
        return LeastLevelDecibel;
    }
    double const meanSquare = energy / static_cast<double>(samples.GetSize());
    return std::max(LeastLevelDecibel, 10.0 * std::log10(meanSquare / (FullScaleLsb * FullScaleLsb)));
}

int Peak(SampleView samples) {
    int peak = 0;
    for (std::int16_t const sample : samples) {
        peak = std::max(peak, std::abs(static_cast<int>(sample)));
    }
    return peak;
}

} // namespace AudioHost
