#pragma once

#include <string>
#include <vector>

#include "capturerecord.h"
#include "soundwords.h"

namespace AudioHost {

Verdict Judge(CaptureRecord const& record);

/// What came from the microphone, a sentence an element.
std::vector<std::string> DescribeRecording(CaptureRecord const& record);

/// The recording against what was played into the microphone, a sentence an element.
std::vector<std::string> DescribeCheck(RecordingCheck const& check);

/// The whole summary for a terminal, with line ends.
std::string FormatSummary(CaptureRecord const& record);

} // namespace AudioHost
