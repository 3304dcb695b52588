#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "listening/samples.h"

namespace Listening {

/// The loudest window of each part of a sound, of which there are six at the most: what it is found by.
std::vector<std::int64_t> PickLoudWindows(SampleView sound);

/// After so many samples, fewer than `CompareSearchSamples`, the sound is as it was, all along, and in
/// between it is not; nothing of most sounds.
std::optional<std::int64_t> FindPeriod(SampleView sound);

} // namespace Listening
