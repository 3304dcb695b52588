#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "listening/samples.h"
#include "listening/soundcompare.h"

namespace Listening {

/// What became of a sound, sample by sample. Counts are samples of the take, but for `missing`.
struct ExactMatch {
    /// The same as sent, or another value in its place.
    std::int64_t identical = 0;
    std::int64_t changed = 0;
    /// Sent but not recorded; recorded but not sent there, as silence or a repetition.
    std::int64_t missing = 0;
    std::int64_t inserted = 0;
    /// Where time departs from what was sent, to the sample.
    std::vector<TimelineJump> jumps;
};

/// Walks through `take` beside `sent`, starting with the lag of the first of `windows` that was found and
/// going over to that of a neighbouring one where only that fits.
ExactMatch MatchExactly(SampleView sent, SampleView take, std::vector<WindowMatch> const& windows);

/// A take, which is what a microphone gave, against a sound that was played into it over and over.
struct TakeCheck {
    /// Length of the sound, and the place in it at which the take starts.
    std::int64_t periodSamples = 0;
    std::int64_t startSample = 0;
    /// What a perfect take would hold, from its start on; longer than the take, for what is missing
    /// in that. Empty when nothing was found.
    Samples sent;
    SoundComparison comparison;
    ExactMatch exact;
};

/// Finds the place in `sound`, repeated, at which `take` starts, and judges what became of it. `sound` is
/// not empty.
TakeCheck CheckTake(SampleView sound, SampleView take);

} // namespace Listening
