#pragma once

#include <string>
#include <vector>

#include "play/playbacklog.h"
#include "report/soundwords.h"

namespace AudioHost {

/// What happened to one file, a sentence an element.
std::vector<std::string> DescribeSession(SessionLog const& session);

/// What came out of the loudspeaker, a sentence an element.
std::vector<std::string> DescribeComparison(Listening::SoundComparison const& comparison);

/// How the output itself did, a sentence an element.
std::vector<std::string> DescribeOutput(Listening::OutputLog const& output, std::int64_t leadMilliSec);

/// The whole summary for a terminal, with line ends.
std::string FormatSummary(PlaybackLog const& log);

} // namespace AudioHost
