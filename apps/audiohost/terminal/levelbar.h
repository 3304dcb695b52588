#pragma once

#include <string>

namespace AudioHost {

/// "[##########..........] 0.50": a line level from 0.0 to 1.0 as a bar of 20 places and a number. What lies
/// outside is shown as the end that it lies beyond.
std::string FormatLevelBar(float level);

} // namespace AudioHost
