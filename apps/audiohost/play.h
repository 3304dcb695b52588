#pragma once

#include "hosterror.h"
#include "options.h"
#include "surroundings.h"

namespace AudioHost {

/// Plays the files through the pipeline and `surroundings.renderer`, shows progress, compares with what was
/// heard, prints the summary and writes the report. Returns what the verdict says (`Ok`, `PlayedBadly`,
/// `OutputGlitch`) or `Interrupted`; throws `HostError` for everything else.
ExitCode_t Play(PlayOptions const& options, Surroundings const& surroundings);

} // namespace AudioHost
