#include "pipeline/streamclock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "livestream.h"

namespace StreamClockTests {
namespace {

TEST(StreamClock_Place, FirstFrameIsDueTheLeadAfterItsArrival) {
    LiveStream stream;
    StreamPlacement_t const first = stream.Next();
    EXPECT_EQ(first.verdict, Verdict_t::Play);
    EXPECT_TRUE(IsNear(first.due.NanoSec(), 77 * NanoSecPerSec + LeadNanoSec));
    EXPECT_TRUE(IsNear(first.timestamp.NanoSec(), 77 * NanoSecPerSec));
    EXPECT_EQ(first.event.kind, Kind_t::None);
}

TEST(StreamClock_Place, TimestampIsNeverZero) {
    LiveStream stream;
    stream.startNanoSec = 0;
    EXPECT_NE(stream.Next().timestamp.NanoSec(), 0);
}

TEST(StreamClock_Place, FramesInStepAreDueAtTheirOwnIntervals) {
    LiveStream stream;
    for (std::int64_t i = 0; i < 1000; ++i) {
        StreamPlacement_t const placement = stream.Next();
        ASSERT_TRUE(IsNear(placement.due.NanoSec(), stream.DueNanoSec(i)));
        ASSERT_TRUE(IsNear(placement.timestamp.NanoSec(), stream.SentNanoSec(i)));
    }
}

TEST(StreamClock_Place, LateFrameIsDueByItsTimestampAndPlayedUpToTheLead) {
    LiveStream stream;
    stream.Play(100);
    StreamPlacement_t const inTime = stream.Next(LeadNanoSec - NanoSecPerMilliSec);
    EXPECT_EQ(inTime.verdict, Verdict_t::Play);
    EXPECT_TRUE(IsNear(inTime.due.NanoSec(), stream.DueNanoSec(100)));
    StreamPlacement_t const tooLate = stream.Next(LeadNanoSec + NanoSecPerMilliSec);
    EXPECT_EQ(tooLate.verdict, Verdict_t::TooLate);
    EXPECT_TRUE(IsNear(tooLate.due.NanoSec(), stream.DueNanoSec(101)));
    EXPECT_EQ(stream.clock.GetFigures().tooLate, 1);
}

TEST(StreamClock_Place, FirstFrameThatWasLateIsMadeGoodByTheNext) {
    LiveStream stream;
    EXPECT_TRUE(IsNear(stream.Next(30 * NanoSecPerMilliSec).due.NanoSec(),
                       stream.DueNanoSec(0) + 30 * NanoSecPerMilliSec));
    EXPECT_TRUE(IsNear(stream.Next().due.NanoSec(), stream.DueNanoSec(1)));
}

TEST(StreamClock_Place, FramesOutOfTheirOrderKeepTheirPlaces) {
    LiveStream stream;
    stream.Play(100);
    EXPECT_TRUE(IsNear(stream.PlaceFrame(101).due.NanoSec(), stream.DueNanoSec(101)));
    EXPECT_TRUE(
        IsNear(stream.PlaceFrame(100, 30 * NanoSecPerMilliSec).due.NanoSec(), stream.DueNanoSec(100)));
    EXPECT_TRUE(IsNear(stream.PlaceFrame(101).due.NanoSec(), stream.DueNanoSec(101)));
}

TEST(StreamClock_Place, FramesInBurstsAreDueAtTheirOwnIntervals) {
    LiveStream stream;
    for (std::int64_t frame = 0; frame < 2000; ++frame) {
        // Four at once, when the last of them is there.
        StreamPlacement_t const placement = stream.Next((3 - frame % 4) * FrameNanoSec);
        ASSERT_EQ(placement.event.kind, Kind_t::None);
        ASSERT_EQ(placement.verdict, Verdict_t::Play);
        if (frame >= 3) {
            ASSERT_TRUE(IsNear(placement.due.NanoSec(), stream.DueNanoSec(frame))) << frame;
        }
    }
}

struct Wrap {
    char const* name;
    unsigned int bits;
    std::int64_t ticksPerSec;
};

class StreamClock_Wrap : public ::testing::TestWithParam<Wrap> {};

TEST_P(StreamClock_Wrap, ChangesNothing) {
    Wrap const wrap = GetParam();
    StreamClockSettings_t settings;
    settings.ticksPerSec = wrap.ticksPerSec;
    settings.wrapBits = wrap.bits;
    StreamClock clock(settings);
    std::uint64_t const end = wrap.bits == 64 ? 0 : std::uint64_t{1} << wrap.bits;
    std::uint64_t const ticksPerFrame = static_cast<std::uint64_t>(wrap.ticksPerSec) / 50;
    for (std::int64_t frame = 0; frame < 200; ++frame) {
        std::uint64_t const ticks =
            end - 100 * ticksPerFrame + static_cast<std::uint64_t>(frame) * ticksPerFrame;
        std::uint64_t const sent = end == 0 ? ticks : ticks % end;
        StreamPlacement_t const placement =
            clock.Place(sent, JiffyTime(NanoSecPerSec + frame * FrameNanoSec));
        ASSERT_TRUE(IsNear(placement.timestamp.NanoSec(), NanoSecPerSec + frame * FrameNanoSec));
        ASSERT_TRUE(IsNear(placement.due.NanoSec(), NanoSecPerSec + frame * FrameNanoSec + LeadNanoSec));
        ASSERT_EQ(placement.event.kind, Kind_t::None);
    }
}

INSTANTIATE_TEST_SUITE_P(Counters, StreamClock_Wrap,
                         ::testing::Values(Wrap{"Rtp8000", 32, 8'000}, Wrap{"Rtp48000", 32, 48'000},
                                           Wrap{"Rtp90000", 32, 90'000}, Wrap{"MpegTs", 33, 90'000},
                                           Wrap{"Unwrapped", 64, 1'000'000}),
                         [](auto const& info_) { return std::string(info_.param.name); });

TEST(StreamClock_Pause, OfAnyLengthIsNoneOfTheTimelines) {
    // Half of the timestamps' range is 12.4 hours; the last pause takes them round several times.
    for (std::int64_t const pauseSec : {1, 60, 3'600, 40'000, 50'000, 500'000}) {
        SCOPED_TRACE(pauseSec);
        LiveStream stream;
        stream.Play(500);
        std::int64_t const frame = 500 + pauseSec * 50;
        std::uint64_t const ticks = stream.TicksOf(frame) & 0xFFFFFFFFU;
        StreamPlacement_t const placement = stream.clock.Place(ticks, JiffyTime(stream.SentNanoSec(frame)));
        EXPECT_EQ(placement.verdict, Verdict_t::Play);
        EXPECT_EQ(placement.event.kind, Kind_t::None);
        // The skew is known to half a millionth.
        EXPECT_TRUE(IsNear(placement.due.NanoSec(), stream.DueNanoSec(frame), 100'000 + pauseSec * 500));
        EXPECT_TRUE(IsNear(placement.timestamp.NanoSec(), stream.SentNanoSec(frame)));
    }
}

TEST(StreamClock_Stamps, OneWrongOneIsLeftOutAndMovesNothing) {
    for (std::int64_t const ticks : {-960 * 500, 960 * 500, 960 * 30, -1'000'000'000, 1'000'000'000}) {
        SCOPED_TRACE(ticks);
        LiveStream stream;
        stream.Play(500);
        for (std::int64_t i = 0; i < 500; ++i) {
            StreamPlacement_t const wrong =
                stream.clock.Place(stream.TicksOf(stream.number) + static_cast<std::uint64_t>(ticks),
                                   JiffyTime(stream.SentNanoSec(stream.number)));
            ASSERT_EQ(wrong.verdict, Verdict_t::OutOfLine);
            StreamPlacement_t const right = stream.Next();
            ASSERT_TRUE(IsNear(right.due.NanoSec(), stream.DueNanoSec(stream.number - 1)));
            ASSERT_EQ(right.event.kind, Kind_t::None);
        }
        EXPECT_EQ(stream.clock.GetFigures().outOfLine, 500);
    }
}

TEST(StreamClock_Stamps, AreOutOfLineBeyondTheLimitInEitherDirection) {
    struct Limit {
        std::int64_t framesBefore;
        std::int64_t milliSec;
    };
    // A second until eight quarters of a second are known, then two fifths.
    for (Limit const limit : {Limit{80, 1'000}, Limit{500, 400}}) {
        SCOPED_TRACE(limit.milliSec);
        for (std::int64_t const sign : {1, -1}) {
            LiveStream stream;
            stream.Play(limit.framesBefore);
            EXPECT_NE(stream.Next(sign * (limit.milliSec - 1) * NanoSecPerMilliSec).verdict,
                      Verdict_t::OutOfLine);
            EXPECT_EQ(stream.Next(sign * (limit.milliSec + 1) * NanoSecPerMilliSec).verdict,
                      Verdict_t::OutOfLine);
        }
    }
}

TEST(StreamClock_Stamps, ThatAreAheadAgainAndAgainMoveNothing) {
    // More than delays may differ by, and within the limit of what fits the line; three of them within two
    // seconds. In the first four as much as a burst is nothing unusual.
    for (std::int64_t const milliSec : {51, 300, 390}) {
        SCOPED_TRACE(milliSec);
        LiveStream stream;
        std::int64_t const first = milliSec < 100 ? 250 : 0;
        for (std::int64_t i = 0; i < 3'000; ++i) {
            if (i >= first && i % 25 == 24) {
                stream.Next(-milliSec * NanoSecPerMilliSec);
            } else {
                StreamPlacement_t const right = stream.Next();
                ASSERT_EQ(right.verdict, Verdict_t::Play) << i;
                ASSERT_TRUE(IsNear(right.due.NanoSec(), stream.DueNanoSec(i))) << i;
            }
        }
        EXPECT_EQ(stream.clock.GetFigures().routeChanges, 0);
    }
}

TEST(StreamClock_Stamps, OneAheadInTheFirstSecondsMovesNothing) {
    for (std::int64_t const before : {25, 50, 100, 150}) {
        SCOPED_TRACE(before);
        LiveStream stream;
        stream.Play(before);
        stream.Next(-300 * NanoSecPerMilliSec);
        for (int i = 0; i < 100; ++i) {
            StreamPlacement_t const right = stream.Next();
            ASSERT_EQ(right.verdict, Verdict_t::Play);
            ASSERT_TRUE(IsNear(right.due.NanoSec(), stream.DueNanoSec(stream.number - 1)));
        }
    }
}

TEST(StreamClock_Place, StartIsMadeGoodByOneFrameThatIsEarlyByLessThanATenthOfASecond) {
    for (std::int64_t const milliSec : {99, 101}) {
        LiveStream stream;
        stream.Next(milliSec * NanoSecPerMilliSec);
        std::int64_t const late = milliSec < 100 ? 0 : milliSec * NanoSecPerMilliSec;
        EXPECT_TRUE(IsNear(stream.Next().due.NanoSec(), stream.DueNanoSec(1) + late));
    }
}

TEST(StreamClock_Place, StartThatWasLateByMoreThanJitterIsMadeGoodByThreeFrames) {
    LiveStream stream;
    stream.Next(300 * NanoSecPerMilliSec);
    EXPECT_TRUE(IsNear(stream.Play(2).due.NanoSec(), stream.DueNanoSec(2) + 300 * NanoSecPerMilliSec));
    EXPECT_TRUE(IsNear(stream.Next().due.NanoSec(), stream.DueNanoSec(3)));
}

TEST(StreamClock_Stamps, TwoThatAreALittleEarlyMoveNothing) {
    LiveStream stream;
    stream.Play(500);
    stream.Next(-50 * NanoSecPerMilliSec);
    stream.Next(-50 * NanoSecPerMilliSec);
    EXPECT_TRUE(IsNear(stream.Next().due.NanoSec(), stream.DueNanoSec(502)));
    stream.Play(200);
    EXPECT_EQ(stream.Next(-50 * NanoSecPerMilliSec).event.kind, Kind_t::None);
    EXPECT_TRUE(IsNear(stream.Next().due.NanoSec(), stream.DueNanoSec(704)));
}

TEST(StreamClock_Stamps, AsFarBackAsTheyCanBeAreOutOfLine) {
    StreamClockSettings_t settings;
    settings.ticksPerSec = 1;
    settings.wrapBits = 64;
    StreamClock clock(settings);
    clock.Place(0, JiffyTime(NanoSecPerSec));
    EXPECT_EQ(clock.Place(std::uint64_t{1} << 63U, JiffyTime(NanoSecPerSec)).verdict, Verdict_t::OutOfLine);
}

TEST(StreamClock_Settings, BeyondTheirRangesAreTakenForTheNearest) {
    for (std::int64_t const ticksPerSec : {INT64_MIN, std::int64_t{0}, std::int64_t{1}, INT64_MAX}) {
        for (unsigned int const wrapBits : {0U, 1U, 64U, ~0U}) {
            StreamClockSettings_t settings;
            settings.ticksPerSec = ticksPerSec;
            settings.wrapBits = wrapBits;
            StreamClock clock(settings);
            settings.ticksPerSec = std::clamp<std::int64_t>(ticksPerSec, 1, std::int64_t{1} << 33U);
            settings.wrapBits = std::clamp(wrapBits, 1U, 64U);
            StreamClock likewise(settings);
            for (std::int64_t frame = 0; frame < 100; ++frame) {
                auto const ticks = static_cast<std::uint64_t>(frame * settings.ticksPerSec / 50);
                JiffyTime const arrival(NanoSecPerSec + frame * FrameNanoSec);
                StreamPlacement_t const placement = clock.Place(ticks, arrival);
                StreamPlacement_t const expected = likewise.Place(ticks, arrival);
                ASSERT_EQ(placement.verdict, expected.verdict);
                ASSERT_EQ(placement.due, expected.due);
            }
        }
    }
}

TEST(StreamClock_Stamps, OfAnyKindAtAnyTimeDoNoHarm) {
    std::mt19937_64 random(1);
    for (unsigned int const bits : {8U, 32U, 33U, 64U}) {
        StreamClockSettings_t settings = LiveStream::MakeAdapted();
        settings.wrapBits = bits;
        StreamClock clock(settings);
        std::int64_t arrival = 0;
        std::int64_t played = 0;
        for (int i = 0; i < 20'000; ++i) {
            arrival += static_cast<std::int64_t>(random() % (std::uint64_t{1} << random() % 45U)) - 1000;
            std::uint64_t const ticks = random() >> random() % 64U;
            StreamPlacement_t const placement = clock.Place(ticks, JiffyTime(arrival));
            clock.Report(Kovra::SysTime(static_cast<std::int64_t>(random())), ticks, JiffyTime(arrival));
            if (placement.verdict == Verdict_t::Play) {
                ASSERT_GE(placement.due.NanoSec(), arrival);
                ++played;
            }
            if (random() % 1000 == 0) {
                clock.Restart();
            }
        }
        StreamFigures_t const figures = clock.GetFigures();
        EXPECT_EQ(figures.frames, 20'000);
        EXPECT_EQ(played + figures.tooLate + figures.outOfLine, figures.frames);
    }
}

TEST(StreamClock_Skew, IsMeasuredAndFollowed) {
    for (int const skew : {-500, -78, 0, 20, 500}) {
        SCOPED_TRACE(skew);
        LiveStream stream;
        double const nanoSecPerFrame = static_cast<double>(FrameNanoSec) / (1.0 + skew * 1e-6);
        StreamPlacement_t placement;
        std::int64_t arrival = 0;
        for (std::int64_t frame = 0; frame < 5'000; ++frame) {
            arrival = stream.startNanoSec + std::llround(static_cast<double>(frame) * nanoSecPerFrame);
            placement = stream.clock.Place(stream.TicksOf(frame), JiffyTime(arrival));
            ASSERT_EQ(placement.event.kind, Kind_t::None);
        }
        EXPECT_NEAR(stream.clock.GetFigures().skewPartsPerMillion, skew, 0.5);
        EXPECT_NEAR(static_cast<double>(placement.due.NanoSec()), static_cast<double>(arrival + LeadNanoSec),
                    1e4);
    }
}

TEST(StreamClock_Figures, JitterFollowsByASixteenth) {
    LiveStream stream;
    stream.Play(100);
    stream.Next(16 * NanoSecPerMilliSec);
    EXPECT_EQ(stream.clock.GetFigures().jitterNanoSec, NanoSecPerMilliSec);
}

TEST(StreamClock_Figures, TellFramesJitterAndSpread) {
    LiveStream stream;
    EXPECT_EQ(stream.clock.GetFigures().frames, 0);
    for (std::int64_t i = 0; i < 1000; ++i) {
        stream.Next(i % 2 * 8 * NanoSecPerMilliSec);
    }
    StreamFigures_t const figures = stream.clock.GetFigures();
    EXPECT_EQ(figures.frames, 1000);
    EXPECT_TRUE(IsNear(figures.spreadNanoSec, 8 * NanoSecPerMilliSec));
    EXPECT_NEAR(static_cast<double>(figures.jitterNanoSec), 8e6, 1e3);
    EXPECT_EQ(figures.leadNanoSec, LeadNanoSec);
    EXPECT_EQ(figures.tooLate + figures.outOfLine + figures.routeChanges + figures.restarts, 0);
}

} // namespace
} // namespace StreamClockTests
