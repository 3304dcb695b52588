#pragma once

#include <ostream>

#include "hosterror.h"
#include "options.h"
#include "pipeline/ipipelinerenderer.h"
#include "stopsignal.h"

namespace AudioHost {

/// Where a command runs. All borrowed.
struct Surroundings {
    Media::IPipelineRenderer& renderer;
    StopSignal& stop;
    /// Progress and summary.
    std::ostream& out;
    /// `out` is a terminal.
    bool isTerminal = false;
};

/// Plays the files through the pipeline and `surroundings.renderer`, shows progress, compares with what was
/// heard, prints the summary and writes the report. Returns `Ok` or `Interrupted`; throws `HostError` for
/// everything else.
ExitCode_t Play(PlayOptions const& options, Surroundings const& surroundings);

} // namespace AudioHost
