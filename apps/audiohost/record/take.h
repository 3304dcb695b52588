#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "record/captureloop.h"
#include "terminal/hosterror.h"
#include "terminal/surroundings.h"

namespace AudioHost {

/// What came of the microphone from its opening to its end.
struct Take {
    CaptureLog log;
    /// What broke it off.
    std::optional<HostError> error;
};

/// As many samples as come.
constexpr std::int64_t EndlessSamples = INT64_MAX;

/// Throws `HostError` (`NoInput`) when there is no microphone.
std::shared_ptr<Microphone> OpenMicrophone(CaptureAccess& capture);

/// Takes the sound of the microphone of `surroundings.renderer`, to which `capture` belongs, from its first
/// frame on, until there are `limitSamples` or the person asks to stop, and shows progress. The renderer is
/// initialised before and shut down after. `sink` gets the sound on another thread. With `keepsSound` it is
/// in the log, too. Throws `HostError` (`NoInput`) when there is no microphone.
Take TakeSound(Surroundings const& surroundings, CaptureAccess& capture, bool keepsSound,
               std::int64_t limitSamples, CaptureLoop::Sink sink);

} // namespace AudioHost
