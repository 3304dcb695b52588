#pragma once

#include "output/silentsound.h"
#include "record/microphone.h"
#include "terminal/hosterror.h"
#include "terminal/options.h"
#include "terminal/surroundings.h"

namespace AudioHost {

/// Plays the files through the pipeline and `surroundings.renderer`, shows progress, compares with what was
/// heard, prints the summary and writes the report. Returns what the verdict says, as far as
/// `options.failOn` asks for it (`Ok`, `WentBadly`, `OutputGlitch`), or `Interrupted`; throws `HostError` for
/// everything else. `output` (borrowed) is kept running and watched meanwhile; null: left alone. `capture`
/// (borrowed) has the microphone that `options.talk` sends; not null where that has an address.
ExitCode_t Play(PlayOptions const& options, Surroundings const& surroundings, OutputAccess* output,
                CaptureAccess* capture = nullptr);

} // namespace AudioHost
