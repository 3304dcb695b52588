// What line-level threads report, and to whom.

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "kovra/thread.h"
#include "support/module/linelevelthreadtest.h"

namespace UnitTest {
namespace {

class CaptureDevice_LineLevelReport : public LineLevelThreadTest {};
class CaptureDevice_LineLevelCallback : public LineLevelThreadTest {};

// --- reports

TEST_F(CaptureDevice_LineLevelReport, FirstComesAtOnceWithNothingCaptured) {
    Start();
    EXPECT_EQ(world.Clock().ElapsedNanoSec(), 0);
    EXPECT_THAT(meter.GetLevels(), ElementsAre(0.0F));
    // The thread itself makes the proxy. A sleep comes into the journal when it ends.
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Start(1)", "GetCurrentPosition()"));
}

TEST_F(CaptureDevice_LineLevelReport, ComesEvery20MilliSec) {
    Start();
    world.Clock().Advance(20'000'000 - 1);
    EXPECT_EQ(meter.GetCalls(), 1U);
    world.Clock().Advance(1);
    EXPECT_EQ(meter.GetCalls(), 2U);
    world.Clock().AdvanceMilliSec(100);
    EXPECT_EQ(meter.GetCalls(), 7U);
    EXPECT_THAT(TakeThreadTexts({Call_t::Win32Sleep}),
                ElementsAre("Sleep(20)", "Sleep(20)", "Sleep(20)", "Sleep(20)", "Sleep(20)", "Sleep(20)"));
}

TEST_F(CaptureDevice_LineLevelReport, CountsTheLastSixteenBlocks) {
    Start();
    world.Clock().AdvanceMilliSec(20);
    world.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(meter.GetLevels(), ElementsAre(0.0F, IsLevel(LevelOfOneBlock), IsLevel(LevelOfTwoBlocks)));
    world.Clock().AdvanceMilliSec(280);
    EXPECT_EQ(meter.GetLevels().back(), 1.0F);
    // From here on silence: 15 blocks later one full block is left.
    world.CaptureDevice().SetGenerator([](std::uint64_t) -> std::int16_t { return 0; });
    world.Clock().AdvanceMilliSec(300);
    EXPECT_THAT(meter.GetLevels().back(), IsLevel(LevelOfOneBlock));
    world.Clock().AdvanceMilliSec(20);
    EXPECT_EQ(meter.GetLevels().back(), 0.0F);
}

TEST_F(CaptureDevice_LineLevelReport, ComesAfterWhatWasCapturedHasBeenReadToTheEnd) {
    Start();
    TakeThreadTexts();
    // The first read gives a block, the second finds none.
    world.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(0, 1920)",
                                               "Unlock(1920, 0)", "GetCurrentPosition()"));
    EXPECT_EQ(meter.GetCalls(), 2U);

    // With five more at once it is one report still.
    world.OnlyCaptureBuffer().CaptureAtOnce(5 * FrameSamples);
    world.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(1920, 11520)",
                                               "Unlock(11520, 0)", "GetCurrentPosition()"));
    // (7 / 16) ^ 0.65625
    EXPECT_THAT(meter.GetLevels(), ElementsAre(0.0F, IsLevel(LevelOfOneBlock), IsLevel(0.581289F)));
}

TEST_F(CaptureDevice_LineLevelReport, WithLessThanABlockRepeatsTheLevel) {
    Start();
    world.Clock().AdvanceMilliSec(20);
    world.CaptureDevice().SetStalled(true);
    world.OnlyCaptureBuffer().CaptureAtOnce(FrameSamples - 1);
    world.Clock().AdvanceMilliSec(40);
    EXPECT_THAT(meter.GetLevels(), ElementsAre(0.0F, IsLevel(LevelOfOneBlock), IsLevel(LevelOfOneBlock),
                                               IsLevel(LevelOfOneBlock)));
}

TEST_F(CaptureDevice_LineLevelReport, WhatWasMeteredIsNotReadAsFrames) {
    Start();
    auto const proxy = renderer->GetCaptureProxy();
    // The renderer's own: it, the thread and the test hold it.
    EXPECT_EQ(proxy.use_count(), 3);
    world.Clock().AdvanceMilliSec(20);
    Frames frames;
    EXPECT_EQ(proxy->ReadFrames(frames), -30);
    EXPECT_THAT(frames, IsEmpty());
    world.OnlyCaptureBuffer().CaptureAtOnce(FrameSamples);
    EXPECT_EQ(proxy->ReadFrames(frames), 0);
    EXPECT_THAT(frames, SizeIs(1));
}

TEST_F(CaptureDevice_LineLevelReport, WhatWasReadAsFramesIsInTheLevel) {
    Start();
    auto const proxy = renderer->GetCaptureProxy();
    world.OnlyCaptureBuffer().CaptureAtOnce(FrameSamples);
    Frames frames;
    EXPECT_EQ(proxy->ReadFrames(frames), 0);
    world.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(meter.GetLevels().back(), IsLevel(LevelOfTwoBlocks));
}

TEST_F(CaptureDevice_LineLevelReport, OfTwoThreadsGoToCallbacksOfTheirOwn) {
    Meter other;
    Start();
    world.Clock().AdvanceMilliSec(20);
    Start(other);
    EXPECT_THAT(world.LiveCaptureBuffers(), SizeIs(1));
    world.Clock().AdvanceMilliSec(40);
    EXPECT_EQ(meter.GetCalls(), 4U);
    EXPECT_EQ(other.GetCalls(), 3U);
    EXPECT_EQ(world.BlockedThreads(), 2U);
    renderer->Shutdown();
    world.Clock().AdvanceMilliSec(20);
    EXPECT_TRUE(other.WaitForEnd());
}

// --- the callback

TEST_F(CaptureDevice_LineLevelCallback, RunsOnAThreadOfItsOwnThatBearsTheName) {
    std::string name;
    Kovra::ThreadPriority_t priority{};
    std::thread::id id;
    Meter once([&](float) {
        name = Kovra::GetThreadName();
        priority = Kovra::GetThreadPriority();
        id = std::this_thread::get_id();
        return false;
    });
    ASSERT_TRUE(renderer->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_EQ(name, "Media.RendererAudio.LineLevel");
    EXPECT_EQ(priority, Kovra::ThreadPriority_t::Normal);
    EXPECT_NE(id, std::this_thread::get_id());
}

TEST_F(CaptureDevice_LineLevelCallback, IsCopiedForEachThread) {
    std::atomic<int> firstCounts{0};
    std::atomic<int> laterCounts{0};
    // Counts in itself: a copy of its own begins at 0.
    std::function<bool(float)> const counting = [&, count = 0](float) mutable {
        ++(++count == 1 ? firstCounts : laterCounts);
        return count < 2;
    };
    ASSERT_TRUE(renderer->GetLineLevelCallbacks(counting));
    world.WaitForBlockedThreads(1);
    ASSERT_TRUE(renderer->GetLineLevelCallbacks(counting));
    world.WaitForBlockedThreads(2);
    EXPECT_EQ(firstCounts.load(), 2);
    world.Clock().AdvanceMilliSec(20);
    EXPECT_EQ(laterCounts.load(), 2);
    EXPECT_EQ(world.BlockedThreads(), 0U);
}

TEST_F(CaptureDevice_LineLevelCallback, MayUseTheProxyItself) {
    float level = -1.0F;
    int sampled = 0;
    int read = 0;
    int readStopped = 0;
    Frames frames;
    Meter once([&](float) {
        auto const proxy = renderer->GetCaptureProxy();
        level = proxy->GetLineLevel();
        sampled = proxy->SampleLineLevel();
        world.OnlyCaptureBuffer().CaptureAtOnce(FrameSamples);
        read = proxy->ReadFrames(frames);
        proxy->StopBufferCapture();
        readStopped = proxy->ReadFrames(frames);
        proxy->StartBufferCapture();
        return false;
    });
    ASSERT_TRUE(renderer->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_EQ(level, 0.0F);
    EXPECT_EQ(sampled, -30);
    EXPECT_EQ(read, 0);
    EXPECT_EQ(readStopped, -30);
    EXPECT_THAT(frames, SizeIs(1));
    EXPECT_EQ(world.OnlyCaptureBuffer().Number(), 2U);
}

TEST_F(CaptureDevice_LineLevelCallback, MayStartAndCloseOnTheRenderer) {
    Meter other([](float) { return false; });
    Meter once([&](float) {
        EXPECT_TRUE(renderer->GetLineLevelCallbacks(other.MakeCallback()));
        EXPECT_TRUE(other.WaitForEnd());
        renderer->Shutdown();
        return true;
    });
    Start(once);
    EXPECT_EQ(other.GetCalls(), 1U);
    world.Clock().AdvanceMilliSec(20);
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_EQ(once.GetCalls(), 1U);
}

TEST_F(CaptureDevice_LineLevelCallback, ThatThrowsHasHadItsLastCall) {
    Meter broken([](float) -> bool { throw 42; });
    ASSERT_TRUE(renderer->GetLineLevelCallbacks(broken.MakeCallback()));
    EXPECT_TRUE(broken.WaitForEnd());
    EXPECT_EQ(broken.GetCalls(), 1U);
    // The others go on.
    Start();
    EXPECT_EQ(meter.GetCalls(), 1U);
}

TEST_F(CaptureDevice_LineLevelCallback, RunsOutsideEveryLock) {
    auto const proxy = renderer->GetCaptureProxy();
    auto& deviceLock = CaptureProxyPeer::GetDevice(*proxy)->lock;
    auto& bufferLock = CaptureBufferPeer::GetFields(*CaptureProxyPeer::GetBuffer(*proxy)).lock;
    bool isDeviceFree = false;
    bool isBufferFree = false;
    Meter once([&](float) {
        isDeviceFree = CanBeLockedElsewhere(deviceLock);
        isBufferFree = CanBeLockedElsewhere(bufferLock);
        return false;
    });
    ASSERT_TRUE(renderer->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_TRUE(isDeviceFree);
    EXPECT_TRUE(isBufferFree);
}

} // namespace
} // namespace UnitTest
