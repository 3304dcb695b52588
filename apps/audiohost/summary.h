#pragma once

#include <string>
#include <vector>

#include "playrecord.h"
#include "soundwords.h"

namespace AudioHost {

/// What happened to one file, a sentence an element.
std::vector<std::string> DescribeSession(SessionRecord const& session);

/// What came out of the loudspeaker, a sentence an element.
std::vector<std::string> DescribeComparison(SoundComparison const& comparison);

/// How the output itself did, a sentence an element.
std::vector<std::string> DescribeOutput(OutputRecord const& output, std::int64_t leadMilliSec);

/// The whole summary for a terminal, with line ends.
std::string FormatSummary(PlayRecord const& record);

} // namespace AudioHost
