#pragma once

#include "samples.h"

namespace AudioHost {

/// What silence counts as.
constexpr double LeastLevelDecibel = -120.0;

/// Root mean square in decibels against a full-scale square wave; at least `LeastLevelDecibel`.
double LevelDecibel(SampleView samples);

/// Greatest magnitude, 0 to 32768.
int Peak(SampleView samples);

} // namespace AudioHost
