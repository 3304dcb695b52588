#pragma once

#include <ostream>

#include "pipeline/ipipelinerenderer.h"
#include "terminal/screen.h"
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
    /// Where a table can be written over in place; null when `out` is no terminal.
    Screen* screen = nullptr;
};

} // namespace AudioHost
