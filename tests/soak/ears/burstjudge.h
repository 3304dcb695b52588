#pragma once

#include <cstdint>
#include <vector>

#include "ears/bursttrack.h"
#include "support/recording/disturbance.h"

namespace Soak {

using TestSupport::Disturbance;

/// How great a number of values is: half of them, 99 of 100, all of them are at most so great.
struct Spread {
    double median = 0.0;
    double most99 = 0.0;
    double max = 0.0;
};

/// A session was heard to go on earlier (negative) or later than before.
struct Jump {
    std::size_t session = 0;
    std::int64_t index = 0;
    double milliSec = 0.0;
};

/// What the bursts tell of a run. Times in milliseconds.
struct BurstVerdict {
    std::int64_t expected = 0;
    std::int64_t found = 0;
    /// Not found, and nothing was known to disturb them.
    std::vector<HeardBurst> missing;
    std::int64_t missingDisturbed = 0;
    /// Steps of one session, likewise.
    std::vector<Jump> displaced;
    std::int64_t displacedDisturbed = 0;
    /// Steps of all sessions at once: the output's.
    std::int64_t stepsOfAll = 0;
    /// A burst's delay against the median of all sessions around its time, as magnitudes: over the whole run,
    /// and settled.
    Spread apart;
    Spread apartSettled;
    /// Greatest change of a session's delay against the others' (straight line through the settled part).
    double driftMilliSecPerHour = 0.0;
    /// The sessions' median delay at the beginning of the settled part, and what has become of it at the end.
    double delayMilliSec = 0.0;
    double delayChangeMilliSec = 0.0;
};

/// `periodSamples`: from one burst of a session to the next. From `settledSample` on the sessions are
/// expected to be in time.
BurstVerdict JudgeBursts(std::vector<HeardBurst> const& bursts, std::int64_t periodSamples,
                         std::int64_t settledSample, std::vector<Disturbance> const& disturbances);

} // namespace Soak
