#pragma once

#include <cstdint>

#include "listening/samples.h"

namespace Listening {

/// What silence counts as.
constexpr double MinLevelDecibel = -120.0;

/// Root mean square in decibels against a full-scale square wave; at least `MinLevelDecibel`.
double LevelDecibel(SampleView samples);

/// The same from a sum of squares, for sound that comes in pieces.
double SumOfSquares(SampleView samples);
double EnergyDecibel(double sumOfSquares, std::uint64_t count);

/// Greatest magnitude, 0 to 32768.
int Peak(SampleView samples);
/// A magnitude in decibels against the greatest; at least `MinLevelDecibel`.
double PeakDecibel(int peak);

} // namespace Listening
