#pragma once

#include <cstdint>

#include "listening/samples.h"

namespace Listening {

constexpr std::int64_t SecondSamples = SoundRateHz;

/// Sound like a voice: noise without its treble, louder and quieter five times a second, the same for the
/// same seed, about -20 dBFS.
Samples MakeVoice(std::int64_t count, std::uint32_t seed = 1);

/// A sine of `amplitude` LSB.
Samples MakeSine(std::int64_t count, double hz, double amplitude, std::uint32_t rateHz = SoundRateHz);

Samples Join(std::initializer_list<SampleView> parts);

} // namespace Listening
