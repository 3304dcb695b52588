#pragma once

#include <cstddef>

#include "testframes.h"

namespace CodecTest {

inline constexpr double Pi = 3.14159265358979323846;

/// `count` samples of a sine from phase 0, rounded.
Samples MakeSine(double frequencyHz, double rateHz, std::size_t count, double amplitude = 16'000);

/// The frame of `sampleCount` samples with index `index` in `signal`.
Samples Piece(Samples const& signal, std::size_t index, std::size_t sampleCount);

/// Power of the best-fitting sine of that frequency (any phase, any amplitude, no offset) over the power of
/// all that is left, in dB. A delay or a gain does not matter to it; a click, a hole or a slip does.
double SineToNoise(Samples const& signal, double frequencyHz, double rateHz);

/// Amplitude of that best-fitting sine.
double SineAmplitude(Samples const& signal, double frequencyHz, double rateHz);

/// The samples from `skip` on.
Samples From(Samples const& signal, std::size_t skip);

} // namespace CodecTest
