// When line-level threads end, and what they do without a capture.

#include <atomic>
#include <memory>
#include <thread>

#include "support/module/foreignrenderer.h"
#include "support/module/linelevelthreadtest.h"

namespace UnitTest {
namespace {

class CaptureDevice_LineLevelEnd : public LineLevelThreadTest {};
class CaptureDevice_LineLevelFailure : public LineLevelThreadTest {};
class CaptureDevice_LineLevelStopped : public LineLevelThreadTest {};

// --- the end of a thread

TEST_F(CaptureDevice_LineLevelEnd, FalseOfTheFirstCallEndsTheThreadWithoutASleep) {
    Meter once([](float) { return false; });
    ASSERT_TRUE(renderer->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_EQ(once.GetCalls(), 1U);
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Start(1)", "GetCurrentPosition()"));
    EXPECT_EQ(world.BlockedThreads(), 0U);
    // The proxy that it let go of captures on.
    EXPECT_EQ(renderer->GetCaptureProxy().use_count(), 2);
    EXPECT_TRUE(world.OnlyCaptureBuffer().IsCapturing());
}

TEST_F(CaptureDevice_LineLevelEnd, FalseOfALaterCallEndsTheThreadAtThatCall) {
    std::atomic<int> calls{0};
    Meter thrice([&calls](float) { return ++calls < 3; });
    Start(thrice);
    world.Clock().AdvanceMilliSec(100);
    EXPECT_TRUE(thrice.WaitForEnd());
    EXPECT_EQ(thrice.GetCalls(), 3U);
    EXPECT_THAT(TakeThreadTexts({Call_t::Win32Sleep}), ElementsAre("Sleep(20)", "Sleep(20)"));
}

TEST_F(CaptureDevice_LineLevelEnd, OfOneThreadLeavesTheOther) {
    Meter once([](float) { return false; });
    Start();
    ASSERT_TRUE(renderer->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    world.Clock().AdvanceMilliSec(40);
    EXPECT_EQ(meter.GetCalls(), 3U);
    EXPECT_EQ(once.GetCalls(), 1U);
}

TEST_F(CaptureDevice_LineLevelEnd, ComesAtTheEndOfTheSleepDuringWhichTheDeviceWasClosed) {
    Start();
    world.Clock().AdvanceMilliSec(15);
    renderer->Shutdown();
    // The thread's proxy keeps it.
    EXPECT_EQ(world.LiveCaptures(), 1U);
    TakeThreadTexts();
    world.Clock().Advance(5'000'000 - 1);
    EXPECT_EQ(meter.GetHeld(), 1U);
    EXPECT_EQ(world.BlockedThreads(), 1U);
    world.Clock().Advance(1);
    EXPECT_TRUE(meter.WaitForEnd());
    EXPECT_EQ(meter.GetCalls(), 1U);
    // Only the proxy's buffer goes with the thread, its last holder.
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Sleep(20)", "Stop()"));
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
    EXPECT_EQ(world.LiveCaptures(), 0U);
}

TEST_F(CaptureDevice_LineLevelEnd, ComesNotWhenTheDeviceIsOpenAgainBeforeTheSleepEnds) {
    Start();
    renderer->Shutdown();
    auto const proxy = renderer->GetCaptureProxy();
    EXPECT_THAT(world.LiveCaptureBuffers(), SizeIs(2));
    world.Clock().AdvanceMilliSec(20);
    // The thread keeps the proxy that it began with.
    EXPECT_EQ(meter.GetCalls(), 2U);
    EXPECT_THAT(meter.GetLevels().back(), IsLevel(LevelOfOneBlock));
    EXPECT_EQ(proxy.use_count(), 2);
}

TEST_F(CaptureDevice_LineLevelEnd, ComesToAThreadThatSleepsWhileTheRendererIsDestroyed) {
    Start();
    Pipeline::SetAudioRenderer(nullptr);
    renderer.reset();
    // The thread's proxy keeps it.
    EXPECT_EQ(world.LiveCaptures(), 1U);
    EXPECT_EQ(world.BlockedThreads(), 1U);
    world.Clock().AdvanceMilliSec(20);
    EXPECT_TRUE(meter.WaitForEnd());
    EXPECT_EQ(meter.GetCalls(), 1U);
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
    EXPECT_EQ(world.LiveCaptures(), 0U);
    EXPECT_EQ(world.OpenHandles(), 0U);
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

TEST_F(CaptureDevice_LineLevelEnd, ComesToThreadsOfADestroyedRendererWithAnotherOneInItsPlace) {
    Start();
    renderer = std::make_unique<RendererAudio>();
    Pipeline::SetAudioRenderer(renderer.get());
    Meter other;
    Start(other);
    world.Clock().AdvanceMilliSec(20);
    EXPECT_TRUE(meter.WaitForEnd());
    EXPECT_EQ(meter.GetCalls(), 1U);
    EXPECT_EQ(other.GetCalls(), 2U);
    renderer->Shutdown();
    world.Clock().AdvanceMilliSec(20);
    EXPECT_TRUE(other.WaitForEnd());
}

TEST_F(CaptureDevice_LineLevelEnd, ComesWithoutAReportWhenTheDeviceIsClosedAlready) {
    // Closed, unlike the renderer's.
    RendererAudioCaptureDevice closed;
    auto const callback = meter.MakeCallback();
    std::thread([&] {
        CaptureDevicePeer::LineLevel(CaptureDevicePeer::GetWeakFields(closed), callback);
    }).join();
    EXPECT_EQ(meter.GetCalls(), 0U);
    EXPECT_THAT(TakeThreadTexts(CallSet::CaptureBuffer() |
                                CallSet{Call_t::CaptureCreateCaptureBuffer, Call_t::Win32Sleep}),
                ElementsAre("CreateCaptureBuffer(2147483648, 480000)", "Start(1)"));
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

// --- what a thread cannot get

TEST_F(CaptureDevice_LineLevelFailure, WithoutARendererOfThisClassInThePipelineIsLoggedAndEndsTheThread) {
    ForeignRenderer other;
    IPipelineRenderer* const renderers[] = {nullptr, &other};
    for (auto* const registered : renderers) {
        Pipeline::SetAudioRenderer(registered);
        EXPECT_TRUE(renderer->GetLineLevelCallbacks(meter.MakeCallback()));
        EXPECT_TRUE(meter.WaitForEnd());
        ExpectOnlyRecord("Failed to acquire RenderAudio instance", 229);
        EXPECT_EQ(meter.GetCalls(), 0U);
        EXPECT_THAT(TakeThreadTexts(CallSet::All()), IsEmpty());
        log.Clear();
    }
}

TEST_F(CaptureDevice_LineLevelFailure, WithoutAProxyIsLoggedAndEndsTheThread) {
    world.Faults().FailAlways(Call_t::CaptureCreateCaptureBuffer, DSERR_GENERIC);
    EXPECT_TRUE(renderer->GetLineLevelCallbacks(meter.MakeCallback()));
    EXPECT_TRUE(meter.WaitForEnd());
    ExpectOnlyRecord("Failed to acquire RenderAudioCaptureProxy instance", 236);
    EXPECT_EQ(meter.GetCalls(), 0U);
    EXPECT_THAT(TakeThreadTexts({Call_t::CaptureCreateCaptureBuffer, Call_t::Win32Sleep}),
                ElementsAre("CreateCaptureBuffer(2147483648, 480000) = 0x80004005"));
}

TEST_F(CaptureDevice_LineLevelFailure, IsNotLoggedWhenTheChannelDoesNotWantIt) {
    Pipeline::SetAudioRenderer(nullptr);
    auto& manager = Kovra::LogManager::Instance();
    manager.SetLevel("Media.RendererAudioCaptureDevice", Kovra::LogLevel_t::Info);
    EXPECT_TRUE(renderer->GetLineLevelCallbacks(meter.MakeCallback()));
    EXPECT_TRUE(meter.WaitForEnd());
    manager.SetLevel("Media.RendererAudioCaptureDevice", Kovra::LogLevel_t::Debug);
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

TEST_F(CaptureDevice_LineLevelFailure, OfTheCursorStillReportsTheLevelEvery20MilliSec) {
    Start();
    world.Clock().AdvanceMilliSec(20);
    for (HRESULT const result : {E_OUTOFMEMORY, E_INVALIDARG, DSERR_NODRIVER, DSERR_GENERIC}) {
        world.Faults().FailAlways(Call_t::CaptureBufferGetCurrentPosition, result);
        auto const calls = meter.GetCalls();
        world.Clock().AdvanceMilliSec(40);
        EXPECT_EQ(meter.GetCalls(), calls + 2);
        EXPECT_THAT(meter.GetLevels().back(), IsLevel(LevelOfOneBlock));
    }
    EXPECT_THAT(log.GetTexts(), IsEmpty());

    // It is over, and the eight blocks of that time and the one of this are read: ten in all.
    world.Faults().Clear();
    world.Clock().AdvanceMilliSec(20);
    // (10 / 16) ^ 0.65625
    EXPECT_NEAR(meter.GetLevels().back(), 0.734592F, LevelTolerance);
}

TEST_F(CaptureDevice_LineLevelFailure, OfTheLockStillReportsTheLevelAndReadsTheBlocksLater) {
    Start();
    world.Faults().Fail(Call_t::CaptureBufferLock, 1, DSERR_GENERIC);
    TakeThreadTexts();
    world.Clock().AdvanceMilliSec(20);
    // One failing read is the end of the draining.
    EXPECT_THAT(TakeThreadTexts(),
                ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(0, 1920) = 0x80004005"));
    world.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(meter.GetLevels(), ElementsAre(0.0F, 0.0F, IsLevel(LevelOfTwoBlocks)));
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

TEST_F(CaptureDevice_LineLevelFailure, OfEveryReadLeavesTheThreadToEndWithTheDevice) {
    world.Faults().FailAlways(Call_t::CaptureBufferGetCurrentPosition, DSERR_NODRIVER);
    Start();
    world.Clock().AdvanceMilliSec(40);
    renderer->Shutdown();
    world.Clock().AdvanceMilliSec(20);
    EXPECT_TRUE(meter.WaitForEnd());
    EXPECT_THAT(meter.GetLevels(), ElementsAre(0.0F, 0.0F, 0.0F));
}

// --- a stopped capture

TEST_F(CaptureDevice_LineLevelStopped, FromTheBeginningSpinsUntilCaptureIsStarted) {
    auto const proxy = renderer->GetCaptureProxy();
    proxy->StopBufferCapture();
    world.Journal().Clear();
    ASSERT_TRUE(renderer->GetLineLevelCallbacks(meter.MakeCallback()));
    WaitUntilSpinning(proxy);
    EXPECT_EQ(meter.GetCalls(), 0U);
    EXPECT_EQ(world.BlockedThreads(), 0U);
    proxy->StartBufferCapture();
    world.WaitForBlockedThreads(1);
    EXPECT_THAT(meter.GetLevels(), ElementsAre(0.0F));
    // The thread sees the new buffer as soon as the proxy has it: its read comes before or after its
    // creation.
    EXPECT_THAT(TakeThreadTexts(), AnyOf(IsEmpty(), ElementsAre("GetCurrentPosition()")));
    world.Clock().AdvanceMilliSec(20);
    // No sleep but the one after the report.
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(0, 1920)",
                                               "Unlock(1920, 0)", "GetCurrentPosition()"));
}

TEST_F(CaptureDevice_LineLevelStopped, DuringASleepSpinsAfterItUntilCaptureIsStarted) {
    Start();
    auto const proxy = renderer->GetCaptureProxy();
    world.Clock().AdvanceMilliSec(20);
    proxy->StopBufferCapture();
    world.Journal().Clear();
    // Time stands still for as long as the thread spins.
    std::thread advancing([this] { world.Clock().AdvanceMilliSec(20); });
    ASSERT_TRUE(YieldUntil([this] { return world.BlockedThreads() == 0; }));
    EXPECT_EQ(meter.GetCalls(), 2U);
    proxy->StartBufferCapture();
    advancing.join();
    // The new buffer's level begins at 0.
    EXPECT_THAT(meter.GetLevels(), ElementsAre(0.0F, IsLevel(LevelOfOneBlock), 0.0F));
    // Its read comes before or after the creation of the buffer that it sees.
    EXPECT_THAT(TakeThreadTexts(),
                AnyOf(ElementsAre("Sleep(20)"), ElementsAre("Sleep(20)", "GetCurrentPosition()")));
}

TEST_F(CaptureDevice_LineLevelStopped, SpinsOnWhenTheDeviceIsClosedAndEndsAfterOneMoreReport) {
    auto const proxy = renderer->GetCaptureProxy();
    proxy->StopBufferCapture();
    std::atomic<bool> hadBuffer{false};
    Meter another([&](float) {
        hadBuffer.store(CaptureProxyPeer::GetBuffer(*proxy) != nullptr);
        return true;
    });
    ASSERT_TRUE(renderer->GetLineLevelCallbacks(another.MakeCallback()));
    WaitUntilSpinning(proxy);
    renderer->Shutdown();
    world.Journal().Clear();
    // A thread that took the closing for its end would have time to report it.
    for (int i = 0; i < 1000; ++i) {
        std::this_thread::yield();
    }
    EXPECT_EQ(another.GetCalls(), 0U);
    // The test and the thread, which a closed device has not ended.
    EXPECT_EQ(proxy.use_count(), 2);
    // There is nothing to capture with any more: the new buffer is an empty one.
    proxy->StartBufferCapture();
    EXPECT_FALSE(proxy->IsInitialized());
    world.WaitForBlockedThreads(1);
    EXPECT_TRUE(hadBuffer.load());
    EXPECT_THAT(another.GetLevels(), ElementsAre(0.0F));
    world.Clock().AdvanceMilliSec(20);
    EXPECT_TRUE(another.WaitForEnd());
    EXPECT_EQ(another.GetCalls(), 1U);
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Sleep(20)"));
}

TEST_F(CaptureDevice_LineLevelStopped, AndStartedDuringASleepGoesOnWithTheNewBuffer) {
    Start();
    auto const proxy = renderer->GetCaptureProxy();
    world.Clock().AdvanceMilliSec(20);
    proxy->StopBufferCapture();
    proxy->StartBufferCapture();
    world.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(meter.GetLevels(), ElementsAre(0.0F, IsLevel(LevelOfOneBlock), IsLevel(LevelOfOneBlock)));
    EXPECT_EQ(world.LatestCaptureBuffer().Number(), 2U);
    EXPECT_EQ(world.LatestCaptureBuffer().LockCount(), 1U);
}

} // namespace
} // namespace UnitTest
