#pragma once

#include <cstdint>

#include "listening/samples.h"

namespace Soak {

/// The band of the bursts, which holds nothing of any tone, as a filter. Symmetric: what is filtered stays in
/// its place.
///
/// **Threads:** after construction only read.
class BurstBand {
public:
    BurstBand();

    /// The sample `at` of `sound` with the other bands left out; silence lies around the sound.
    float FilterAt(Listening::SampleView sound, std::int64_t at) const;

    /// `count` samples from `start` on, which may lie outside the sound.
    Listening::Samples Filter(Listening::SampleView sound, std::int64_t start, std::int64_t count) const;

private:
    static constexpr std::int64_t Reach = 127;

    float taps_[2 * Reach + 1];
};

} // namespace Soak
