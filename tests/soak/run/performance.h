#pragma once

#include <ostream>

#include "ears/soundplan.h"
#include "play/trace.h"
#include "run/runrecord.h"

namespace Soak {

/// Plays and captures through the module as a host would, in real time. Progress goes to `out`, and what
/// happened to `trace`, if any. Throws `std::runtime_error` when there is no sound output, no microphone, or
/// no recording.
RunRecord Perform(Options const& options, SoundPlan const& plan, std::ostream& out, AudioHost::Trace* trace);

} // namespace Soak
