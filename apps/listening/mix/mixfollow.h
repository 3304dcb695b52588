#pragma once

#include <cstdint>
#include <vector>

#include "listening/samples.h"
#include "listening/search/lagsearch.h"

namespace Listening {

/// One sound in one window of a recording.
struct MixPoint {
    /// Loud enough to be looked for, and no other sound can take its place.
    bool isClear = false;
    bool isHeard = false;
    /// Sample number in the recording minus that in what was sent: where it was heard, or else expected.
    double lag = 0.0;
    double gain = 0.0;
    double energy = 0.0;
};

/// One window of a recording, `CompareWindowSamples` long.
struct MixMoment {
    std::int64_t start = 0;
    double energy = 0.0;
    /// Of its energy, what no sound explains.
    double rest = 0.0;
    /// One for each sound.
    std::vector<MixPoint> points;
};

/// From one window to the next: half of it.
constexpr std::int64_t MixHopSamples = 6000;

/// Each sound in each window of the recording, all of which begin together within `range`. Of a sound that
/// repeats itself `periods` has the period, of others 0: it is followed in the place nearest to where it
/// should be.
std::vector<MixMoment> FollowMix(std::vector<SampleView> const& sounds,
                                 std::vector<std::int64_t> const& periods, SampleView heard,
                                 LagRange const& range);

} // namespace Listening
