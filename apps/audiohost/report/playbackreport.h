#pragma once

#include <string>

#include "play/playbacklog.h"

namespace AudioHost {

/// The report of a playback as one self-contained HTML page: summary, pictures, tables. Nothing is loaded
/// from anywhere; it reads well in light and dark and on paper.
std::string FormatReport(PlaybackLog const& log);

} // namespace AudioHost
