#pragma once

#include <optional>

#include "play/playbacklog.h"
#include "report/soundwords.h"
#include "terminal/hosterror.h"
#include "terminal/options.h"

namespace AudioHost {

/// The verdict of each thing by itself.
struct Findings {
    /// Frames that failed, and what was not heard as sent.
    Outcome_t sound = Outcome_t::Good;
    Outcome_t time = Outcome_t::Good;
    /// Nothing when nobody could tell: without a recording in which the sound was found.
    std::optional<Outcome_t> level;
};

Findings FindWhatFailed(PlaybackLog const& log);

/// Amplitude of a mono recording of both channels against what was sent, for the volume and the balance asked
/// for.
double AskedGain(PlayOptions const& options);

ExitCode_t CodeOf(Outcome_t worst);

/// `Interrupted`, or the worst of the findings that count.
ExitCode_t CodeOf(PlaybackLog const& log, Findings const& findings, FailOn const& failOn);

} // namespace AudioHost
