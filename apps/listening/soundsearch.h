#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "listening/samples.h"

namespace Listening {

/// Sound below this level is not looked for: noise and coding change it too much to be recognised.
constexpr double SignalLevelDecibel = -55.0;
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

/// True when the window that starts at `start` of the recording lies within it.
bool IsWindowRecorded(SampleView heard, std::int64_t start);

/// Where in the recording a sound may begin, in samples of the recording, both ends included. Sound that
/// repeats itself is like the recording in several places: only the range tells which one is meant.
struct LagRange {
    std::int64_t min = 0;
    std::int64_t max = 0;
};

/// Sample number in `heard` minus sample number in `sent`, from the loudest stretches of `sent`, within
/// `range` if given; nothing when it cannot be told.
std::optional<std::int64_t> FindLag(SampleView sent, SampleView heard,
                                    std::optional<LagRange> const& range = std::nullopt);

/// Looks up every window of `sent` in `heard`, each near the one before; the first near `lag`.
std::vector<WindowMatch> MatchWindows(SampleView sent, SampleView heard, std::int64_t lag);

} // namespace Listening
