#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ears/soundplan.h"
#include "listening/samples.h"

namespace Soak {

/// One burst of one session, as it was heard.
struct HeardBurst {
    std::size_t session = 0;
    /// Counts the session's bursts from 0.
    std::int64_t index = 0;
    /// Where it would be heard without any delay.
    std::int64_t plannedSample = 0;
    bool isFound = false;
    /// How much later than planned it was heard, the output's delay included, in samples. That of the burst
    /// before when it was not found.
    std::int64_t delaySamples = 0;
};

/// A burst-like sound where none was to be.
struct StraySound {
    std::int64_t startSample = 0;
    std::int64_t samples = 0;
    /// The session whose burst it is; nothing when it is none's.
    std::optional<std::size_t> session;
};

struct HeardBursts {
    /// By session, then by index.
    std::vector<HeardBurst> bursts;
    std::vector<StraySound> strays;
};

/// Looks up every burst of the first `frames` frames of all sessions, and strays from `beginSample` on.
/// `originSample` is where frame 0 would be heard without any delay; the first bursts may come up to a second
/// later than that.
HeardBursts TrackBursts(SoundPlan const& plan, Listening::SampleView heard, std::int64_t beginSample,
                        std::int64_t originSample, std::int64_t frames);

} // namespace Soak
