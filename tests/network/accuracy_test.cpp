#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>

#include "network/clockcourse.h"

namespace Network {
namespace {

constexpr std::int64_t NanoSecPerMinute = 60 * NanoSecPerSec;

// Sanitizers are slow: a part shows the same faults of memory, and the optimised build those of numbers.
#ifdef UNDER_ADDRESS_SANITIZER
constexpr std::size_t SkewStep = 4;
constexpr std::int64_t GrowthMinutes = 10;
#else
constexpr std::size_t SkewStep = 1;
constexpr std::int64_t GrowthMinutes = 60;
#endif

Sender MakeSender(int skewPartsPerMillion) {
    Sender sender;
    sender.skewPartsPerMillion = skewPartsPerMillion;
    return sender;
}

class SenderClock : public ::testing::TestWithParam<Severity> {};

/// What docs/timing.md derives for each millisecond of jitter: 0.02 ms, 0.2 ms and 9 ppm at 16 ms of it.
TEST_P(SenderClock, WandersNoMoreThanTheJitterAllows) {
    Severity const severity = GetParam();
    for (std::size_t i = 0; i < SkewsPartsPerMillion.size(); i += SkewStep) {
        int const skew = SkewsPartsPerMillion[i];
        SCOPED_TRACE(skew);
        Sender const sender = MakeSender(skew);
        VirtualNetwork network(severity, sender, static_cast<std::uint64_t>(skew + 1'000));
        ClockCourse const course = RunClock(network, sender, {}, 150 * NanoSecPerSec);
        // The route of the worst changes every minute, before the clock has settled.
        double const jitterMilliSec = severity.jitterMilliSec * (severity.name == 'H' ? 2.0 : 1.0);
        EXPECT_LE(std::abs(course.meanMilliSec), jitterMilliSec / 300.0);
        EXPECT_LE(course.deviationMilliSec, jitterMilliSec / 800.0);
        EXPECT_LE(course.PeakToPeakMilliSec(), jitterMilliSec / 80.0);
        EXPECT_LE(course.ratePartsPerMillion, jitterMilliSec * 0.55);
        EXPECT_LE(course.fiveSecMilliSec, jitterMilliSec / 32.0);
        EXPECT_EQ(course.otherEvents, 0);
        EXPECT_EQ(course.outOfLine, 0);
        // One within the first seconds is part of the start.
        EXPECT_LE(course.routeChangesTold, course.routeChanges);
        EXPECT_GE(course.routeChangesTold, course.routeChanges - 1);
    }
}

/// In more jitter than this 30 ms are hidden for longer.
class SenderRoute : public SenderClock {};

TEST_P(SenderRoute, IsFollowedWithinThreeSeconds) {
    Severity const severity = OnOneRoute(GetParam());
    for (std::int64_t const milliSec : {30, -30}) {
        for (int const skew : {0, 500, -500}) {
            SCOPED_TRACE(std::to_string(milliSec) + " ms, " + std::to_string(skew) + " ppm");
            Sender const sender = MakeSender(skew);
            VirtualNetwork network(severity, sender, static_cast<std::uint64_t>(skew + 1'000));
            network.SetDetour(sender.startNanoSec + 90 * NanoSecPerSec, milliSec * 1'000'000);
            ClockCourse const course = RunClock(network, sender, {}, 150 * NanoSecPerSec);
            EXPECT_EQ(course.routeChanges, 1);
            EXPECT_GE(course.routeChangesTold, 1);
            EXPECT_LE(course.followSec, 3.0);
        }
    }
}

TEST_P(SenderClock, LeadFollowsTheJitter) {
    Severity const severity = GetParam();
    for (int const skew : {0, 100, -500}) {
        SCOPED_TRACE(skew);
        Sender const sender = MakeSender(skew);
        VirtualNetwork network(severity, sender, static_cast<std::uint64_t>(skew + 1'000));
        Media::StreamClockSettings_t settings;
        settings.isLeadAdapted = true;
        ClockCourse const course = RunClock(network, sender, settings, 5 * NanoSecPerMinute);
        if (severity.name <= 'D') {
            EXPECT_LE(course.tooLate * 1'000, course.frames);
            EXPECT_LE(course.maxLeadMilliSec, 200.0);
            EXPECT_LE(course.lastLeadMilliSec, severity.jitterMilliSec + 20.0 + 30.0);
        }
        EXPECT_LE(course.maxLeadMilliSec, 300.0);
    }
}

INSTANTIATE_TEST_SUITE_P(Severity, SenderRoute,
                         ::testing::ValuesIn(Severities.begin(), Severities.begin() + 6),
                         [](auto const& info_) { return std::string(1, info_.param.name); });

INSTANTIATE_TEST_SUITE_P(Severity, SenderClock, ::testing::ValuesIn(Severities),
                         [](auto const& info_) { return std::string(1, info_.param.name); });

TEST(SenderClock_Start, ARouteThatChangesMeanwhileIsNotTakenForASkew) {
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        SCOPED_TRACE(seed);
        Sender const sender = MakeSender(20);
        VirtualNetwork network(OnOneRoute(SeverityOf('C')), sender, seed);
        network.SetDetour(sender.startNanoSec + 3 * NanoSecPerSec, 4'000'000);
        ClockCourse const course = RunClock(network, sender, {}, 100 * NanoSecPerSec);
        EXPECT_LE(std::abs(course.meanMilliSec), 0.2);
        EXPECT_LE(course.PeakToPeakMilliSec(), 0.2);
    }
}

/// Here everything came late for three quarters of a second before the change, so that the longer route seems
/// to begin earlier, and to be shorter by a quarter, than it is.
TEST(SenderClock_Change, ThatSeemsToComeEarlierThanItDoesIsPutRight) {
    Sender const sender = MakeSender(-100);
    VirtualNetwork network(SeverityOf('E'), sender, 690'700'900);
    ClockCourse const course = RunClock(network, sender, {}, 400 * NanoSecPerSec);
    EXPECT_EQ(course.routeChanges, 1);
    EXPECT_LE(course.followSec, 6.0);
    EXPECT_LE(course.PeakToPeakMilliSec(), SeverityOf('E').jitterMilliSec / 80.0);
}

TEST(SenderClock_Growth, IsNone) {
    for (int const skew : {78, -500}) {
        SCOPED_TRACE(skew);
        Sender const sender = MakeSender(skew);
        VirtualNetwork network(OnOneRoute(SeverityOf('C')), sender, 7);
        ClockCourse const course = RunClock(network, sender, {}, GrowthMinutes * NanoSecPerMinute);
        EXPECT_EQ(course.tooLate, 0);
        EXPECT_EQ(course.outOfLine, 0);
        EXPECT_EQ(course.routeChangesTold, 0);
        EXPECT_EQ(course.otherEvents, 0);
        EXPECT_LE(course.PeakToPeakMilliSec(), 0.2);
    }
}

} // namespace
} // namespace Network
