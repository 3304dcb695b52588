#pragma once

#include <algorithm>
#include <cstdint>

#include "support/facts.h"

namespace ModelTest {

// What the numbers of steps are cut to, whatever a fuzzer makes of them, so that they make sense to a device.

inline double LimitSkew(std::int64_t partsPerMillion) {
    constexpr std::int64_t MaxPartsPerMillion = 100'000;
    return static_cast<double>(std::clamp(partsPerMillion, -MaxPartsPerMillion, MaxPartsPerMillion));
}

/// Bytes or samples.
inline std::uint32_t LimitToRing(std::int64_t count) {
    constexpr std::int64_t MaxCount = 480'000;
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(count, 0, MaxCount));
}

inline std::int64_t LimitToSecond(std::int64_t nanoSec) {
    return std::clamp<std::int64_t>(nanoSec, 0, Facts::NanoSecPerSec);
}

} // namespace ModelTest
