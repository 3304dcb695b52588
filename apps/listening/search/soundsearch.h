#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "listening/samples.h"
#include "listening/search/lagsearch.h"
#include "listening/search/windowmatch.h"

namespace Listening {

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
