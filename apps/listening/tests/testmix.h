#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "listening/samples.h"

namespace Listening {

/// Sounds of many kinds, about -20 dBFS, the same for the same seed. All end as they began: at once.
Samples MakeTones(std::int64_t count, std::vector<double> const& hz, double amplitude);
Samples MakeClicks(std::int64_t count);
Samples MakeSweep(std::int64_t count, double fromHz, double toHz);
Samples MakeNoise(std::int64_t count, std::uint32_t seed, double amplitude = 5000.0);
/// Syllables of a voice that rises and falls, and pauses between words.
Samples MakeSpeech(std::int64_t count, std::uint32_t seed);
/// A bass, chords and a melody, a note after the other.
Samples MakeMusic(std::int64_t count, std::uint32_t seed);
/// Partials, vibrato, tremolo and noise as chance has it.
Samples MakeAnything(std::int64_t count, std::uint32_t seed);

// What may happen to a sound on its way.
Samples LeaveOut(Samples const& sound, std::int64_t at, std::int64_t count);
Samples Repeat(Samples const& sound, std::int64_t at, std::int64_t count);
Samples Scale(Samples const& sound, double gain);
Samples CutOff(Samples const& sound, int peak);
/// Played at speeds one after the other, each for `stepSamples`; well interpolated.
Samples PlayAtSpeeds(Samples const& sound, std::vector<double> const& speeds, std::int64_t stepSamples);

/// What a recorder takes down: silence, then the sounds mixed, then silence, with noise of this amplitude.
Samples RecordMix(std::vector<Samples> const& sounds, std::int64_t head, std::int64_t tail,
                  double noiseAmplitude = 0.0);

} // namespace Listening
