#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "livestream.h"

namespace StreamClockTests {
namespace {

std::int64_t LeadOf(LiveStream const& stream) {
    return stream.clock.GetFigures().leadNanoSec;
}

/// Frames with delays of 0 to `spreadNanoSec`, in turns, for so long.
void PlayWithSpread(LiveStream& stream, std::int64_t spreadNanoSec, std::int64_t sec) {
    for (std::int64_t i = 0; i < sec * 50; ++i) {
        stream.Next(i % 5 * spreadNanoSec / 4);
    }
}

TEST(StreamLead_Fixed, StaysAsAskedWhateverComes) {
    LiveStream stream;
    PlayWithSpread(stream, 250 * NanoSecPerMilliSec, 120);
    EXPECT_EQ(LeadOf(stream), LeadNanoSec);
    EXPECT_GT(stream.clock.GetFigures().tooLate, 0);
}

TEST(StreamLead_Adapted, ComesDownToTheSpreadAndAFrameNoFasterThanThePlaybackFrequencyFollows) {
    LiveStream stream(LiveStream::MakeAdapted());
    std::int64_t before = LeadNanoSec;
    std::int64_t most = 0;
    for (std::int64_t i = 0; i < 50 * 400; ++i) {
        stream.Next(i % 5 * 4 * NanoSecPerMilliSec);
        most = std::max(most, before - LeadOf(stream));
        before = LeadOf(stream);
    }
    // 16 ms of spread, 20 of margin; 250 ppm of the 36 ms between a late frame and an early one.
    EXPECT_NEAR(static_cast<double>(LeadOf(stream)), 36e6 + 5e6, 0.1e6);
    EXPECT_LE(most, 36 * NanoSecPerMilliSec / 4000 + 1);
}

TEST(StreamLead_Adapted, StaysUntilTheUsualHasBeenSeen) {
    LiveStream stream(LiveStream::MakeAdapted());
    PlayWithSpread(stream, 0, 9);
    EXPECT_EQ(LeadOf(stream), LeadNanoSec);
    PlayWithSpread(stream, 0, 10);
    EXPECT_LT(LeadOf(stream), LeadNanoSec);
}

TEST(StreamLead_Adapted, IsRaisedAtOnceByTheThirdFrameThatComesTooLate) {
    LiveStream stream(LiveStream::MakeAdapted());
    stream.Play(100);
    std::int64_t const delays[] = {150, 180, 160};
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(stream.Next(delays[i] * NanoSecPerMilliSec).event.kind, Kind_t::None);
        stream.Play(5);
    }
    StreamPlacement_t const third = stream.Next(delays[2] * NanoSecPerMilliSec);
    EXPECT_EQ(third.event.kind, Kind_t::LeadRaised);
    EXPECT_NEAR(static_cast<double>(LeadOf(stream)), 200e6, 0.1e6);
    EXPECT_NEAR(static_cast<double>(third.event.spanNanoSec), 100e6, 0.2e6);
    EXPECT_EQ(stream.Next(180 * NanoSecPerMilliSec).verdict, Verdict_t::Play);
}

TEST(StreamLead_Adapted, LateFramesNowAndThenChangeNothingAtOnce) {
    LiveStream stream(LiveStream::MakeAdapted());
    stream.Play(100);
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(stream.Next(150 * NanoSecPerMilliSec).event.kind, Kind_t::None);
        stream.Play(300);
    }
    EXPECT_LE(LeadOf(stream), LeadNanoSec + 10 * NanoSecPerMilliSec);
}

/// Late frames at these seconds, those between in step; true when one of them raised the lead.
bool IsRaisedBy(std::vector<std::int64_t> const& lateSec) {
    LiveStream stream(LiveStream::MakeAdapted());
    stream.Play(100);
    std::int64_t const first = stream.number;
    for (std::int64_t const sec : lateSec) {
        stream.Play(first + sec * 50 - stream.number);
        if (stream.Next(150 * NanoSecPerMilliSec).event.kind == Kind_t::LeadRaised) {
            return true;
        }
    }
    return false;
}

TEST(StreamLead_Adapted, AnyThreeLateFramesWithinTenSecondsRaiseIt) {
    EXPECT_TRUE(IsRaisedBy({0, 9, 10}));
    EXPECT_FALSE(IsRaisedBy({0, 9, 11}));
    EXPECT_TRUE(IsRaisedBy({0, 9, 11, 12}));
    EXPECT_FALSE(IsRaisedBy({0, 9, 11, 20, 22}));
}

TEST(StreamLead_Adapted, NeverPassesItsLimit) {
    StreamClockSettings_t settings = LiveStream::MakeAdapted();
    settings.maxLeadNanoSec = 150 * NanoSecPerMilliSec;
    LiveStream stream(settings);
    PlayWithSpread(stream, 300 * NanoSecPerMilliSec, 200);
    EXPECT_EQ(LeadOf(stream), 150 * NanoSecPerMilliSec);
}

TEST(StreamLead_Adapted, ChangesAtOnceWhenNothingIsHeard) {
    LiveStream stream(LiveStream::MakeAdapted());
    PlayWithSpread(stream, 16 * NanoSecPerMilliSec, 20);
    stream.Next();
    EXPECT_GT(LeadOf(stream), 90 * NanoSecPerMilliSec);
    // A second and a half between two frames is heard, longer is not.
    stream.number += 74;
    stream.Next();
    EXPECT_GT(LeadOf(stream), 90 * NanoSecPerMilliSec);
    stream.number += 75;
    stream.Next();
    EXPECT_NEAR(static_cast<double>(LeadOf(stream)), 36e6, 0.1e6);
}

} // namespace
} // namespace StreamClockTests
