#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "listening/samples.h"
#include "listening/windowmatch.h"

namespace Listening {

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

/// What cannot be told of a sound that repeats itself, as a tone does.
struct Ambiguity {
    /// Shifted by so much it would fit as well.
    std::int64_t periodSamples = 0;
    /// Its place as a whole is one of several; otherwise it is known by its beginning or its end, and only
    /// whether whole periods are missing or came twice on the way is not.
    bool isOfPlace = false;
};

/// Where a sound was heard.
struct SoundTrack {
    /// Empty when nothing is like the sound anywhere.
    std::vector<WindowMatch> windows;
    /// Windows of which half lies before the sound and half behind it: where its middle repeats itself, its
    /// ends tell its place and its length.
    WindowMatch begin;
    WindowMatch end;
    std::optional<Ambiguity> ambiguity;
};

/// Looks up every window of `sent` in `heard`, its beginning within `range` if given. A window is taken for
/// heard where the one before it leads; only one that is not there is looked for elsewhere.
SoundTrack MatchWindows(SampleView sent, SampleView heard,
                        std::optional<LagRange> const& range = std::nullopt);

} // namespace Listening
