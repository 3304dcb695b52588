#pragma once

#include <cstdint>
#include <vector>

#include "network/virtualnetwork.h"
#include "pipeline/streamclock.h"

namespace Network {

/// What a stream clock made of what came through a network. The *error* of the recovered clock is when it has
/// a frame come at the earliest minus when the frame would have come without jitter: late is positive.
struct ClockCourse {
    std::int64_t frames = 0;
    std::int64_t tooLate = 0;
    std::int64_t outOfLine = 0;
    std::int64_t lost = 0;
    /// Settled: a minute after the start, and ten seconds after a changed route.
    double meanMilliSec = 0.0;
    double deviationMilliSec = 0.0;
    double minMilliSec = 0.0;
    double maxMilliSec = 0.0;
    /// Change of the error over ten seconds, in 99 of 100 cases at most.
    double ratePartsPerMillion = 0.0;
    /// Error five seconds after the start, minus the mean.
    double fiveSecMilliSec = 0.0;
    /// After a changed route, until no more than a tenth of the change is missing for good; the longest.
    double followSec = 0.0;
    std::int64_t routeChanges = 0;
    std::int64_t routeChangesTold = 0;
    std::int64_t otherEvents = 0;
    double maxLeadMilliSec = 0.0;
    double lastLeadMilliSec = 0.0;

    double PeakToPeakMilliSec() const { return maxMilliSec - minMilliSec; }
};

/// Measures a course, frame by frame.
class ClockMeter {
public:
    ClockMeter(VirtualNetwork const& network, Sender const& sender) : network_(network), sender_(sender) {}

    /// `earliestNanoSec` is when the clock has the packet come at the earliest.
    void Add(Packet const& packet, std::int64_t earliestNanoSec);
    /// What was measured; `course` has the events and counts.
    void Finish(ClockCourse& course);

private:
    void WatchChange(Packet const& packet, double errorMilliSec);

    VirtualNetwork const& network_;
    Sender const sender_;
    std::int64_t count_ = 0;
    double sum_ = 0.0;
    double squares_ = 0.0;
    double least_ = 1e18;
    double most_ = -1e18;
    bool hasFiveSec_ = false;
    double fiveSec_ = 0.0;
    /// One a second, while settled.
    std::vector<double> errors_;
    std::vector<double> rates_;
    std::int64_t nextErrorNanoSec_ = 0;
    std::int64_t change_ = INT64_MIN / 2;
    double changeMilliSec_ = 0.0;
    std::int64_t changes_ = 0;
    double followSec_ = 0.0;
};

/// Runs a clock with `settings` (their ticks are taken from `sender`) on a network for so long.
ClockCourse RunClock(VirtualNetwork& network, Sender const& sender, Media::StreamClockSettings_t settings,
                     std::int64_t nanoSec);

} // namespace Network
