#pragma once

#include <optional>
#include <string>

#include "playrecord.h"
#include "soundwords.h"

namespace AudioHost {

/// Whether it went well, and if not whose doing it was.
///
/// What was not heard as sent, and what was out of time, is put down to the output only where the output's
/// own cursor was seen to stand still or to leap at that place, by about as much; everything else is the
/// renderer's.
Verdict Judge(PlayRecord const& record);

/// How late the session's first frames were, in ms (early below 0); nothing when none was presented.
std::optional<double> BeginErrorMilliSec(SessionRecord const& session);

/// "stood still for 95 ms at 0:00.5", of the output. `leadMilliSec` as in the record.
std::string FormatGlitch(OutputGlitch const& glitch, std::int64_t leadMilliSec);

} // namespace AudioHost
