#pragma once

#include "record/capturelog.h"

namespace AudioHost {

/// Two seconds in 100 frames, nothing lost, level -20 dBFS.
CaptureLog MakeCaptureLog();

/// The same with its sound, checked against what was played.
CaptureLog MakeCheckedLog();

} // namespace AudioHost
