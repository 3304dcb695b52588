#pragma once

#include <string>
#include <vector>

#include "play/playbacklog.h"

namespace AudioHost {

/// One line about all sessions, at most 79 characters for up to three of them.
std::string FormatProgress(std::vector<PlaybackLogKeeper::Progress> const& sessions);

} // namespace AudioHost
