#include <gtest/gtest.h>

#include "helpers.h"
#include "simulation/testworld.h"

// How the cursors of a capture buffer move.

namespace Simulation {
namespace {

using CaptureBuffer_GetCurrentPosition = MicrophoneTest;
using CaptureSettings_SetCursorStep = MicrophoneTest;
using CaptureSettings_SetCaptureLead = MicrophoneTest;
using CaptureSettings_SetStalled = MicrophoneTest;

TEST_F(CaptureBuffer_GetCurrentPosition, FollowsTheClockExactly) {
    world.Clock().AdvanceMilliSec(20);
    EXPECT_EQ(microphone.ReadCursor(), 0U);
    microphone->Start(DSCBSTART_LOOPING);
    world.Clock().AdvanceMilliSec(20);
    EXPECT_EQ(microphone.ReadCursor(), 1'920U);
    EXPECT_EQ(microphone.CaptureCursor(), 1'920U);
    // Sample 961 begins at 20,020,833.3 ns.
    world.Clock().Advance(20'833);
    EXPECT_EQ(microphone.ReadCursor(), 1'920U);
    world.Clock().Advance(1);
    EXPECT_EQ(microphone.ReadCursor(), 1'922U);
    // To 5 s, where the ring ends.
    world.Clock().Advance(5 * NanoSecPerSec - 20'020'834);
    EXPECT_EQ(microphone.ReadCursor(), 0U);
    EXPECT_EQ(buffer.CapturedSamples(), 240'000U);
    EXPECT_EQ(microphone->GetCurrentPosition(nullptr, nullptr), DSERR_INVALIDPARAM);
}

TEST_F(CaptureSettings_SetCursorStep, DeliversInLateSteps) {
    world.CaptureDevice().SetCursorStep(1'500);
    microphone->Start(DSCBSTART_LOOPING);
    // 1500 samples take 31.25 ms.
    world.Clock().Advance(31'249'999);
    EXPECT_EQ(buffer.ReadSample(), 0U);
    EXPECT_NE(buffer.SampleAt(1), CaptureSettings::Pattern(1));
    world.Clock().Advance(1);
    EXPECT_EQ(buffer.ReadSample(), 1'500U);
    EXPECT_EQ(microphone.ReadCursor(), 3'000U);
    EXPECT_EQ(buffer.SampleAt(1'499), CaptureSettings::Pattern(1'499));
    world.Clock().Advance(62'500'000);
    EXPECT_EQ(buffer.ReadSample(), 4'500U);
}

TEST_F(CaptureSettings_SetCursorStep, NeverTakesBackWhatWasReported) {
    microphone->Start(DSCBSTART_LOOPING);
    world.Clock().AdvanceMilliSec(1);
    EXPECT_EQ(buffer.ReadSample(), 48U);
    world.CaptureDevice().SetCursorStep(1'500);
    EXPECT_EQ(buffer.ReadSample(), 48U);
}

TEST_F(CaptureSettings_SetCursorStep, HoldsBackTheRestAtAStopUntilTheNextStart) {
    world.CaptureDevice().SetCursorStep(480);
    microphone->Start(DSCBSTART_LOOPING);
    world.Clock().AdvanceMilliSec(15);
    microphone->Stop();
    EXPECT_EQ(buffer.ReadSample(), 480U);
    // 15 ms are 720 samples; from there the steps count again.
    microphone->Start(DSCBSTART_LOOPING);
    EXPECT_EQ(buffer.ReadSample(), 720U);
    world.Clock().AdvanceMilliSec(10);
    EXPECT_EQ(buffer.ReadSample(), 1'200U);
}

TEST_F(CaptureSettings_SetCaptureLead, PutsTheCaptureCursorAheadWhileCapturing) {
    world.CaptureDevice().SetCaptureLead(480);
    EXPECT_EQ(microphone.CaptureCursor(), 0U);
    microphone->Start(DSCBSTART_LOOPING);
    world.Clock().AdvanceMilliSec(4'995);
    // 239,760 samples; 480 more are 240 behind the ring's start.
    EXPECT_EQ(microphone.ReadCursor(), 479'520U);
    EXPECT_EQ(microphone.CaptureCursor(), 480U);
    microphone->Stop();
    EXPECT_EQ(microphone.CaptureCursor(), 479'520U);
}

TEST(CaptureSettings_Stall, HoldsTheCursorAndLosesWhatSounds) {
    TestWorld world;
    Microphone const microphone;
    CaptureBuffer& buffer = world.OnlyCaptureBuffer();
    microphone->Start(DSCBSTART_LOOPING);
    world.Clock().AdvanceMilliSec(1);
    world.CaptureDevice().Stall(100 * NanoSecPerMilliSec);
    world.Clock().AdvanceMilliSec(100);
    EXPECT_EQ(buffer.ReadSample(), 48U);
    world.Clock().AdvanceMilliSec(1);
    EXPECT_EQ(buffer.ReadSample(), 96U);
    EXPECT_EQ(buffer.SampleAt(48), CaptureSettings::Pattern(48));
}

TEST(CaptureSettings_Stall, HoldsForABufferThatIsStartedInIt) {
    TestWorld world;
    world.CaptureDevice().Stall(100 * NanoSecPerMilliSec);
    Microphone const microphone;
    world.Clock().AdvanceMilliSec(50);
    microphone->Start(DSCBSTART_LOOPING);
    world.Clock().AdvanceMilliSec(51);
    EXPECT_EQ(world.OnlyCaptureBuffer().ReadSample(), 48U);
}

TEST(CaptureSettings_Stall, LeavesAStartDelayInForce) {
    TestWorld world;
    Microphone const microphone;
    world.CaptureDevice().SetStartDelay(30 * NanoSecPerMilliSec);
    microphone->Start(DSCBSTART_LOOPING);
    world.CaptureDevice().Stall(10 * NanoSecPerMilliSec);
    world.Clock().AdvanceMilliSec(31);
    EXPECT_EQ(world.OnlyCaptureBuffer().ReadSample(), 48U);
}

TEST_F(CaptureSettings_SetStalled, HoldsUntilToldOtherwise) {
    microphone->Start(DSCBSTART_LOOPING);
    world.CaptureDevice().SetStalled(true);
    world.CaptureDevice().Stall(1);
    world.Clock().AdvanceMilliSec(1'000'000);
    EXPECT_EQ(buffer.ReadSample(), 0U);
    world.CaptureDevice().SetStalled(false);
    world.Clock().AdvanceMilliSec(2);
    EXPECT_EQ(buffer.ReadSample(), 96U);
}

TEST(CaptureBuffer_SetReadSample, CapturesUpToThereAtOnce) {
    TestWorld world;
    world.CaptureDevice().SetCursorStep(1'500);
    Microphone const microphone;
    CaptureBuffer& buffer = world.OnlyCaptureBuffer();
    microphone->Start(DSCBSTART_LOOPING);
    buffer.SetReadSample(959);
    EXPECT_EQ(microphone.ReadCursor(), 1'918U);
    EXPECT_EQ(buffer.SampleAt(958), CaptureSettings::Pattern(958));
    EXPECT_NE(buffer.SampleAt(959), CaptureSettings::Pattern(959));
    buffer.SetReadSample(959);
    EXPECT_EQ(buffer.CapturedSamples(), 959U);
    // Back is forward through the ring's end.
    buffer.SetReadSample(958);
    EXPECT_EQ(buffer.CapturedSamples(), 240'958U);
    // Steps are counted from there.
    world.Clock().Advance(31'250'000);
    EXPECT_EQ(buffer.CapturedSamples(), 242'458U);
}

TEST(CaptureBuffer_CaptureAtOnce, WorksInAStallAndEndsABufferThatDoesNotLoop) {
    TestWorld world;
    Microphone const microphone(200);
    CaptureBuffer& buffer = world.OnlyCaptureBuffer();
    world.CaptureDevice().SetStalled(true);
    microphone->Start(0);
    buffer.CaptureAtOnce(99);
    EXPECT_TRUE(buffer.IsCapturing());
    EXPECT_EQ(buffer.ReadSample(), 99U);
    buffer.CaptureAtOnce(7);
    EXPECT_FALSE(buffer.IsCapturing());
    EXPECT_EQ(buffer.CapturedSamples(), 100U);
}

} // namespace
} // namespace Simulation
