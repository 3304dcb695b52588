#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "listening/samples.h"
#include "support/recording/disturbance.h"

namespace SystemTest {

/// How a sound is looked for in a recording. All lengths in samples.
struct TrackSettings {
    std::int64_t windowSamples;
    /// How far from the place of the window before a window is looked for.
    std::int64_t searchSamples;
    /// A window counts as heard from this likeness on, 0.0 to 1.0.
    double minCorrelation;
};

/// Windows of two frames, to be found beside one other sound as loud, which leaves a likeness of 0.71; with
/// one of the frames missing it is 0.41. Chance adds or takes 0.05, for sounds in the telephone band. At a
/// playback rate 833 ppm off, the most that drift control uses, the ends of a window move by 0.8 samples
/// only. The search reaches beyond the longest jump of the play cursor (312.5 ms).
constexpr TrackSettings FineTrack = {1920, 19200, 0.55};

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
std::optional<std::int64_t> FindStart(Listening::SampleView sent, Listening::SampleView heard);

/// Looks up every window of `sent`, each near the place of the one heard before; the first near `lag`. A
/// window that is not heard has the lag of the one before. One whose parts are heard on either side of a
/// shift of the resampler's (see `ResamplerShiftSamples`) is heard. A rest shorter than a window is left out.
std::vector<HeardWindow> TrackWindows(Listening::SampleView sent, Listening::SampleView heard,
                                      std::int64_t lag, TrackSettings const& settings);

/// A sound, and its windows as heard.
struct TrackedSound {
    Listening::SampleView sent;
    std::vector<HeardWindow> windows;
};

/// Looks once more at the windows of `sound` that were not heard, near the lag of the one before, with what
/// the others gave to the recording taken out of it: beside them chance makes one window in some thousands
/// too little alike. Leaves the likeness as it was beside the others.
void LookAgainWithout(std::vector<TrackedSound> const& others, Listening::SampleView heard,
                      TrackedSound& sound);

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

/// What a window tells of the player.
enum class WindowVerdict_t {
    /// It was heard where the window before leads to.
    Heard,
    Lost,
    /// It was heard elsewhere.
    Jumped,
    /// Nothing: the machine disturbed it, or the way to it from the window before.
    Disturbed,
};

/// Judges each of the session's windows (from `TrackWindows`) by itself.
std::vector<WindowVerdict_t> JudgeWindows(std::vector<HeardWindow> const& windows, std::size_t session,
                                          std::vector<TestSupport::Disturbance> const& disturbances);

/// Lags of the windows heard.
std::vector<double> HeardLags(std::vector<HeardWindow> const& windows);

} // namespace SystemTest
