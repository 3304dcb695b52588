#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

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
    /// Tells what runs, and on what, each with its name: for reports. Takes its time, as it asks for the
    /// sound devices.
    std::function<std::vector<std::pair<std::string, std::string>>()> describe = [] {
        return std::vector<std::pair<std::string, std::string>>();
    };
};

} // namespace AudioHost
