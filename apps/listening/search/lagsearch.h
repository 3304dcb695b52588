#pragma once

#include <cstdint>
#include <optional>

#include "listening/samples.h"

namespace Listening {

/// The least likeness that counts as having found the place.
constexpr float MinFoundCorrelation = 0.5F;

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

} // namespace Listening
