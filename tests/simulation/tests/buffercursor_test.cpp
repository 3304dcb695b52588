#include <gtest/gtest.h>

#include "helpers.h"
#include "simulation/testworld.h"

// Play and write cursor against the clock. One second of sound is 96,000 bytes.

namespace Simulation {
namespace {

using SoundBuffer_Play = PlayableTest;
using SoundBuffer_Stop = PlayableTest;
using SoundBuffer_SetCurrentPosition = PlayableTest;
using SoundBuffer_SetFrequency = PlayableTest;

TEST_F(SoundBuffer_Play, MovesTheCursorWithTheClock) {
    EXPECT_EQ(playable.PlayCursor(), 0U);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().Advance(20'833);
    EXPECT_EQ(playable.PlayCursor(), 0U);
    world.Clock().Advance(1);
    EXPECT_EQ(playable.PlayCursor(), 2U);
    world.Clock().AdvanceTo(ManualClock::StartMonotonicNanoSec + NanoSecPerSec);
    EXPECT_EQ(playable.PlayCursor(), 96'000U);
    EXPECT_EQ(world.OnlyBuffer().PlayByte(), 96'000U);
    EXPECT_EQ(world.OnlyBuffer().PlayFrame(), 48'000U);
}

TEST_F(SoundBuffer_Play, WrapsAtTheRingsEndWhenLooping) {
    playable->SetCurrentPosition(RingBytes - 2);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().Advance(20'833);
    EXPECT_EQ(playable.PlayCursor(), RingBytes - 2);
    world.Clock().Advance(1);
    EXPECT_EQ(playable.PlayCursor(), 0U);
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
}

TEST_F(SoundBuffer_Play, EndsAtTheRingsEndWhenNotLooping) {
    playable->Play(0, 0, 0);
    world.Clock().Advance(5 * NanoSecPerSec - 1);
    EXPECT_EQ(playable.PlayCursor(), RingBytes - 2);
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
    world.Clock().Advance(1);
    EXPECT_FALSE(world.OnlyBuffer().IsPlaying());
    EXPECT_EQ(playable.PlayCursor(), 0U);
    world.Clock().AdvanceMilliSec(1000);
    EXPECT_EQ(playable.PlayCursor(), 0U);
}

TEST_F(SoundBuffer_Play, ComesBackFromLoopingToTheEndAhead) {
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(7000);
    playable->Play(0, 0, 0);
    world.Clock().AdvanceMilliSec(2999);
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
    world.Clock().AdvanceMilliSec(1);
    EXPECT_FALSE(world.OnlyBuffer().IsPlaying());
}

TEST_F(SoundBuffer_Stop, KeepsThePosition) {
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(100);
    playable->Stop();
    world.Clock().AdvanceMilliSec(100);
    EXPECT_EQ(playable.PlayCursor(), 9'600U);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(100);
    EXPECT_EQ(playable.PlayCursor(), 19'200U);
}

TEST_F(SoundBuffer_SetCurrentPosition, JumpsWhilePlayingAndWhileStopped) {
    EXPECT_EQ(playable->SetCurrentPosition(10'400), DS_OK);
    EXPECT_EQ(playable.PlayCursor(), 10'400U);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(10);
    EXPECT_EQ(playable.PlayCursor(), 11'360U);
    EXPECT_EQ(playable->SetCurrentPosition(100), DS_OK);
    EXPECT_EQ(playable.PlayCursor(), 100U);
    world.Clock().AdvanceMilliSec(10);
    EXPECT_EQ(playable.PlayCursor(), 1'060U);
}

TEST_F(SoundBuffer_SetCurrentPosition, TakesPositionsInTheRing) {
    EXPECT_EQ(playable->SetCurrentPosition(RingBytes - 1), DS_OK);
    // A position within a frame counts as the frame's start.
    EXPECT_EQ(playable.PlayCursor(), RingBytes - 2);
    EXPECT_EQ(playable->SetCurrentPosition(RingBytes), DSERR_INVALIDPARAM);
}

TEST_F(SoundBuffer_SetFrequency, TakesEffectFromNowOn) {
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(1000);
    playable->SetFrequency(48'040);
    world.Clock().AdvanceMilliSec(1000);
    EXPECT_EQ(playable.PlayCursor(), (48'000U + 48'040U) * 2);
    playable->SetFrequency(47'960);
    world.Clock().AdvanceMilliSec(1000);
    EXPECT_EQ(playable.PlayCursor(), (48'000U + 48'040U + 47'960U) * 2);
}

TEST(DeviceSettings_SetCursorStep, CountsFromWhereTheCursorWasSetAndLeavesTheTrueOneAlone) {
    TestWorld world;
    world.Device().SetCursorStep(480);
    Playable playable;
    playable->SetCurrentPosition(1'000);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    EXPECT_EQ(playable.PlayCursor(), 1'000U);
    world.Clock().Advance(20 * NanoSecPerMilliSec - 1);
    EXPECT_EQ(playable.PlayCursor(), 1'960U);
    EXPECT_EQ(world.OnlyBuffer().PlayByte(), 1'000U + 959 * 2);
}

TEST(DeviceSettings_SetWriteLead, PutsTheWriteCursorAheadWhilePlaying) {
    TestWorld world;
    world.Device().SetWriteLead(720);
    Playable playable;
    EXPECT_EQ(playable.WriteCursor(), 0U);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(1);
    EXPECT_EQ(playable.WriteCursor(), 96U + 1'440);
    playable->SetCurrentPosition(RingBytes - 2);
    EXPECT_EQ(playable.WriteCursor(), 1'438U);
}

TEST(SoundBuffer_GetCurrentPosition, CountsBytesOfWholeFrames) {
    TestWorld world;
    Playable playable(960'000, MakeFormat(2));
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(1);
    EXPECT_EQ(playable.PlayCursor(), 48U * 4);
    EXPECT_EQ(playable->GetCurrentPosition(nullptr, nullptr), DSERR_INVALIDPARAM);
}

} // namespace
} // namespace Simulation
