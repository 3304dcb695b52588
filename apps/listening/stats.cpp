#include "listening/stats.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Listening {

double Percentile(std::vector<double> values, double share) {
    if (values.empty()) {
        return 0.0;
    }
    std::sort(values.begin(), values.end());
    double const place = std::clamp(share, 0.0, 1.0) * static_cast<double>(values.size() - 1);
    auto const below = static_cast<std::size_t>(place);
    std::size_t const above = std::min(below + 1, values.size() - 1);
    return values[below] + (place - static_cast<double>(below)) * (values[above] - values[below]);
}

double Median(std::vector<double> values) {
    return Percentile(std::move(values), 0.5);
}

double WeightedMedian(std::vector<std::pair<double, double>> values) {
    std::sort(values.begin(), values.end());
    double all = 0.0;
    for (auto const& [value, weight] : values) {
        all += weight;
    }
    double sum = 0.0;
    for (auto const& [value, weight] : values) {
        sum += weight;
        if (sum >= 0.5 * all) {
            return value;
        }
    }
    return 0.0;
}

std::vector<double> Magnitudes(std::vector<double> values) {
    for (double& value : values) {
        value = std::fabs(value);
    }
    return values;
}

} // namespace Listening
