#pragma once

#include <cstdint>
#include <string>

#include "pipeline/streamclock.h"

namespace AudioHost {

/// How a stream stands.
struct StreamState {
    Media::StreamFigures_t clock;
    /// Sound handed over, and sound missing between it: lost on the way, or not sent.
    std::int64_t handedNanoSec = 0;
    std::int64_t missingNanoSec = 0;
    /// Packets that came too late, twice, or out of every order.
    std::uint64_t leftOut = 0;
    /// How often it broke, and whether it is now.
    std::uint64_t breaks = 0;
    bool isBroken = false;
    /// Why it was given up, a sentence; empty while it was not.
    std::string error;

    /// Share of the sound that is missing, in percent.
    double GetLossPercent() const;
};

/// For a line that shows progress: jitter, loss, the sender's clock, the lead in use; or that it is broken.
std::string FormatStream(StreamState const& state);

/// For a summary: one sentence.
std::string DescribeStream(StreamState const& state);

} // namespace AudioHost
