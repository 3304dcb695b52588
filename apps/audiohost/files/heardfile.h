#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "listening/samples.h"

namespace AudioHost {

/// Samples in the raw file at `path` (UTF-8) so far; 0 when there is none.
std::int64_t CountRawSamples(std::string const& path);

/// Waits until the file at `path` (UTF-8) stops growing, at most 2 s. `sleep` lets that many milliseconds
/// pass.
void WaitUntilStill(std::string const& path, std::function<void(int)> const& sleep);

/// The samples of a raw file: signed 16-bit little-endian, mono, `SoundRateHz`. A half sample at the end is
/// left out. Throws `HostError` (`FileMissing`) when it cannot be read.
Listening::Samples ReadRawSound(std::string const& path);

} // namespace AudioHost
