#include "simulation/device/speaker.h"

#include <gmock/gmock.h>

#include "helpers.h"
#include "simulation/testworld.h"

namespace Simulation {
namespace {

constexpr std::int64_t Start = ManualClock::StartMonotonicNanoSec;

/// A playing mono buffer of 1000 frames at 1000 Hz: a frame lasts a millisecond.
class Speaker_Hear : public testing::Test {
protected:
    Speaker_Hear() : playable(2'000, MakeFormat(1, 1'000)), buffer(world.OnlyBuffer()) {
        std::vector<std::int16_t> ramp(1'000);
        for (std::size_t i = 0; i < ramp.size(); ++i) {
            ramp[i] = static_cast<std::int16_t>(i);
        }
        buffer.Write(0, ramp);
        buffer.EnableSpeaker();
    }
    TestWorld world;
    Playable playable;
    SoundBuffer& buffer;
};

TEST_F(Speaker_Hear, TellsWhenEachSampleWasHeard) {
    playable->SetCurrentPosition(20);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(5);
    Speaker const& speaker = buffer.GetSpeaker();
    // The sixth frame has just begun.
    EXPECT_THAT(speaker.Samples(), testing::ElementsAre(10, 11, 12, 13, 14, 15));
    EXPECT_EQ(speaker.TimeOfValue(10), Start);
    EXPECT_EQ(speaker.TimeOfValue(15), Start + 5 * NanoSecPerMilliSec);
    EXPECT_EQ(speaker.TimeOfValue(16), std::nullopt);
    EXPECT_EQ(speaker.TimeOfValue(9), std::nullopt);
    EXPECT_EQ(speaker.TimeOfValue(12), Start + 2 * NanoSecPerMilliSec);
    EXPECT_EQ(speaker.TimeOfValue(12, Start + 2 * NanoSecPerMilliSec + 1), std::nullopt);
    EXPECT_EQ(speaker.ValueAt(Start + 3 * NanoSecPerMilliSec - 1), 12);
    EXPECT_EQ(speaker.ValueAt(Start + 3 * NanoSecPerMilliSec), 13);
    EXPECT_EQ(speaker.ValueAt(Start - 1), std::nullopt);
    ASSERT_EQ(speaker.Runs().size(), 1U);
    EXPECT_EQ(speaker.Runs()[0].startNanoSec, Start);
    EXPECT_EQ(speaker.Runs()[0].ringFrame, 10U);
    EXPECT_EQ(speaker.Runs()[0].frameCount, 6U);
    EXPECT_EQ(speaker.Runs()[0].frequencyHz, 1'000U);
}

TEST_F(Speaker_Hear, TakesValuesAsTheyWereWhenTheyPassed) {
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(2);
    // Frames 0 to 2 were heard; these two come too late and in time.
    playable.Fill(4, 2, -1);
    playable.Fill(6, 2, -2);
    world.Clock().AdvanceMilliSec(1);
    EXPECT_THAT(buffer.GetSpeaker().Samples(), testing::ElementsAre(0, 1, 2, -2));
}

TEST_F(Speaker_Hear, HearsRoundAfterRound) {
    playable->SetCurrentPosition(1'996);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(2'000);
    Speaker const& speaker = buffer.GetSpeaker();
    EXPECT_EQ(speaker.HeardFrames(), 2'001U);
    EXPECT_EQ(speaker.TimeOfValue(998), Start);
    EXPECT_EQ(speaker.TimeOfValue(998, Start + 1), Start + 1'000 * NanoSecPerMilliSec);
    EXPECT_EQ(speaker.TimeOfValue(998, Start + 1'000 * NanoSecPerMilliSec + 1),
              Start + 2'000 * NanoSecPerMilliSec);
    EXPECT_EQ(speaker.TimeOfValue(998, Start + 2'000 * NanoSecPerMilliSec + 1), std::nullopt);
    EXPECT_EQ(speaker.TimeOfValue(0), Start + 2 * NanoSecPerMilliSec);
}

TEST_F(Speaker_Hear, HearsNothingWhileStopped) {
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().Advance(1'500'000);
    playable->Stop();
    world.Clock().AdvanceMilliSec(100);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().Advance(1'000'000);
    Speaker const& speaker = buffer.GetSpeaker();
    // The frame that the stop cut begins anew.
    EXPECT_THAT(speaker.Samples(), testing::ElementsAre(0, 1, 1, 2));
    ASSERT_EQ(speaker.Runs().size(), 2U);
    EXPECT_EQ(speaker.Runs()[1].startNanoSec, Start + 101'500'000);
    EXPECT_EQ(speaker.ValueAt(Start + 50 * NanoSecPerMilliSec), std::nullopt);
}

TEST_F(Speaker_Hear, BeginsARunWhenRateVolumeOrPlaceChange) {
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().Advance(1'500'000);
    playable->SetFrequency(2'000);
    world.Clock().Advance(1'000'000);
    playable->SetVolume(-500);
    world.Clock().Advance(500'000);
    playable->SetPan(300);
    world.Clock().Advance(500'000);
    playable->SetCurrentPosition(200);
    world.Clock().Advance(500'000);
    auto const& runs = buffer.GetSpeaker().Runs();
    // Frame 0 at 0, frame 1 at 1 ms; at 1.5 ms half of frame 1 is left, which takes 0.25 ms at the new rate:
    // frame 2 at 1.75, frame 3 at 2.25; then -500 for frame 4 at 2.75, pan for frame 5 at 3.25, the jump
    // at 3.5.
    ASSERT_EQ(runs.size(), 5U);
    EXPECT_EQ(runs[1].startNanoSec, Start + 1'750'000);
    EXPECT_EQ(runs[1].frequencyHz, 2'000U);
    EXPECT_EQ(runs[1].frameCount, 2U);
    EXPECT_EQ(runs[1].TimeOf(1), Start + 2'250'000);
    EXPECT_EQ(runs[2].volume, -500);
    EXPECT_EQ(runs[2].startNanoSec, Start + 2'750'000);
    EXPECT_EQ(runs[3].pan, 300);
    EXPECT_EQ(runs[3].startNanoSec, Start + 3'250'000);
    EXPECT_EQ(runs[4].ringFrame, 100U);
    EXPECT_EQ(runs[4].startNanoSec, Start + 3'500'000);
}

TEST_F(Speaker_Hear, WaitsForTheStartDelay) {
    world.Device().SetStartDelay(7 * NanoSecPerMilliSec);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().Advance(7 * NanoSecPerMilliSec - 1);
    EXPECT_EQ(buffer.GetSpeaker().HeardFrames(), 0U);
    world.Clock().Advance(1);
    EXPECT_EQ(buffer.GetSpeaker().HeardFrames(), 1U);
    EXPECT_EQ(buffer.GetSpeaker().TimeOfValue(0), Start + 7 * NanoSecPerMilliSec);
}

TEST_F(Speaker_Hear, EndsWithABufferThatDoesNotLoop) {
    playable->SetCurrentPosition(1'996);
    playable->Play(0, 0, 0);
    world.Clock().AdvanceMilliSec(100);
    EXPECT_THAT(buffer.GetSpeaker().Samples(), testing::ElementsAre(998, 999));
}

TEST_F(Speaker_Hear, EnabledWhilePlayingBeginsWithTheNextFrame) {
    Playable other(2'000, MakeFormat(1, 1'000));
    SoundBuffer& late = world.LatestBuffer();
    other->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().Advance(1'500'000);
    late.EnableSpeaker();
    world.Clock().Advance(500'000);
    EXPECT_EQ(late.GetSpeaker().Runs().at(0).ringFrame, 2U);
    EXPECT_EQ(late.GetSpeaker().Runs().at(0).startNanoSec, Start + 2 * NanoSecPerMilliSec);
    EXPECT_EQ(late.GetSpeaker().HeardFrames(), 1U);
}

TEST_F(Speaker_Hear, GivesFramesToACallbackInsteadOfKeepingThem) {
    std::vector<std::int16_t> heard;
    std::vector<std::int64_t> times;
    buffer.GetSpeaker().SetCallback(
        [&](HeardRun const& run, std::uint64_t index, std::int16_t const* samples, std::size_t frames) {
            heard.insert(heard.end(), samples, samples + frames);
            times.push_back(run.TimeOf(index));
        });
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(1);
    buffer.GetSpeaker();
    world.Clock().AdvanceMilliSec(2);
    buffer.GetSpeaker();
    EXPECT_THAT(heard, testing::ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(times, testing::ElementsAre(Start, Start + 2 * NanoSecPerMilliSec));
    EXPECT_TRUE(buffer.GetSpeaker().Runs().empty());
    EXPECT_EQ(buffer.GetSpeaker().HeardFrames(), 4U);
}

TEST(Speaker_Stereo, KeepsBothChannels) {
    TestWorld world;
    Playable playable(4'000, MakeFormat(2, 1'000));
    SoundBuffer& buffer = world.OnlyBuffer();
    buffer.Write(0, {1, 2, 3, 4});
    buffer.EnableSpeaker();
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(1);
    EXPECT_THAT(buffer.GetSpeaker().Samples(), testing::ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(buffer.GetSpeaker().TimeOfValue(3), Start + NanoSecPerMilliSec);
}

} // namespace
} // namespace Simulation
