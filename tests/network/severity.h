#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Network {

/// How bad a network is: the fields of the core network of ITU-T G.1050, severities A to H (README.md).
struct Severity {
    char name;
    /// Added to every packet, anew and evenly distributed from 0.
    double jitterMilliSec;
    double lossPerCent;
    /// The route changes so often, to one that takes so much longer and back again; 0 for never.
    double routeSec;
    double routeMilliSec;
    /// So often nothing comes through for so long; 0 for never.
    double outageSec;
    double outageMilliSec;
    /// Of the shorter route, within a region.
    double delayMilliSec;
};

constexpr std::array<Severity, 8> Severities{{{'A', 5, 0, 0, 0, 0, 0, 4},
                                              {'B', 10, 0.01, 3600, 2, 3600, 64, 8},
                                              {'C', 16, 0.02, 1800, 4, 1800, 128, 16},
                                              {'D', 40, 0.04, 900, 8, 900, 256, 32},
                                              {'E', 70, 0.1, 480, 16, 480, 400, 64},
                                              {'F', 100, 0.2, 240, 32, 240, 800, 128},
                                              {'G', 150, 0.5, 120, 64, 120, 1600, 256},
                                              {'H', 500, 1, 60, 128, 60, 3000, 512}}};

constexpr Severity SeverityOf(char name) {
    return Severities[static_cast<std::size_t>(name - 'A')];
}

/// The same without the changes of route.
constexpr Severity OnOneRoute(Severity severity) {
    severity.routeSec = 0;
    return severity;
}

constexpr std::array<int, 11> SkewsPartsPerMillion{0, 20, -20, 55, -55, 78, -78, 100, -100, 500, -500};

} // namespace Network
