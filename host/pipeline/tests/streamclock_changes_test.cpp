#include <gtest/gtest.h>

#include <random>
#include <string>

#include "livestream.h"

namespace StreamClockTests {
namespace {

/// Plays on until an event is told; the frames it took, or -1 after ten seconds.
std::int64_t PlayUntilTold(LiveStream& stream, Kind_t kind, std::int64_t delayNanoSec,
                           StreamPlacement_t& told) {
    for (std::int64_t frames = 1; frames <= 500; ++frames) {
        told = stream.Next(delayNanoSec);
        if (told.event.kind == kind) {
            return frames;
        }
    }
    return -1;
}

TEST(StreamClock_Route, LongerOneIsFollowedAndTold) {
    LiveStream stream;
    stream.Play(1000);
    StreamPlacement_t told;
    std::int64_t const frames = PlayUntilTold(stream, Kind_t::RouteChanged, 30 * NanoSecPerMilliSec, told);
    EXPECT_GE(frames, 50);
    EXPECT_LE(frames, 100);
    EXPECT_TRUE(IsNear(told.event.spanNanoSec, 30 * NanoSecPerMilliSec));
    EXPECT_TRUE(IsNear(told.due.NanoSec(), stream.DueNanoSec(stream.number - 1) + 30 * NanoSecPerMilliSec));
    EXPECT_LT(stream.clock.GetFigures().spreadNanoSec, NanoSecPerMilliSec) << "the change is no jitter";
    EXPECT_EQ(PlayUntilTold(stream, Kind_t::RouteChanged, 30 * NanoSecPerMilliSec, told), -1);
    EXPECT_NEAR(stream.clock.GetFigures().skewPartsPerMillion, 0.0, 0.5);
    EXPECT_LT(stream.clock.GetFigures().spreadNanoSec, NanoSecPerMilliSec);
}

TEST(StreamClock_Route, ShorterOneIsFollowedWithTheThirdFrameAndTold) {
    LiveStream stream;
    stream.Play(1000);
    StreamPlacement_t told;
    EXPECT_EQ(PlayUntilTold(stream, Kind_t::RouteChanged, -30 * NanoSecPerMilliSec, told), 3);
    EXPECT_TRUE(IsNear(told.event.spanNanoSec, -30 * NanoSecPerMilliSec));
    EXPECT_TRUE(IsNear(told.due.NanoSec(), stream.DueNanoSec(stream.number - 1) - 30 * NanoSecPerMilliSec));
    EXPECT_EQ(PlayUntilTold(stream, Kind_t::RouteChanged, -30 * NanoSecPerMilliSec, told), -1);
    EXPECT_NEAR(stream.clock.GetFigures().skewPartsPerMillion, 0.0, 0.5);
}

TEST(StreamClock_Route, LateFramesOfASecondAreNoOtherRoute) {
    LiveStream stream;
    stream.Play(1000);
    for (int i = 0; i < 45; ++i) {
        EXPECT_EQ(stream.Next(30 * NanoSecPerMilliSec).event.kind, Kind_t::None);
    }
    EXPECT_TRUE(IsNear(stream.Play(200).due.NanoSec(), stream.DueNanoSec(1244)));
    EXPECT_EQ(stream.clock.GetFigures().routeChanges, 0);
}

TEST(StreamClock_Route, FewFramesInAPauseAreNone) {
    LiveStream stream;
    std::mt19937_64 random(1);
    auto const jitter = [&] { return static_cast<std::int64_t>(random() % (16 * NanoSecPerMilliSec)); };
    for (int turn = 0; turn < 50; ++turn) {
        for (int i = 0; i < 500; ++i) {
            stream.Next(jitter());
        }
        // Comfort noise: a frame of twenty is sent.
        for (int i = 0; i < 25; ++i) {
            stream.number += 19;
            stream.Next(jitter());
        }
    }
    EXPECT_EQ(stream.clock.GetFigures().routeChanges, 0);
}

TEST(StreamClock_Route, ThatIsLongerFromTheFirstSecondsOnIsNoSpread) {
    LiveStream stream;
    stream.Play(100);
    // Two seconds of each are known when it comes to light.
    for (int i = 0; i < 110; ++i) {
        stream.Next((30 + i % 2 * 8) * NanoSecPerMilliSec);
    }
    EXPECT_TRUE(IsNear(stream.clock.GetFigures().spreadNanoSec, 8 * NanoSecPerMilliSec, NanoSecPerMilliSec));
}

struct Jump {
    char const* name;
    std::uint64_t ticks;
    unsigned int wrapBits = 32;
};

class StreamClock_Restart : public ::testing::TestWithParam<Jump> {};

TEST_P(StreamClock_Restart, GoesOnWhereTheStreamHasBeen) {
    StreamClockSettings_t settings = LiveStream::MakeSettings();
    settings.wrapBits = GetParam().wrapBits;
    LiveStream stream(settings);
    stream.Play(1000);
    stream.firstTicks += GetParam().ticks;
    StreamPlacement_t told;
    std::int64_t const frames = PlayUntilTold(stream, Kind_t::Restarted, 0, told);
    // A fifth of a second of frames that agree.
    EXPECT_EQ(frames, 11);
    EXPECT_EQ(told.verdict, Verdict_t::Play);
    EXPECT_TRUE(IsNear(told.due.NanoSec(), stream.DueNanoSec(stream.number - 1)));
    EXPECT_TRUE(IsNear(told.timestamp.NanoSec(), stream.SentNanoSec(stream.number - 1)));
    StreamPlacement_t const later = stream.Play(1000);
    EXPECT_TRUE(IsNear(later.due.NanoSec(), stream.DueNanoSec(stream.number - 1)));
    EXPECT_TRUE(IsNear(later.timestamp.NanoSec(), stream.SentNanoSec(stream.number - 1)));
    EXPECT_EQ(stream.clock.GetFigures().restarts, 1);
    EXPECT_EQ(stream.clock.GetFigures().routeChanges, 0);
}

INSTANTIATE_TEST_SUITE_P(Jumps, StreamClock_Restart,
                         ::testing::Values(Jump{"AtZero", std::uint64_t(0) - 5'000'000 - 960'000},
                                           Jump{"ASecondAhead", 48'000},
                                           Jump{"ASecondBack", std::uint64_t(0) - 48'000},
                                           Jump{"AnHourAhead", 3'600ULL * 48'000},
                                           Jump{"AnHourBack", std::uint64_t(0) - 3'600ULL * 48'000},
                                           Jump{"HalfOfTheRange", std::uint64_t{1} << 31U},
                                           Jump{"ACenturyAhead", 160'000'000'000'000, 64},
                                           Jump{"ACenturyBack", std::uint64_t(0) - 160'000'000'000'000, 64},
                                           Jump{"HalfOf64Bits", std::uint64_t{1} << 63U, 64}),
                         [](auto const& info_) { return std::string(info_.param.name); });

TEST(StreamClock_Restart, BeginsWithTheEarliestOfTheFramesThatAgree) {
    LiveStream stream;
    stream.Play(1000);
    stream.firstTicks += 480'000;
    StreamPlacement_t told = stream.Next(10 * NanoSecPerMilliSec);
    stream.Next();
    PlayUntilTold(stream, Kind_t::Restarted, 10 * NanoSecPerMilliSec, told);
    EXPECT_TRUE(IsNear(told.due.NanoSec(), stream.DueNanoSec(stream.number - 1)));
}

TEST(StreamClock_Restart, IsNotBelievedOfFourFrames) {
    LiveStream stream;
    stream.Play(1000);
    stream.firstTicks += 480'000;
    for (int i = 0; i < 4; ++i) {
        stream.number += 5;
        EXPECT_EQ(stream.Next().verdict, Verdict_t::OutOfLine);
    }
    stream.number += 5;
    EXPECT_EQ(stream.Next().event.kind, Kind_t::Restarted);
}

TEST(StreamClock_Restart, TellsHowFarTheTimestampsWent) {
    LiveStream stream;
    stream.Play(1000);
    stream.firstTicks += 480'000;
    StreamPlacement_t told;
    PlayUntilTold(stream, Kind_t::Restarted, 0, told);
    EXPECT_TRUE(IsNear(told.event.spanNanoSec, 10 * NanoSecPerSec));
}

TEST(StreamClock_Restart, WithALeadRaisedByTheSameFrameIsToldWithTheNextOne) {
    StreamClockSettings_t settings = LiveStream::MakeAdapted();
    settings.leadNanoSec = 40 * NanoSecPerMilliSec;
    LiveStream stream(settings);
    stream.Play(100);
    stream.Next(60 * NanoSecPerMilliSec);
    stream.Next(60 * NanoSecPerMilliSec);
    stream.firstTicks += 480'000;
    stream.Play(10);
    EXPECT_EQ(stream.Next(60 * NanoSecPerMilliSec).event.kind, Kind_t::LeadRaised);
    StreamPlacement_t const next = stream.Next();
    EXPECT_EQ(next.event.kind, Kind_t::Restarted);
    EXPECT_TRUE(IsNear(next.event.spanNanoSec, 10 * NanoSecPerSec));
    EXPECT_EQ(stream.Next().event.kind, Kind_t::None);
}

TEST(StreamClock_Restart, AskedForIsDoneWithTheNextFrame) {
    LiveStream stream;
    stream.Play(1000);
    stream.clock.Restart();
    stream.firstTicks = 17;
    StreamPlacement_t const placement = stream.Next();
    EXPECT_EQ(placement.verdict, Verdict_t::Play);
    EXPECT_EQ(placement.event.kind, Kind_t::Restarted);
    EXPECT_TRUE(IsNear(placement.timestamp.NanoSec(), stream.SentNanoSec(1000)));
    EXPECT_TRUE(IsNear(placement.due.NanoSec(), stream.DueNanoSec(1000)));
    EXPECT_EQ(stream.Next().event.kind, Kind_t::None);
}

TEST(StreamClock_Restart, AskedForBeforeAnythingCameIsTheUsualStart) {
    LiveStream stream;
    stream.clock.Restart();
    EXPECT_EQ(stream.Next().event.kind, Kind_t::None);
    EXPECT_EQ(stream.clock.GetFigures().restarts, 0);
}

TEST(StreamClock_Restart, AQueueThatEmptiesIsNone) {
    LiveStream stream;
    stream.Play(1000);
    std::int64_t const stop = stream.number;
    // Nothing for two seconds, then all of it within a tenth of one, then in step again.
    for (std::int64_t i = 0; i < 100; ++i) {
        stream.Next((100 - i) * FrameNanoSec + i * NanoSecPerMilliSec);
    }
    StreamPlacement_t const placement = stream.Play(10);
    EXPECT_EQ(placement.verdict, Verdict_t::Play);
    EXPECT_TRUE(IsNear(placement.due.NanoSec(), stream.DueNanoSec(stop + 109)));
    EXPECT_EQ(stream.clock.GetFigures().restarts, 0);
    EXPECT_EQ(stream.clock.GetFigures().routeChanges, 0);
}

constexpr std::int64_t WallNanoSec = 1'700'000'000 * NanoSecPerSec;

StreamEvent_t Report(LiveStream& stream, std::int64_t errorNanoSec = 0) {
    std::int64_t const sent = stream.SentNanoSec(stream.number);
    return stream.clock.Report(Kovra::SysTime(WallNanoSec + sent + errorNanoSec),
                               stream.TicksOf(stream.number), JiffyTime(sent + 7 * NanoSecPerMilliSec));
}

TEST(StreamClock_Report, TellsWhenAFrameWasCaptured) {
    LiveStream stream;
    EXPECT_EQ(Report(stream).kind, Kind_t::None);
    EXPECT_FALSE(stream.clock.GetWallTime(Kovra::SysTime(1)));
    stream.Play(100);
    EXPECT_EQ(Report(stream).kind, Kind_t::None);
    StreamPlacement_t const placement = stream.Next();
    ASSERT_TRUE(stream.clock.GetWallTime(placement.timestamp));
    EXPECT_TRUE(IsNear(stream.clock.GetWallTime(placement.timestamp)->NanoSec(),
                       WallNanoSec + stream.SentNanoSec(100)));
}

TEST(StreamClock_Report, ThatLiesIsToldAndLeftOutAndMovesNothing) {
    LiveStream stream;
    stream.Play(500);
    Report(stream);
    stream.Play(250);
    StreamEvent_t const event = Report(stream, 1'700 * NanoSecPerMilliSec);
    EXPECT_EQ(event.kind, Kind_t::ReportRefused);
    EXPECT_EQ(event.spanNanoSec, 1'700 * NanoSecPerMilliSec);
    StreamPlacement_t const placement = stream.Next();
    EXPECT_TRUE(IsNear(placement.due.NanoSec(), stream.DueNanoSec(750)));
    EXPECT_TRUE(IsNear(stream.clock.GetWallTime(placement.timestamp)->NanoSec(),
                       WallNanoSec + stream.SentNanoSec(750)));
    EXPECT_EQ(Report(stream).kind, Kind_t::None);
}

/// What is told of a report that is off by so much, so long after the first one.
Kind_t ToldOf(std::int64_t errorNanoSec, std::int64_t seconds) {
    LiveStream stream;
    stream.Play(500);
    Report(stream);
    stream.Play(50 * seconds);
    return Report(stream, errorNanoSec).kind;
}

TEST(StreamClock_Report, MayBeOffByFiveHundredthsOfASecondAndAThousandthOfTheTime) {
    for (std::int64_t const sign : {1, -1}) {
        for (std::int64_t const seconds : {0, 10}) {
            SCOPED_TRACE(sign * seconds);
            std::int64_t const limit = 50 + seconds;
            EXPECT_EQ(ToldOf(sign * (limit - 1) * NanoSecPerMilliSec, seconds), Kind_t::None);
            EXPECT_EQ(ToldOf(sign * (limit + 1) * NanoSecPerMilliSec, seconds), Kind_t::ReportRefused);
        }
    }
}

TEST(StreamClock_Report, OfWhatASenderHasInItsQueueIsBelievedUpToFiveSeconds) {
    for (std::int64_t const frames : {-251, -249, 249, 251}) {
        LiveStream stream;
        stream.Play(500);
        stream.clock.Report(Kovra::SysTime(WallNanoSec + stream.SentNanoSec(500 + frames)),
                            stream.TicksOf(500 + frames), JiffyTime(stream.SentNanoSec(500)));
        StreamPlacement_t const placement = stream.Next();
        auto const wallTime = stream.clock.GetWallTime(placement.timestamp);
        ASSERT_EQ(wallTime.has_value(), std::abs(frames) < 250);
        if (wallTime) {
            EXPECT_TRUE(IsNear(wallTime->NanoSec(), WallNanoSec + stream.SentNanoSec(500)));
        }
    }
}

TEST(StreamClock_Report, OfATimelineThatIsNotCertainYetIsPassedOver) {
    for (std::int64_t const ticks : {-480'000, -48'000, 48'000, 480'000}) {
        LiveStream stream;
        stream.Play(500);
        Report(stream);
        stream.firstTicks += static_cast<std::uint64_t>(ticks);
        stream.Play(5);
        EXPECT_EQ(Report(stream).kind, Kind_t::None);
        StreamPlacement_t placement;
        PlayUntilTold(stream, Kind_t::Restarted, 0, placement);
        EXPECT_FALSE(stream.clock.GetWallTime(placement.timestamp));
    }
}

TEST(StreamClock_Report, AtTheEndsOfTimeIsToldAsAnyOther) {
    LiveStream stream;
    stream.Play(500);
    auto const report = [&](std::int64_t wallNanoSec) {
        return stream.clock
            .Report(Kovra::SysTime(wallNanoSec), stream.TicksOf(500), JiffyTime(stream.SentNanoSec(500)))
            .kind;
    };
    EXPECT_EQ(report(INT64_MAX), Kind_t::None);
    EXPECT_EQ(report(INT64_MIN), Kind_t::ReportRefused);
}

TEST(StreamClock_Report, ASenderThatHasSetItsClockIsBelievedTheSecondTime) {
    LiveStream stream;
    stream.Play(500);
    Report(stream);
    EXPECT_EQ(Report(stream, NanoSecPerSec).kind, Kind_t::ReportRefused);
    stream.Play(250);
    EXPECT_EQ(Report(stream, NanoSecPerSec).kind, Kind_t::None);
    StreamPlacement_t const placement = stream.Next();
    EXPECT_TRUE(IsNear(stream.clock.GetWallTime(placement.timestamp)->NanoSec(),
                       WallNanoSec + stream.SentNanoSec(750) + NanoSecPerSec));
}

// The source may be another one, with a clock of its own.
TEST(StreamClock_Report, NoneIsKnownFromARestartThatIsAskedForToTheNextReport) {
    LiveStream stream;
    stream.Play(500);
    Report(stream);
    stream.clock.Restart();
    EXPECT_FALSE(stream.clock.GetWallTime(Kovra::SysTime(1)));
    EXPECT_EQ(Report(stream, NanoSecPerSec).kind, Kind_t::None);
    EXPECT_FALSE(stream.clock.GetWallTime(Kovra::SysTime(1))) << "of a timeline that has not begun";
    stream.firstTicks += 48'000;
    stream.Next();
    EXPECT_EQ(Report(stream, NanoSecPerSec).kind, Kind_t::None);
    StreamPlacement_t const placement = stream.Next();
    ASSERT_TRUE(stream.clock.GetWallTime(placement.timestamp));
    EXPECT_TRUE(IsNear(stream.clock.GetWallTime(placement.timestamp)->NanoSec(),
                       WallNanoSec + stream.SentNanoSec(501) + NanoSecPerSec));
}

// Likewise, and nobody has asked for it.
TEST(StreamClock_Report, NoneIsKnownFromATimelineThatBeginsAnewByItselfToTheNextReport) {
    constexpr std::int64_t ClocksDifferNanoSec = 3 * NanoSecPerSec;
    LiveStream stream;
    stream.Play(500);
    Report(stream);
    stream.firstTicks += 480'000;
    StreamPlacement_t placement;
    PlayUntilTold(stream, Kind_t::Restarted, 0, placement);
    EXPECT_FALSE(stream.clock.GetWallTime(placement.timestamp));
    EXPECT_EQ(Report(stream, ClocksDifferNanoSec).kind, Kind_t::None);
    placement = stream.Next();
    ASSERT_TRUE(stream.clock.GetWallTime(placement.timestamp));
    EXPECT_TRUE(IsNear(stream.clock.GetWallTime(placement.timestamp)->NanoSec(),
                       WallNanoSec + stream.SentNanoSec(stream.number - 1) + ClocksDifferNanoSec));
}

TEST(StreamEvent_Describe, SaysWhatHappenedAndByHowMuch) {
    EXPECT_EQ(StreamEvent_t().Describe(), "");
    EXPECT_EQ((StreamEvent_t{Kind_t::RouteChanged, -4'300'000}).Describe(),
              "the way of the frames takes -4.3 ms from now on");
    EXPECT_EQ((StreamEvent_t{Kind_t::Restarted, 2 * NanoSecPerSec}).Describe(),
              "the sender's timestamps begin anew, +2000.0 ms from where they would be");
    EXPECT_EQ((StreamEvent_t{Kind_t::LeadRaised, 20 * NanoSecPerMilliSec}).Describe(),
              "frames come too late; the lead is 20.0 ms longer now");
    EXPECT_EQ((StreamEvent_t{Kind_t::ReportRefused, 1'700 * NanoSecPerMilliSec}).Describe(),
              "a report of the sender is left out: it is off by +1700.0 ms");
}

} // namespace
} // namespace StreamClockTests
