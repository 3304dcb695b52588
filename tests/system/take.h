#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "disturbance.h"
#include "kovra/time.h"
#include "recording.h"

namespace SystemTest {

/// One performance of a score: what was heard of it, and where that says nothing about the module. Sample 0
/// is heard at the score's start, but for the output's delay: some tens of milliseconds, the same for all
/// sounds of one run up to the steps in which the output works.
struct Take {
    HeardSound heard;
    /// Of all sounds: the pilot broke, so the output did. Of one session: a frame of it came too late from
    /// the test's own threads, or the module told that it moved the play cursor for the cursor's lateness.
    std::vector<TestSupport::Disturbance> disturbances;

    /// True when nothing disturbed the session's sound (nor, with nothing for the session, the output) in
    /// what was to be heard of the score's time `[fromMilliSec, toMilliSec)`.
    bool IsCalm(std::optional<std::size_t> session, std::int64_t fromMilliSec, std::int64_t toMilliSec) const;
};

/// What the machine or the module did to one session.
struct SessionEvent {
    enum class Kind_t {
        /// A frame was handed to the module so late that it need not be heard.
        LateFrame,
        /// The module moved the play cursor.
        Moved,
        /// The module stopped playback for a presentation in the past.
        Stopped,
        /// It started playback.
        Started,
    };
    Kind_t kind = Kind_t::LateFrame;
    std::size_t session = 0;
    Kovra::JiffyTime time;
};

/// Where the sound of single sessions was disturbed by what happened to them. A start alone, which every
/// session has, disturbs nothing; after a stop the session is silent until the next one. `events` of a
/// session in the order of its jobs; `start` is the instant of sample 0.
std::vector<TestSupport::Disturbance> PlaceEvents(std::vector<SessionEvent> const& events,
                                                  Kovra::JiffyTime start);

} // namespace SystemTest
