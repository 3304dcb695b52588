#pragma once

#include <vector>

namespace Listening {

/// The value below which `share` (0.0 to 1.0) of `values` lie, interpolated between neighbours; 0 for none.
double Percentile(std::vector<double> values, double share);

double Median(std::vector<double> values);

/// The values without their signs.
std::vector<double> Magnitudes(std::vector<double> values);

} // namespace Listening
