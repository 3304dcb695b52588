#pragma once

#include <cstdint>

namespace ClosedLoop {

constexpr std::int64_t NanoSecPerMilliSec = 1'000'000;
constexpr std::int64_t NanoSecPerSec = 1'000'000'000;

/// The frames that the loop plays.
constexpr std::int64_t FrameNanoSec = 20 * NanoSecPerMilliSec;
constexpr std::uint32_t FrameSamples = 960;

} // namespace ClosedLoop
