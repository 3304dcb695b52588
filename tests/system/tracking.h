#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "samples.h"

namespace SystemTest {

/// How a sound is looked for in a recording. All lengths in samples.
struct TrackSettings {
    std::int64_t windowSamples;
    /// How far from the place of the window before a window is looked for.
    std::int64_t searchSamples;
    /// A window counts as heard from this likeness on, 0.0 to 1.0.
    double leastCorrelation;
};

/// Windows of two frames, to be found among four other sounds as loud, which leave a likeness of 0.45; with
/// one of the frames missing it is 0.24. At a playback rate 833 ppm off, the most that drift control uses,
/// the ends of a window move by 0.8 samples only. The search reaches beyond the longest jump of the play
/// cursor (312.5 ms).
constexpr TrackSettings FineTrack = {1920, 19200, 0.3};

/// Windows of 100 ms, longer and so more surely found: for the place of a sound, not for its completeness.
constexpr TrackSettings CoarseTrack = {4800, 19200, 0.25};

/// One window of a sound, and where it was heard.
struct HeardWindow {
    std::int64_t sentStart = 0;
    std::int64_t samples = 0;
    double correlation = 0.0;
    /// Sample number in the recording minus sample number in the sound.
    std::int64_t lag = 0;
    bool isHeard = false;
};

/// Lag of the first second of `sent` (of all of it, when shorter) in `heard`; nothing when it is not there.
std::optional<std::int64_t> FindStart(AudioHost::SampleView sent, AudioHost::SampleView heard);

/// Looks up every window of `sent`, each near the place of the one heard before; the first near `lag`. A
/// window that is not heard has the lag of the one before. A rest shorter than a window is left out.
std::vector<HeardWindow> TrackWindows(AudioHost::SampleView sent, AudioHost::SampleView heard,
                                      std::int64_t lag, TrackSettings const& settings);

/// What several sounds of the same length, each played by itself and at another time, have in common: a
/// window is heard when most of them were heard there, and its lag changes as the median of theirs. What a
/// busy machine does to the output strikes all sounds at one moment, each at another place; what becomes of
/// most sounds at the same place is the player's doing. `tracks` are as long as each other.
std::vector<HeardWindow> TakeMedian(std::vector<std::vector<HeardWindow>> const& tracks);

/// How a sound came out.
struct Delivery {
    std::int64_t windows = 0;
    std::int64_t lost = 0;
    /// How often the sound went on elsewhere than where it was: parts were left out or repeated, or silence
    /// was put in between.
    std::int64_t jumps = 0;

    double GetHeardShare() const {
        return windows == 0 ? 0.0 : static_cast<double>(windows - lost) / static_cast<double>(windows);
    }
};

/// A lag may change by this without any sound being lost or repeated: when the playback rate leaves 48000 Hz
/// the system's resampler comes in, whose filter shifts the sound by 0.7 ms, and back.
constexpr std::int64_t ResamplerShiftSamples = 48;

Delivery SumUp(std::vector<HeardWindow> const& windows);

/// Lags of the windows heard.
std::vector<double> HeardLags(std::vector<HeardWindow> const& windows);

} // namespace SystemTest
