#pragma once

#include <string>
#include <vector>

#include "play/livetable.h"
#include "play/playbacklog.h"

namespace AudioHost {

/// What is told of each stream among them, for below other figures.
std::vector<StreamRow> FormatStreams(std::vector<PlaybackLogKeeper::Progress> const& sessions);

/// One line about all sessions, at most 79 characters for up to three files or for one stream, as long as its
/// figures are what they usually are. Streams alone tell no playback frequency, which follows from their
/// skew, and of failures only that there are some.
std::string FormatProgress(std::vector<PlaybackLogKeeper::Progress> const& sessions);

} // namespace AudioHost
