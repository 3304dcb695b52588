#include "listening/soundlevel.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace Listening {

double SumOfSquares(SampleView samples) {
    double sum = 0.0;
    for (std::int16_t const sample : samples) {
        sum += static_cast<double>(sample) * sample;
    }
    return sum;
}

double EnergyDecibel(double sumOfSquares, std::uint64_t count) {
    if (sumOfSquares <= 0.0) {
        return MinLevelDecibel;
    }
    double const meanSquare = sumOfSquares / static_cast<double>(count);
    return std::max(MinLevelDecibel, 10.0 * std::log10(meanSquare / (FullScaleLsb * FullScaleLsb)));
}

double LevelDecibel(SampleView samples) {
    return EnergyDecibel(SumOfSquares(samples), samples.GetSize());
}

int Peak(SampleView samples) {
    int peak = 0;
    for (std::int16_t const sample : samples) {
        peak = std::max(peak, std::abs(static_cast<int>(sample)));
    }
    return peak;
}

double PeakDecibel(int peak) {
    return EnergyDecibel(static_cast<double>(peak) * peak, 1);
}

} // namespace Listening
