#pragma once

#include <string>
#include <vector>

#include "record/capturelog.h"
#include "report/soundwords.h"

namespace AudioHost {

Verdict Judge(CaptureLog const& log);

/// What came from the microphone, a sentence an element.
std::vector<std::string> DescribeCapture(CaptureLog const& log);

/// The take against what was played into the microphone, a sentence an element.
std::vector<std::string> DescribeCheck(Listening::TakeCheck const& check);

/// The whole summary for a terminal, with line ends.
std::string FormatSummary(CaptureLog const& log);

} // namespace AudioHost
