#pragma once

#include "record/microphone.h"
#include "terminal/hosterror.h"
#include "terminal/options.h"
#include "terminal/surroundings.h"

namespace AudioHost {

/// Shows the microphone's line level: on a terminal a bar that moves, elsewhere a line a second. Returns
/// `Ok` or `Interrupted`, when the renderer has let go of everything that was handed to it; throws
/// `HostError` (`NoInput`) when there is no microphone, or no longer. `capture` belongs to
/// `surroundings.renderer`.
ExitCode_t Meter(MeterOptions const& options, Surroundings const& surroundings, CaptureAccess& capture);

} // namespace AudioHost
