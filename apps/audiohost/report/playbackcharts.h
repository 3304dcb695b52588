#pragma once

#include <string>

#include "play/playbacklog.h"

namespace AudioHost {

/// The pictures of a report, as HTML figures: waveforms, delay as heard, presentation error, playback
/// frequency, log events, and a close-up of sent over heard. Those without data are left out.
std::string FormatCharts(PlaybackLog const& log);

} // namespace AudioHost
