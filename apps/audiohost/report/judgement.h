#pragma once

#include <optional>
#include <string>

#include "play/playbacklog.h"
#include "report/soundwords.h"

namespace AudioHost {

/// Whether it went well, and if not whose doing it was.
///
/// What was not heard as sent, and what was out of time, is put down to the output only where the output's
/// own cursor was seen to stand still or to leap at that place, by about as much; everything else is the
/// renderer's.
Verdict Judge(PlaybackLog const& log);

/// Whether the output's own cursor explains that what was due `within` was so far out of place.
bool IsOutputsDoing(PlaybackLog const& log, Listening::SoundSpan const& within, double sizeMilliSec);

/// How late the session's first frames were, in ms (early below 0); nothing when none was presented.
std::optional<double> BeginErrorMilliSec(SessionLog const& session);

/// "stood still for 95 ms at 0:00.5", of the output. `leadMilliSec` as in the log.
std::string FormatGlitch(Listening::OutputGlitch const& glitch, std::int64_t leadMilliSec);

} // namespace AudioHost
