#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "kovra/time.h"
#include "support/recording/disturbance.h"
#include "support/recording/recording.h"

namespace SystemTest {

/// A frame, by its place among its session's, from 0.
struct LateFrame {
    std::size_t session = 0;
    std::uint64_t number = 0;
};

/// One performance of a score: what was heard of it, and where that says nothing about the module. Sample 0
/// is heard at the score's start, but for the output's delay: some tens of milliseconds, the same for all
/// sounds of one run up to the steps in which the output works.
struct Take {
    TestSupport::HeardSound heard;
    /// Of all sounds: the pilot broke, so the output did. Of one session: a frame of it came too late from
    /// the test's own threads, or the module told that it moved the play cursor for the cursor's lateness,
    /// which one of both had caused.
    std::vector<TestSupport::Disturbance> disturbances;
    /// Frames that came too late.
    std::vector<LateFrame> lateFrames;

    /// True when nothing disturbed the session's sound (nor, with nothing for the session, the output) in
    /// what was to be heard of the score's time `[fromMilliSec, toMilliSec)`.
    bool IsCalm(std::optional<std::size_t> session, std::int64_t fromMilliSec, std::int64_t toMilliSec) const;

    /// True when none of the session's frames `[first, end)`, counted from its first one, came too late.
    bool IsInTime(std::size_t session, std::uint64_t first, std::uint64_t end) const;
};

/// What the machine or the module did to one session.
struct SessionEvent {
    enum class Kind_t {
        /// A frame came to the module so late that it need not be heard (`HandOvers`).
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
/// session has, disturbs nothing; after a stop the session is silent until the next one. A move disturbs only
/// when something gave reason for it since the session's start: one of the output's `outages` or a late
/// frame; any other is the module's own doing and to be judged. `events` of a session in the order of its
/// jobs; `start` is the instant of sample 0.
///
/// No reason is too small to be seen: the module moves a cursor that lags 312 ms behind what is written,
/// which is at most 250 ms ahead in these tests, so the cursor has lost 62 ms; the pilot tells a standstill
/// of 5 ms.
std::vector<TestSupport::Disturbance> PlaceEvents(std::vector<SessionEvent> const& events,
                                                  Kovra::JiffyTime start,
                                                  std::vector<TestSupport::Disturbance> const& outages);

} // namespace SystemTest
