#pragma once

#include <utility>
#include <vector>

namespace Listening {

/// The value below which `share` (0.0 to 1.0) of `values` lie, interpolated between neighbours; 0 for none.
double Percentile(std::vector<double> values, double share);

double Median(std::vector<double> values);

/// Of pairs of a value and its weight: the least value that half of all weight does not exceed; 0 for none.
double WeightedMedian(std::vector<std::pair<double, double>> values);

/// The values without their signs.
std::vector<double> Magnitudes(std::vector<double> values);

} // namespace Listening
