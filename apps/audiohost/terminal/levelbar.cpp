#include "terminal/levelbar.h"

#include <algorithm>
#include <cmath>

#include "terminal/textformat.h"

namespace AudioHost {

namespace {

constexpr std::size_t BarPlaces = 20;

} // namespace

std::string FormatLevelBar(float level) {
    // In this order a NaN counts as silence.
    double const within = std::min(1.0, std::max(0.0, static_cast<double>(level)));
    auto const filled = static_cast<std::size_t>(std::lround(within * static_cast<double>(BarPlaces)));
    return "[" + std::string(filled, '#') + std::string(BarPlaces - filled, '.') + "] " +
           FormatFixed(within, 2);
}

} // namespace AudioHost
