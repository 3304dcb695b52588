#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "doctor/ratefit.h"
#include "listening/outputglitch.h"
#include "output/devicelist.h"
#include "output/silentsound.h"
#include "record/capturelog.h"
#include "record/microphone.h"
#include "terminal/surroundings.h"

namespace AudioHost {

/// What was found out about a machine's sound.
struct CheckupLog {
    DeviceList devices;
    std::int64_t spanNanoSec = 0;
    bool isInterrupted = false;

    /// False when the renderer could not open it.
    bool hasOutput = false;
    Listening::OutputLog output;
    std::optional<Rate> outputRate;

    /// `input.failure` says why there is none, or no longer.
    CaptureLog input;
    std::optional<Rate> inputRate;

    /// From when a sound was due until a program that records could have it, in milliseconds; nothing when
    /// what was played did not come back.
    std::optional<double> loopbackMilliSec;
};

/// Plays three seconds of noise, records meanwhile and for `seconds` (4 or more) in all, and watches both
/// devices against the clock. Ends early when the person asked to stop. `output` and `capture` belong to the
/// machine and to `surroundings.renderer`.
CheckupLog CheckUp(DeviceList devices, double seconds, Surroundings const& surroundings,
                   CaptureAccess& capture, OutputAccess& output);

} // namespace AudioHost
