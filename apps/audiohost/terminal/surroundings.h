#pragma once

#include <cstddef>
#include <functional>
#include <istream>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "pipeline/ipipelinerenderer.h"
#include "terminal/screen.h"
#include "terminal/stopsignal.h"

namespace AudioHost {

/// A terminal whose width nobody knows is taken for one of these.
constexpr std::size_t UsualColumns = 80;

/// Where a command runs. All borrowed.
struct Surroundings {
    Media::IPipelineRenderer& renderer;
    Pacer& stop;
    /// Progress and summary.
    std::ostream& out;
    /// `out` is a terminal.
    bool isTerminal = false;
    /// Places in a line of the terminal, now.
    std::function<std::size_t()> countColumns = [] { return UsualColumns; };
    /// Where the summary goes as one JSON object; null when none is wanted.
    std::ostream* json = nullptr;
    /// Standard input.
    std::istream* in = nullptr;
    /// Tells what runs, and on what, each with its name: for reports. Takes its time, as it asks for the
    /// sound devices.
    std::function<std::vector<std::pair<std::string, std::string>>()> describe = [] {
        return std::vector<std::pair<std::string, std::string>>();
    };
    /// Where a table can be written over in place: the window of standard output. Null when `out` is no
    /// terminal.
    Screen* screen = nullptr;
};

} // namespace AudioHost
