#pragma once

#include <cstdint>
#include <vector>

#include "ears/burstjudge.h"
#include "ears/bursttrack.h"
#include "ears/soundplan.h"
#include "listening/samples.h"
#include "run/runrecord.h"
#include "support/recording/tonetrack.h"

namespace Soak {

using TestSupport::FaultTally;
using TestSupport::ToneFault;

/// What was heard in a run.
struct Findings {
    BurstVerdict bursts;
    std::vector<StraySound> strays;
    /// Those where something was known to disturb the sound.
    std::vector<StraySound> disturbedStrays;
    FaultTally faults;
    /// Breaks where a frame of the session came too late to the module; not in `faults`.
    std::vector<ToneFault> faultsAtLateFrames;
    /// Of the run: without a disturbance of all sessions. Only there a glitch can be told to be a session's
    /// own.
    double calmShare = 1.0;
    /// Of all sessions' tones.
    std::int64_t blocksMeasured = 0;
    /// Loudest sample after all sessions had ended, and how many blocks of 20 ms were not silent.
    int silencePeakLsb = 0;
    std::int64_t soundingBlocks = 0;
};

/// `heard` is the recording from its first sample on.
Findings Analyse(SoundPlan const& plan, RunRecord const& record, Listening::SampleView heard);

/// With less undisturbed time than this too little can be told.
constexpr double MinCalmShare = 0.25;

/// What rounding and dither may leave of silence.
constexpr int SilencePeakLsb = 2;

} // namespace Soak
