#include "terminal/levelbar.h"

#include <algorithm>
#include <cmath>

#include "terminal/textformat.h"

namespace AudioHost {

namespace {

constexpr std::size_t BarPlaces = 24;
constexpr std::int64_t HoldNanoSec = 2'000'000'000;

/// The renderer bends the range by the power of 21/32, so that half of it is a level of 0.63.
constexpr double UnbendingExponent = 32.0 / 21.0;

std::size_t PlaceOf(double decibel) {
    double const share = 1.0 - decibel / MinBarDecibel;
    return static_cast<std::size_t>(std::lround(share * static_cast<double>(BarPlaces)));
}

} // namespace

double LineLevelDecibel(float level) {
    // In this order a NaN counts as silence.
    double const within = std::min(1.0, std::max(0.0, static_cast<double>(level)));
    return std::max(MinBarDecibel, 20.0 * UnbendingExponent * std::log10(within));
}

std::string FormatLevel(double decibel) {
    return decibel <= MinBarDecibel ? "under " + FormatFixed(MinBarDecibel, 0) + " dBFS"
                                    : FormatFixed(decibel, 1) + " dBFS";
}

std::string FormatLevelBar(double decibel, double peakDecibel) {
    std::size_t const filled = PlaceOf(decibel);
    std::size_t const peak = PlaceOf(peakDecibel);
    std::string bar = std::string(filled, '#') + std::string(BarPlaces - filled, '.');
    if (peak > filled) {
        bar[peak - 1] = '|';
    }
    return "[" + bar + "] " + FormatLevel(decibel);
}

std::string FormatLevelBar(double decibel) {
    return FormatLevelBar(decibel, decibel);
}

double PeakHold::Add(double decibel, std::int64_t nanoSec) {
    if (decibel >= peakDecibel_ || nanoSec - sinceNanoSec_ >= HoldNanoSec) {
        peakDecibel_ = decibel;
        sinceNanoSec_ = nanoSec;
    }
    return peakDecibel_;
}

} // namespace AudioHost
