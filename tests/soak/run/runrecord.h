#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ears/capturejudge.h"
#include "listening/outputglitch.h"
#include "page/facts.h"
#include "run/processfigures.h"
#include "run/tally.h"

namespace Soak {

struct Options {
    std::size_t sessions = 16;
    double seconds = 1800.0;
    std::int64_t leadMilliSec = 200;
    bool hasCapture = true;
    /// So many glitches of single sessions are put down to a busy machine.
    std::size_t toleratedGlitches = 0;
    /// How often it is played at the most, while nothing is wrong but that the output was disturbed for too
    /// long to tell.
    int takes = 1;
    std::string resultPath;
    std::string summaryPath;
    std::string reportPath;
    /// Of a run that failed: what happened last.
    std::string tracePath;
};

/// Sessions that the playback thread can wait for besides its wake event.
constexpr std::size_t MaxWaitedSessions = 63;

struct Moment {
    double seconds = 0.0;
    ProcessFigures figures;
};

/// What was noted of a run while it lasted.
struct RunRecord {
    Kovra::SysTime startedAt;
    /// What was run, and on what.
    std::vector<AudioHost::Fact> facts;
    /// Of each session.
    std::int64_t frames = 0;
    /// Sample of the recording from which on nothing was played but this run: takes before it end there.
    std::int64_t beginSample = 0;
    /// Sample of the recording in which frame 0 would be heard without any delay.
    std::int64_t originSample = 0;
    /// The instant that is heard there.
    Kovra::JiffyTime originTime;
    /// From here on, until `endSample`, no session had a frame: a second after the last one's end.
    std::int64_t silenceSample = 0;
    std::int64_t endSample = 0;

    /// What the host's own cursor on the output did from the first frame to the end.
    Listening::OutputLog output;
    Told told;
    std::vector<SessionEvent> events;
    std::optional<Captured> captured;

    /// While all sessions play: the first after warming up, then one a minute, the last at the end.
    std::vector<Moment> moments;
    /// Before and after the silence.
    Moment silenceBegin;
    Moment silenceEnd;
    std::uint64_t idleStopsInSilence = 0;
    /// Then so many sessions were closed that the playback thread can wait for the others.
    std::uint64_t idleStopsAfterClosing = 0;
    bool isClosedToLimit = false;
};

} // namespace Soak
