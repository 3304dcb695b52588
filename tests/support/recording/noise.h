#pragma once

#include <cstddef>
#include <cstdint>

#include "listening/samples.h"

namespace TestSupport {

/// The band of a test sound, in Hz.
struct Band {
    double lowHz;
    double highHz;
};

/// Well within what every stage on the way to the ear passes unchanged.
constexpr Band WideBand = {200.0, 6000.0};
/// Well within what a telephone codec at 8000 Hz passes.
constexpr Band TelephoneBand = {300.0, 2600.0};

/// Root mean square of every test sound. Leaves noise a headroom of four times before it is cut off.
constexpr double NoiseRmsLsb = 6000.0;

/// `count` samples of noise in `band`, another for every `seed`, always the same for one.
///
/// Noise, because no two stretches of it are alike: where a window of it is found is where it belongs. A tone
/// or a sweep looks the same a period later.
Listening::Samples MakeNoise(std::uint32_t seed, std::size_t count, Band band = WideBand);

} // namespace TestSupport
