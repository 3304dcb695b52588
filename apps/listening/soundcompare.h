#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "listening/samples.h"
#include "listening/search/soundsearch.h"

namespace Listening {

/// A stretch of what was sent.
struct SoundSpan {
    std::int64_t start = 0;
    std::int64_t samples = 0;
};

/// A place where the recording's time departs from what was sent.
struct TimelineJump {
    enum class Kind_t { Missing, Repeated, SilenceInserted };

    Kind_t kind = Kind_t::Missing;
    /// Where, in what was sent: the end of the last window heard before it.
    std::int64_t sentSample = 0;
    /// How much, above 0.
    std::int64_t samples = 0;
    /// From the window heard before it to the end of the one heard after it: where exactly within is not
    /// known.
    SoundSpan within{};
};

/// A part of a sound is louder or fainter than the rest from here on.
constexpr double UnevenDecibel = 3.0;

/// What became of a sound on its way. Samples are at `SoundRateHz`.
struct SoundComparison {
    /// False when nothing of what was sent could be found; the rest then says nothing but for the levels.
    bool isFound = false;
    std::vector<WindowMatch> windows;
    /// Windows with signal, and those of them that were heard. Those that a silent start covers count neither
    /// way.
    std::int64_t windowsWithSignal = 0;
    std::int64_t windowsMatched = 0;
    /// Sound sent before the recorder started or after it ended.
    std::int64_t unrecordedSamples = 0;
    /// Place in the recording of the first sample sent, as its first windows tell; negative when the recorder
    /// started later.
    double firstSampleAt = 0.0;
    /// Lag of the windows heard: the middle one, the width of the band that holds the middle 90 %, and the
    /// last ones minus the first ones (positive: played too slowly).
    double medianLagSamples = 0.0;
    double lagSpreadSamples = 0.0;
    double lagDriftSamples = 0.0;
    /// Root mean square over the windows heard, against a full-scale square wave.
    double sentLevelDecibel = 0.0;
    double heardLevelDecibel = 0.0;
    /// Silence heard at the very beginning where there was sound to hear, in samples: a renderer that starts
    /// may lose its first frames.
    std::int64_t silentStartSamples = 0;
    /// Longest stretch of silence heard after that where there was sound to hear; its start in what was sent.
    SoundSpan longestHole;
    /// All of them, in the order of time.
    std::vector<SoundSpan> holes;
    std::vector<TimelineJump> jumps;
    /// Stretches of sound that were not heard as they were sent.
    std::vector<SoundSpan> lost;
    /// Amplitude heard against amplitude sent, as most of the sound has it, and stretches with another one by
    /// more than `UnevenDecibel`.
    double gain = 0.0;
    std::vector<SoundSpan> uneven;
    /// By how much the sound was played too slowly (too fast below 0) throughout, in millionths; nothing when
    /// its speed changed on the way or cannot be told.
    std::optional<double> steadyDriftPpm;
    /// Sound that was sent is too faint to be looked for, all of it: nobody can tell.
    bool isTooFaint = false;
    std::optional<Ambiguity> ambiguity;
    /// The loudest parts were cut off, more than a mixer has to at full scale.
    bool isCutOff = false;

    double GetMatchedShare() const;
};

/// Looks `sent` up in `heard`, its beginning within `range` if given, and judges what became of it.
SoundComparison CompareSounds(SampleView sent, SampleView heard,
                              std::optional<LagRange> const& range = std::nullopt);

/// The sum of several sounds that play at once, cut off at full scale as a mixer does.
Samples MixSounds(std::vector<SampleView> const& sounds);

} // namespace Listening
