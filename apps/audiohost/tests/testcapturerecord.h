#pragma once

#include "capturerecord.h"

namespace AudioHost {

/// Two seconds in 100 frames, nothing lost, level -20 dBFS.
CaptureRecord MakeCaptureRecord();

/// The same with its sound, checked against what was played.
CaptureRecord MakeCheckedRecord();

} // namespace AudioHost
