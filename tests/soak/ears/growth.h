#pragma once

#include <vector>

namespace Soak {

/// A quantity at one moment.
struct Reading {
    double seconds = 0.0;
    double value = 0.0;
};

/// A line through less says nothing about an hour.
constexpr double MinTrendSeconds = 240.0;

/// How much the straight line through the readings (least squares) rises in an hour; 0 for fewer than two
/// moments.
double FitGrowthPerHour(std::vector<Reading> const& readings);

} // namespace Soak
