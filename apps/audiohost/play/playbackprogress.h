#pragma once

#include <string>
#include <vector>

#include "play/playbacklog.h"

namespace AudioHost {

/// One line about all sessions, at most 79 characters for up to three of them.
/// What is told of each stream among them, a line each, for beside or below other figures.
std::vector<std::string> FormatStreams(std::vector<PlaybackLogKeeper::Progress> const& sessions);

std::string FormatProgress(std::vector<PlaybackLogKeeper::Progress> const& sessions);

} // namespace AudioHost
