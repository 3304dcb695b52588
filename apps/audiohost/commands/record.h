#pragma once

#include "record/microphone.h"
#include "terminal/hosterror.h"
#include "terminal/options.h"
#include "terminal/surroundings.h"

namespace AudioHost {

/// Records the microphone into a WAV file, shows progress, compares with what was played into it, prints the
/// summary and writes the report. Returns `Ok`, `WentBadly` where sound is missing or not as played and
/// `options.failOn` asks for it, or `Interrupted`; throws `HostError` for everything else, with
/// the file valid as far as it came. `capture` belongs to `surroundings.renderer`.
ExitCode_t Record(RecordOptions const& options, Surroundings const& surroundings, CaptureAccess& capture);

} // namespace AudioHost
