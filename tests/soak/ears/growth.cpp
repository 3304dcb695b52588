#include "ears/growth.h"

namespace Soak {

namespace {

constexpr double SecondsPerHour = 3600.0;

} // namespace

double FitGrowthPerHour(std::vector<Reading> const& readings) {
    double seconds = 0.0;
    double value = 0.0;
    for (Reading const& reading : readings) {
        seconds += reading.seconds / static_cast<double>(readings.size());
        value += reading.value / static_cast<double>(readings.size());
    }
    double spread = 0.0;
    double rise = 0.0;
    for (Reading const& reading : readings) {
        spread += (reading.seconds - seconds) * (reading.seconds - seconds);
        rise += (reading.seconds - seconds) * (reading.value - value);
    }
    return spread > 0.0 ? rise / spread * SecondsPerHour : 0.0;
}

} // namespace Soak
