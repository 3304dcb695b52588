#pragma once

#include <cstddef>
#include <ostream>

#include "play/livetable.h"
#include "terminal/screen.h"

namespace AudioHost {

/// Shows statistics while they grow: on a terminal as a table that is written over in place, elsewhere now
/// and then as a plain line, so that a log file stays readable.
///
/// **Threads:** one.
class LiveView {
public:
    /// `out` and `screen` are borrowed; without a screen `out` is no terminal.
    LiveView(std::ostream& out, Screen* screen, SessionNames names)
        : out_(out), screen_(screen), names_(std::move(names)) {}

    /// How often to call `Show`, with a screen or without.
    static int IntervalMilliSec(bool hasScreen);
    /// `streams` stand below the sessions, cut to the window.
    void Show(Media::PipelineStatistics_t const& statistics, std::vector<StreamRow> const& streams = {});

private:
    std::ostream& out_;
    Screen* const screen_;
    SessionNames const names_;
    std::size_t shownLines_ = 0;
};

} // namespace AudioHost
