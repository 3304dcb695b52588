#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "network/clockcourse.h"

namespace Network {
namespace {

using Kind_t = Media::StreamEvent_t::Kind_t;
using Verdict_t = Media::StreamPlacement_t::Verdict_t;

constexpr std::int64_t FramesPerSec = 50;
/// Frame with which the timeline changes, and when the clock must have recovered.
constexpr std::int64_t ChangeFrame = 15 * FramesPerSec;
constexpr std::int64_t RecoveredFrame = ChangeFrame + 2 * FramesPerSec;
constexpr std::int64_t LastFrame = RecoveredFrame + 2 * FramesPerSec;
/// Of a clock that has begun anew two seconds before: what is left of 16 ms of jitter.
constexpr std::int64_t RecoveredErrorNanoSec = 1'500'000;
/// The reports' clock is ours here: the timestamps' is off by 78 ppm of the second between two reports, and
/// by a tick of 48 kHz.
constexpr std::int64_t WallErrorNanoSec = 100'000;
#ifdef UNDER_ADDRESS_SANITIZER
constexpr int Seeds = 20;
#else
constexpr int Seeds = 100;
#endif

/// What becomes of a timeline.
struct Change {
    char const* name;
    Sender sender;
    /// Stamps from the change on.
    std::function<std::uint64_t(std::mt19937_64& random, std::uint64_t ticks)> stamp;
    /// The host says so.
    bool isAsked = false;
    std::int64_t restartsTold = 1;
    /// Every second there is a report; the first one after the change lies by so much.
    bool hasReports = false;
    std::int64_t lieNanoSec = 0;
};

Sender MakeSender(std::int64_t ticksPerSec, unsigned int wrapBits, std::uint64_t ticksBeforeWrap) {
    Sender sender;
    sender.skewPartsPerMillion = 78;
    sender.ticksPerSec = ticksPerSec;
    sender.ticksPerFrame = ticksPerSec / FramesPerSec;
    sender.wrapBits = wrapBits;
    sender.firstTicks = (std::uint64_t{1} << wrapBits) - ticksBeforeWrap;
    return sender;
}

std::vector<Change> MakeChanges() {
    auto const keep = [](std::mt19937_64&, std::uint64_t ticks) { return ticks; };
    auto const anywhere = [](std::mt19937_64& random, std::uint64_t ticks) {
        return ticks + (random() | std::uint64_t{1} << 17U);
    };
    std::uint64_t const atChange = static_cast<std::uint64_t>(ChangeFrame);
    return {
        {"RestartAtZero", Sender(),
         [=](std::mt19937_64&, std::uint64_t ticks) { return ticks - Sender().firstTicks - atChange * 960; }},
        {"RestartAnywhere", Sender(), anywhere},
        {"Backward", Sender(),
         [](std::mt19937_64& random, std::uint64_t ticks) { return ticks - 48'000 - random() % 10'000'000; }},
        {"Forward", Sender(),
         [](std::mt19937_64& random, std::uint64_t ticks) { return ticks + 48'000 + random() % 10'000'000; }},
        {"WrapOfRtp", MakeSender(48'000, 32, 960 * atChange), keep, false, 0},
        {"WrapOfMpegTs", MakeSender(90'000, 33, 1'800 * atChange), keep, false, 0},
        {"NewSource", Sender(), anywhere, true},
        {"ReportsThatLie", Sender(), keep, false, 0, true, 1'700'000'000},
        {"RestartWithReports", Sender(), anywhere, false, 1, true},
    };
}

class SenderTimeline : public ::testing::TestWithParam<Change> {};

void PrintTo(Change const& change, std::ostream* out) {
    *out << change.name;
}

struct Told {
    std::int64_t restarts = 0;
    std::int64_t refused = 0;
    std::int64_t others = 0;

    void Count(Kind_t kind) {
        restarts += kind == Kind_t::Restarted ? 1 : 0;
        refused += kind == Kind_t::ReportRefused ? 1 : 0;
        others += kind == Kind_t::RouteChanged || kind == Kind_t::LeadRaised ? 1 : 0;
    }
};

/// One stream through its change; false when a frame after the time to recover was not placed where it
/// belongs, or captured when it was.
bool Live(Change const& change, std::uint64_t seed, Told& told) {
    std::mt19937_64 random(seed);
    std::uint64_t const chosen = random();
    VirtualNetwork network(OnOneRoute(SeverityOf('C')), change.sender, seed);
    network.SetStamp([&](std::int64_t number, std::uint64_t ticks) {
        std::mt19937_64 again(chosen);
        return number < ChangeFrame ? ticks : change.stamp(again, ticks);
    });
    Media::StreamClockSettings_t settings;
    settings.ticksPerSec = change.sender.ticksPerSec;
    settings.wrapBits = change.sender.wrapBits;
    Media::StreamClock clock(settings);
    std::int64_t lastTimestamp = 0;
    bool wallTimesAreRight = true;
    bool isAsked = change.isAsked;
    for (;;) {
        Packet const packet = network.Next();
        if (packet.number > LastFrame) {
            return wallTimesAreRight;
        }
        if (isAsked && packet.number >= ChangeFrame) {
            isAsked = false;
            clock.Restart();
        }
        Media::StreamPlacement_t const placement =
            clock.Place(packet.ticks, Kovra::JiffyTime(packet.arrivalNanoSec));
        told.Count(placement.event.kind);
        if (change.hasReports && packet.number % FramesPerSec == 7) {
            bool const isLie = packet.number / FramesPerSec == ChangeFrame / FramesPerSec;
            std::int64_t const lie = isLie ? change.lieNanoSec : 0;
            told.Count(clock
                           .Report(Kovra::SysTime(packet.sentNanoSec + lie), packet.ticks,
                                   Kovra::JiffyTime(packet.arrivalNanoSec))
                           .kind);
        }
        if (placement.verdict != Verdict_t::Play) {
            if (packet.number >= RecoveredFrame) {
                return false;
            }
            continue;
        }
        std::int64_t const truth =
            packet.sentNanoSec + network.DelayAt(packet.sentNanoSec) + settings.leadNanoSec;
        // What is played goes on in the renderer's ring as time passes, whatever the sender stamps.
        std::int64_t const elapsed = placement.timestamp.NanoSec() - change.sender.startNanoSec;
        if (packet.number >= RecoveredFrame &&
            (std::abs(placement.due.NanoSec() - truth) > RecoveredErrorNanoSec ||
             placement.timestamp.NanoSec() <= lastTimestamp ||
             std::abs(elapsed - packet.number * NanoSecPerSec / FramesPerSec) > 50'000'000)) {
            return false;
        }
        lastTimestamp = placement.timestamp.NanoSec();
        if (packet.number >= RecoveredFrame) {
            auto const wallTime = clock.GetWallTime(placement.timestamp);
            wallTimesAreRight =
                wallTimesAreRight && wallTime.has_value() == change.hasReports &&
                (!wallTime || std::abs(wallTime->NanoSec() - packet.sentNanoSec) <= WallErrorNanoSec);
        }
    }
}

TEST_P(SenderTimeline, IsRecoveredWithinTwoSecondsAndTold) {
    Change const& change = GetParam();
    for (std::uint64_t seed = 1; seed <= Seeds; ++seed) {
        SCOPED_TRACE(seed);
        Told told;
        EXPECT_TRUE(Live(change, seed, told));
        EXPECT_EQ(told.restarts, change.restartsTold);
        EXPECT_EQ(told.refused, change.lieNanoSec != 0 ? 1 : 0);
        EXPECT_EQ(told.others, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Changes, SenderTimeline, ::testing::ValuesIn(MakeChanges()),
                         [](auto const& info_) { return std::string(info_.param.name); });

TEST(SenderSilence, IsNeitherARestartNorALoss) {
    Sender sender;
    sender.skewPartsPerMillion = -100;
    VirtualNetwork network(SeverityOf('C'), sender, 3);
    std::mt19937_64 random(5);
    // Speech and pauses of up to 30 seconds, with comfort noise now and then, in turns.
    std::vector<std::int64_t> turns{0};
    while (turns.back() < 30'000) {
        turns.push_back(turns.back() + 20 + static_cast<std::int64_t>(random() % 1'500));
    }
    network.SetSilence([&](std::int64_t number) {
        return number % 20 != 0 &&
               (std::upper_bound(turns.begin(), turns.end(), number) - turns.begin()) % 2 == 0;
    });
    ClockCourse const course = RunClock(network, sender, {}, 600 * NanoSecPerSec);
    EXPECT_GT(course.frames, 10'000);
    EXPECT_EQ(course.tooLate + course.outOfLine + course.otherEvents, 0);
    EXPECT_EQ(course.routeChangesTold, course.routeChanges);
    EXPECT_LE(course.PeakToPeakMilliSec(), 0.4);
}

TEST(SenderBursts, AreDueByTheirTimestamps) {
    Sender const sender;
    VirtualNetwork network(SeverityOf('C'), sender, 4);
    network.SetBurst(5);
    Media::StreamClockSettings_t settings;
    settings.ticksPerSec = sender.ticksPerSec;
    Media::StreamClock clock(settings);
    std::int64_t least = INT64_MAX;
    std::int64_t most = INT64_MIN;
    for (Packet packet = network.Next(); packet.number < 300 * FramesPerSec; packet = network.Next()) {
        Media::StreamPlacement_t const placement =
            clock.Place(packet.ticks, Kovra::JiffyTime(packet.arrivalNanoSec));
        ASSERT_EQ(placement.event.kind, Kind_t::None);
        // The first of five waits 80 ms for the last.
        ASSERT_EQ(placement.verdict, Verdict_t::Play);
        if (packet.number > 60 * FramesPerSec) {
            std::int64_t const due = placement.due.NanoSec() - packet.number * NanoSecPerSec / FramesPerSec;
            least = std::min(least, due);
            most = std::max(most, due);
        }
    }
    // One frame of five tells the way: what wanders by J / 80 with all of them wanders five times as far.
    EXPECT_LE(static_cast<double>(most - least) * 1e-6, 5.0 * SeverityOf('C').jitterMilliSec / 80.0);
}

} // namespace
} // namespace Network
