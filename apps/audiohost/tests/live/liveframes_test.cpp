#include "live/liveframes.h"

#include <gtest/gtest.h>

#include "support/teststream.h"

namespace AudioHost {

namespace {

constexpr std::int64_t FirstNanoSec = 1'000'000'000;

StreamFormat MakePcmFormat() {
    StreamFormat format = MakeTestFormat();
    format.parameters->codec_id = AV_CODEC_ID_PCM_S16BE;
    format.parameters->sample_rate = 44'100;
    format.parameters->bits_per_coded_sample = 16;
    return format;
}

PlacedPacket MakePlaced(std::int64_t stampNanoSec, std::size_t bytes) {
    PlacedPacket placed;
    placed.stampNanoSec = stampNanoSec;
    placed.due = Kovra::JiffyTime(stampNanoSec + 7);
    placed.packet.data.assign(bytes, 0x11);
    return placed;
}

} // namespace

TEST(LiveFrames, OfMonoG711GoOnCoded) {
    auto const maker = CreateLiveFrameMaker(MakeTestFormat(), "a stream");
    EXPECT_TRUE(maker->IsCoded());
    LiveFrame frame;
    ASSERT_TRUE(maker->Make(MakePlaced(FirstNanoSec, 240), frame));
    EXPECT_EQ(frame.media.frame->GetCoding(), Media::MediaCoding_t::G711);
    EXPECT_EQ(frame.media.frame->GetTimestamp().NanoSec(), FirstNanoSec);
    // 240 bytes at 8000 Hz.
    EXPECT_EQ(frame.media.durationNanoSec, 30'000'000);
    EXPECT_EQ(frame.endNanoSec, FirstNanoSec + 30'000'000);
    // The resampler holds some of the 1440 back.
    EXPECT_NEAR(static_cast<double>(frame.media.sound.size()), 1440.0, 200.0);
    EXPECT_EQ(frame.due.NanoSec(), FirstNanoSec + 7);
}

TEST(LiveFrames, OfMonoAacLastAsLongAsItsPacketsTell) {
    StreamFormat format = MakeTestFormat();
    format.parameters->codec_id = AV_CODEC_ID_AAC;
    format.parameters->sample_rate = 24'000;
    auto const maker = CreateLiveFrameMaker(format, "a stream");
    EXPECT_TRUE(maker->IsCoded());
    // 1024 samples where nothing is told.
    for (std::int64_t const told : {20'000'000, 85'333'333, 0}) {
        PlacedPacket packet = MakePlaced(FirstNanoSec, 100);
        packet.packet.durationNanoSec = told;
        LiveFrame frame;
        ASSERT_TRUE(maker->Make(packet, frame));
        EXPECT_EQ(frame.media.durationNanoSec, told != 0 ? told : 42'666'666);
        EXPECT_EQ(frame.media.frame->GetDuration().NanoSec(), frame.media.durationNanoSec);
        EXPECT_EQ(frame.endNanoSec, FirstNanoSec + frame.media.durationNanoSec);
    }
}

TEST(LiveFrames, OfAllElseAreCountedSoundWithoutSeams) {
    auto const maker = CreateLiveFrameMaker(MakePcmFormat(), "a stream");
    EXPECT_FALSE(maker->IsCoded());
    std::int64_t end = FirstNanoSec;
    // 441 samples are 10 ms, but the resampler holds some back; stamps are off by up to a millisecond.
    for (int i = 0; i < 100; ++i) {
        LiveFrame frame;
        std::int64_t const stamp = FirstNanoSec + i * 10'000'000 + (i % 2) * 1'000'000;
        ASSERT_TRUE(maker->Make(MakePlaced(stamp, 882), frame));
        EXPECT_EQ(frame.media.positionNanoSec, end) << i;
        EXPECT_EQ(frame.due.NanoSec() - frame.media.positionNanoSec, 7) << i;
        end = frame.media.positionNanoSec + frame.media.durationNanoSec;
    }
    EXPECT_NEAR(static_cast<double>(end), static_cast<double>(FirstNanoSec + 1'000'000'000), 1'000'000.0);
}

TEST(LiveFrames, FollowTheStampsFromFiveMilliSecondsOn) {
    for (auto const& [offset, isFollowed] :
         {std::pair<std::int64_t, bool>{4'999'999, false}, {5'000'000, true}}) {
        for (std::int64_t const sign : {1, -1}) {
            auto const maker = CreateLiveFrameMaker(MakePcmFormat(), "a stream");
            LiveFrame frame;
            ASSERT_TRUE(maker->Make(MakePlaced(FirstNanoSec, 882), frame));
            std::int64_t const end = frame.media.positionNanoSec + frame.media.durationNanoSec;
            std::int64_t const stamp = end + sign * offset;
            ASSERT_TRUE(maker->Make(MakePlaced(stamp, 882), frame));
            EXPECT_EQ(frame.media.positionNanoSec, isFollowed ? stamp : end) << sign * offset;
        }
    }
}

TEST(LiveFrames, OfADamagedPacketAreNone) {
    auto const maker = CreateLiveFrameMaker(MakePcmFormat(), "a stream");
    LiveFrame frame;
    EXPECT_FALSE(maker->Make(MakePlaced(FirstNanoSec, 1), frame));
}

} // namespace AudioHost
