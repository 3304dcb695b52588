#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "samples.h"

namespace AudioHost {

/// Length of the windows that are looked up one by one. A quarter of a second is long enough to be found in
/// speech and short enough that a playback speed 833 ppm off, the most that drift control uses, shifts its
/// ends by five samples only.
constexpr std::int64_t CompareWindowSamples = 12000;
/// A window may have moved this far since the one before: beyond the longest jump of the play cursor (312.5
/// ms).
constexpr std::int64_t CompareSearchSamples = 19200;
/// A window counts as heard from this likeness on.
constexpr float MatchCorrelation = 0.9F;

/// One window of what was sent and where it was heard.
struct WindowMatch {
    std::int64_t sentStart = 0;
    /// Loud enough to be looked for, and within the recording; the rest says nothing otherwise.
    bool hasSignal = false;
    /// Highest likeness found, -1.0 to 1.0.
    float correlation = 0.0F;
    /// Sample number in the recording minus sample number in what was sent.
    std::int64_t lag = 0;

    bool IsMatch() const { return hasSignal && correlation > MatchCorrelation; }
};

/// A place where the recording's time departs from what was sent.
struct TimelineJump {
    enum class Kind_t { Missing, Repeated, SilenceInserted };

    Kind_t kind = Kind_t::Missing;
    /// Where, in what was sent: the end of the last window heard before it.
    std::int64_t sentSample = 0;
    /// How much, above 0.
    std::int64_t samples = 0;
};

/// A stretch of what was sent.
struct SoundSpan {
    std::int64_t start = 0;
    std::int64_t samples = 0;
};

/// What became of a sound on its way. Samples are at `SoundRateHz`.
struct SoundComparison {
    /// False when nothing of what was sent could be found; the rest then says nothing but for the levels.
    bool isFound = false;
    std::vector<WindowMatch> windows;
    /// Windows with signal, and those of them that were heard.
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
    std::vector<TimelineJump> jumps;
    /// Stretches of sound that were not heard as they were sent.
    std::vector<SoundSpan> lost;

    double GetMatchedShare() const;
};

/// Root mean square in decibels against a full-scale square wave; -120 for silence.
double LevelDecibel(SampleView samples);

/// Greatest magnitude, 0 to 32768.
int Peak(SampleView samples);

/// Sample number in `heard` minus sample number in `sent`, from the loudest stretches of `sent`; nothing
/// when it cannot be told.
std::optional<std::int64_t> FindLag(SampleView sent, SampleView heard);

/// Looks up every window of `sent` in `heard`, each near the one before; the first near `lag`.
std::vector<WindowMatch> MatchWindows(SampleView sent, SampleView heard, std::int64_t lag);

/// Everything above together.
SoundComparison CompareSounds(SampleView sent, SampleView heard);

/// The sum of several sounds that play at once, cut off at full scale as a mixer does.
Samples MixSounds(std::vector<SampleView> const& sounds);

} // namespace AudioHost
