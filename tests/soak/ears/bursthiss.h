#pragma once

#include <cstdint>
#include <vector>

#include "listening/samples.h"

namespace Soak {

/// A stretch with sound in the bursts' band, above all tones.
struct Hiss {
    std::int64_t startSample = 0;
    std::int64_t samples = 0;
};

/// The stretches of 10 ms and more with sound in the bursts' band, from `beginSample` on, that lie outside
/// the bursts that begin at `burstPlaces` (ascending). Shorter ones are clicks: the edges of breaks in the
/// tones.
std::vector<Hiss> FindUnexplainedHiss(Listening::SampleView heard, std::int64_t beginSample,
                                      std::vector<std::int64_t> const& burstPlaces);

} // namespace Soak
