#pragma once

#include <ostream>

#include "pipeline/ipipelinerenderer.h"
#include "terminal/stopsignal.h"

namespace AudioHost {

/// Where a command runs. All borrowed.
struct Surroundings {
    Media::IPipelineRenderer& renderer;
    Pacer& stop;
    /// Progress and summary.
    std::ostream& out;
    /// `out` is a terminal.
    bool isTerminal = false;
};

} // namespace AudioHost
