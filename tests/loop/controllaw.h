#pragma once

#include <cstdint>
#include <cstdlib>

#include "support/facts.h"

namespace ClosedLoop {

using namespace Facts;

/// What the control law of the playback frequency can hold, worked out in docs/timing.md ("How well the time
/// is held"). Errors are heard minus requested: positive when the sound is late.
///
/// **Units:** as the names say; parts per million of the nominal rate.
namespace ControlLaw {

/// 40 Hz of 48000 Hz, in thousandths of a part per million, rounded down.
constexpr std::int64_t ReachPartsPerBillion = 833'333;
/// A window is judged at the first frame that comes at least this long after it began.
constexpr std::int64_t WindowNanoSec = 1024 * NanoSecPerMilliSec;
/// The band within which the law does nothing, as a share of the lead.
constexpr std::int64_t BandPerCent = 2;
/// What the error may gain beyond the band while a window is being measured: see the page.
constexpr std::int64_t OvershootNanoSec = NanoSecPerMilliSec;
/// The same on the way in, when frequency and skew pull the same way.
constexpr std::int64_t FirstOvershootNanoSec = 3 * NanoSecPerMilliSec;

constexpr std::int64_t BandNanoSec(std::int64_t leadNanoSec) {
    return leadNanoSec * BandPerCent / 100;
}

/// The latest that settled sound may be.
constexpr std::int64_t LateBoundNanoSec(std::int64_t leadNanoSec) {
    return BandNanoSec(leadNanoSec) + OvershootNanoSec;
}

/// The earliest, as a positive number: a cursor told late by up to a step makes the sound early by as much.
constexpr std::int64_t EarlyBoundNanoSec(std::int64_t leadNanoSec, std::int64_t cursorStepNanoSec) {
    return LateBoundNanoSec(leadNanoSec) + cursorStepNanoSec;
}

/// How long after the start the bounds hold, when it began `startErrorNanoSec` out of time: the way to the
/// band and back from the first overshoot, at what the frequency's reach leaves over when the device's skew
/// stands against it, and the windows at both ends of it.
inline std::int64_t SettlingNanoSec(std::int64_t startErrorNanoSec, std::int64_t cursorStepNanoSec,
                                    std::int64_t skewPartsPerMillion) {
    std::int64_t const wayNanoSec = std::abs(startErrorNanoSec) + cursorStepNanoSec + FirstOvershootNanoSec;
    std::int64_t const ratePartsPerBillion = ReachPartsPerBillion - std::abs(skewPartsPerMillion) * 1000;
    // At most 0.1 s of way times 10^9: below 2^63.
    return wayNanoSec * NanoSecPerSec / ratePartsPerBillion + 3 * WindowNanoSec;
}

} // namespace ControlLaw
} // namespace ClosedLoop
