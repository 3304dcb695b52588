#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace Soak {

/// What this process has and has used so far.
struct ProcessFigures {
    std::uint32_t handles = 0;
    std::uint32_t threads = 0;
    std::uint64_t workingSetBytes = 0;
    std::uint64_t privateBytes = 0;
    double cpuSeconds = 0.0;
    /// CPU time of the living threads by name; those without one together under "".
    std::map<std::string, double> cpuSecondsOfThreads;
};

ProcessFigures ReadProcessFigures();

} // namespace Soak
