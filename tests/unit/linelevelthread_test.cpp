#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kovra/thread.h"
#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "simulation/testworld.h"
#include "support/capturebuffertest.h"
#include "support/captureview.h"
#include "support/foreignrenderer.h"
#include "support/logcapture.h"

namespace Media {
namespace {

using Kovra::LogLevel_t;
using Simulation::Call_t;
using Simulation::CallSet;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::FloatNear;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using UnitTest::BlockMilliSec;
using UnitTest::BlockSamples;
using UnitTest::CaptureDevicePeer;
using UnitTest::CaptureProxyPeer;
using UnitTest::LevelOfOneBlock;
using UnitTest::LevelOfSixBlocks;
using UnitTest::LevelOfTwoBlocks;
using UnitTest::LineLevelThreadName;
using UnitTest::Meter;

auto IsLevel(float level) {
    return FloatNear(level, UnitTest::LevelTolerance);
}

/// Line-level threads of a renderer that the pipeline has. It is not initialised: no playback thread stands
/// among those that wait. The microphone hears full scale.
class LineLevelThreadTest : public ::testing::Test {
protected:
    LineLevelThreadTest() {
        Pipeline::SetAudioRenderer(renderer_.get());
        world_.CaptureDevice().SetGenerator(UnitTest::FullScaleSquare);
        world_.Journal().Enable();
    }
    /// Ends every thread of `meter_` that sleeps.
    ~LineLevelThreadTest() override {
        if (renderer_ != nullptr) {
            renderer_->Shutdown();
        }
        world_.Clock().AdvanceMilliSec(BlockMilliSec);
        EXPECT_TRUE(meter_.WaitForEnd());
        Pipeline::SetAudioRenderer(nullptr);
    }

    /// Starts a thread, and returns when it and those before it sleep.
    void Start(Meter& meter) {
        std::size_t const sleeping = world_.BlockedThreads();
        ASSERT_TRUE(renderer_->GetLineLevelCallbacks(meter.MakeCallback()));
        world_.WaitForBlockedThreads(sleeping + 1);
    }
    void Start() { Start(meter_); }

    /// Returns when a thread has taken the stopped `proxy`, held by the renderer and the test before: it
    /// spins from here on.
    void WaitUntilSpinning(std::shared_ptr<RendererAudioCaptureProxy> const& proxy) {
        ASSERT_TRUE(UnitTest::YieldUntil([&proxy] { return proxy.use_count() == 3; }));
        // The thread has left the renderer once another one can come in.
        EXPECT_EQ(renderer_->GetCaptureProxy(), proxy);
    }

    /// The calls of line-level threads since the last time.
    std::vector<std::string> TakeThreadTexts(CallSet const& calls = CallSet::CaptureBuffer() |
                                                                    CallSet{Call_t::Win32Sleep}) {
        auto texts = UnitTest::TextsOfThread(world_, LineLevelThreadName, calls);
        world_.Journal().Clear();
        return texts;
    }

    /// The one record, which a line-level thread wrote.
    void ExpectOnlyRecord(char const* text, int line) {
        ASSERT_THAT(log_.GetTexts(), ElementsAre(text));
        auto const record = log_.GetRecords().front();
        EXPECT_EQ(record.channel, "Media.RendererAudioCaptureDevice");
        EXPECT_EQ(record.level, LogLevel_t::Debug);
        EXPECT_EQ(record.file, "media/src/rendereraudio/rendereraudiocapturedevice");
        EXPECT_EQ(record.function, "Media::RendererAudioCaptureDevice::LineLevel");
        EXPECT_EQ(record.line, line);
        EXPECT_EQ(record.threadName, LineLevelThreadName);
    }

    Simulation::TestWorld world_;
    UnitTest::LogCapture log_;
    Meter meter_;
    std::unique_ptr<RendererAudio> renderer_ = std::make_unique<RendererAudio>();
};

class CaptureDevice_LineLevelReport : public LineLevelThreadTest {};
class CaptureDevice_LineLevelEnd : public LineLevelThreadTest {};
class CaptureDevice_LineLevelFailure : public LineLevelThreadTest {};
class CaptureDevice_LineLevelStopped : public LineLevelThreadTest {};
class CaptureDevice_LineLevelCallback : public LineLevelThreadTest {};
class CaptureDevice_LineLevelFunction : public LineLevelThreadTest {};

// --- reports

TEST_F(CaptureDevice_LineLevelReport, FirstComesAtOnceWithNothingCaptured) {
    Start();
    EXPECT_EQ(world_.Clock().ElapsedNanoSec(), 0);
    EXPECT_THAT(meter_.GetLevels(), ElementsAre(0.0F));
    // The thread itself makes the proxy. A sleep comes into the journal when it ends.
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Start(1)", "GetCurrentPosition()"));
}

TEST_F(CaptureDevice_LineLevelReport, ComesEvery20MilliSec) {
    Start();
    world_.Clock().Advance(20'000'000 - 1);
    EXPECT_EQ(meter_.GetCalls(), 1U);
    world_.Clock().Advance(1);
    EXPECT_EQ(meter_.GetCalls(), 2U);
    world_.Clock().AdvanceMilliSec(100);
    EXPECT_EQ(meter_.GetCalls(), 7U);
    EXPECT_THAT(TakeThreadTexts({Call_t::Win32Sleep}),
                ElementsAre("Sleep(20)", "Sleep(20)", "Sleep(20)", "Sleep(20)", "Sleep(20)", "Sleep(20)"));
}

TEST_F(CaptureDevice_LineLevelReport, CountsTheLastSixteenBlocks) {
    Start();
    world_.Clock().AdvanceMilliSec(20);
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(meter_.GetLevels(), ElementsAre(0.0F, IsLevel(LevelOfOneBlock), IsLevel(LevelOfTwoBlocks)));
    world_.Clock().AdvanceMilliSec(280);
    EXPECT_EQ(meter_.GetLevels().back(), 1.0F);
    // From here on silence: 15 blocks later one full block is left.
    world_.CaptureDevice().SetGenerator([](std::uint64_t) -> std::int16_t { return 0; });
    world_.Clock().AdvanceMilliSec(300);
    EXPECT_THAT(meter_.GetLevels().back(), IsLevel(LevelOfOneBlock));
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_EQ(meter_.GetLevels().back(), 0.0F);
}

TEST_F(CaptureDevice_LineLevelReport, ComesAfterWhatWasCapturedHasBeenReadToTheEnd) {
    Start();
    TakeThreadTexts();
    // The first read gives a block, the second finds none.
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(0, 1920)",
                                               "Unlock(1920, 0)", "GetCurrentPosition()"));
    EXPECT_EQ(meter_.GetCalls(), 2U);

    // With five more at once it is one report still.
    world_.OnlyCaptureBuffer().CaptureAtOnce(5 * BlockSamples);
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(1920, 11520)",
                                               "Unlock(11520, 0)", "GetCurrentPosition()"));
    EXPECT_EQ(meter_.GetCalls(), 3U);
}

TEST_F(CaptureDevice_LineLevelReport, TakesAllBlocksIntoTheLevel) {
    Start();
    world_.OnlyCaptureBuffer().CaptureAtOnce(5 * BlockSamples);
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(meter_.GetLevels(), ElementsAre(0.0F, IsLevel(LevelOfSixBlocks)));
}

TEST_F(CaptureDevice_LineLevelReport, WithLessThanABlockRepeatsTheLevel) {
    Start();
    world_.Clock().AdvanceMilliSec(20);
    world_.CaptureDevice().SetStalled(true);
    world_.OnlyCaptureBuffer().CaptureAtOnce(BlockSamples - 1);
    world_.Clock().AdvanceMilliSec(40);
    EXPECT_THAT(meter_.GetLevels(), ElementsAre(0.0F, IsLevel(LevelOfOneBlock), IsLevel(LevelOfOneBlock),
                                                IsLevel(LevelOfOneBlock)));
}

TEST_F(CaptureDevice_LineLevelReport, WhatWasMeteredIsNotReadAsFrames) {
    Start();
    auto const proxy = renderer_->GetCaptureProxy();
    world_.Clock().AdvanceMilliSec(20);
    UnitTest::Frames frames;
    EXPECT_EQ(proxy->ReadFrames(frames), -30);
    EXPECT_THAT(frames, IsEmpty());
    world_.OnlyCaptureBuffer().CaptureAtOnce(BlockSamples);
    EXPECT_EQ(proxy->ReadFrames(frames), 0);
    EXPECT_THAT(frames, SizeIs(1));
}

TEST_F(CaptureDevice_LineLevelReport, WhatWasReadAsFramesIsInTheLevel) {
    Start();
    auto const proxy = renderer_->GetCaptureProxy();
    world_.OnlyCaptureBuffer().CaptureAtOnce(BlockSamples);
    UnitTest::Frames frames;
    EXPECT_EQ(proxy->ReadFrames(frames), 0);
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(meter_.GetLevels().back(), IsLevel(LevelOfTwoBlocks));
}

TEST_F(CaptureDevice_LineLevelReport, GoesThroughTheRenderersOwnProxy) {
    Start();
    auto const proxy = renderer_->GetCaptureProxy();
    EXPECT_THAT(world_.CaptureBuffers(), SizeIs(1));
    // The renderer, the thread, the test.
    EXPECT_EQ(proxy.use_count(), 3);
}

TEST_F(CaptureDevice_LineLevelReport, OfTwoThreadsGoToCallbacksOfTheirOwn) {
    Meter other;
    Start();
    world_.Clock().AdvanceMilliSec(20);
    Start(other);
    EXPECT_THAT(world_.LiveCaptureBuffers(), SizeIs(1));
    world_.Clock().AdvanceMilliSec(40);
    EXPECT_EQ(meter_.GetCalls(), 4U);
    EXPECT_EQ(other.GetCalls(), 3U);
    EXPECT_EQ(world_.BlockedThreads(), 2U);
    renderer_->Shutdown();
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_TRUE(other.WaitForEnd());
}

// --- the end of a thread

TEST_F(CaptureDevice_LineLevelEnd, FalseOfTheFirstCallEndsTheThreadWithoutASleep) {
    Meter once([](float) { return false; });
    ASSERT_TRUE(renderer_->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_EQ(once.GetCalls(), 1U);
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Start(1)", "GetCurrentPosition()"));
    EXPECT_EQ(world_.BlockedThreads(), 0U);
}

TEST_F(CaptureDevice_LineLevelEnd, FalseOfALaterCallEndsTheThreadAtThatCall) {
    std::atomic<int> calls{0};
    Meter thrice([&calls](float) { return ++calls < 3; });
    Start(thrice);
    world_.Clock().AdvanceMilliSec(100);
    EXPECT_TRUE(thrice.WaitForEnd());
    EXPECT_EQ(thrice.GetCalls(), 3U);
    EXPECT_THAT(TakeThreadTexts({Call_t::Win32Sleep}), ElementsAre("Sleep(20)", "Sleep(20)"));
}

TEST_F(CaptureDevice_LineLevelEnd, OfOneThreadLeavesTheOther) {
    Meter once([](float) { return false; });
    Start();
    ASSERT_TRUE(renderer_->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    world_.Clock().AdvanceMilliSec(40);
    EXPECT_EQ(meter_.GetCalls(), 3U);
    EXPECT_EQ(once.GetCalls(), 1U);
}

TEST_F(CaptureDevice_LineLevelEnd, LetsGoOfTheProxyAndLeavesItCapturing) {
    Meter once([](float) { return false; });
    auto const proxy = renderer_->GetCaptureProxy();
    ASSERT_TRUE(renderer_->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_EQ(proxy.use_count(), 2);
    EXPECT_TRUE(world_.OnlyCaptureBuffer().IsCapturing());
}

TEST_F(CaptureDevice_LineLevelEnd, ComesAtTheEndOfTheSleepDuringWhichTheDeviceWasClosed) {
    Start();
    world_.Clock().AdvanceMilliSec(15);
    renderer_->Shutdown();
    // The thread's proxy keeps it.
    EXPECT_EQ(world_.LiveCaptures(), 1U);
    TakeThreadTexts();
    world_.Clock().Advance(5'000'000 - 1);
    EXPECT_EQ(meter_.GetHeld(), 1U);
    EXPECT_EQ(world_.BlockedThreads(), 1U);
    world_.Clock().Advance(1);
    EXPECT_TRUE(meter_.WaitForEnd());
    EXPECT_EQ(meter_.GetCalls(), 1U);
    // Only the proxy's buffer goes with the thread, its last holder.
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Sleep(20)", "Stop()"));
    EXPECT_THAT(world_.LiveCaptureBuffers(), IsEmpty());
    EXPECT_EQ(world_.LiveCaptures(), 0U);
}

TEST_F(CaptureDevice_LineLevelEnd, ComesNotWhenTheDeviceIsOpenAgainBeforeTheSleepEnds) {
    Start();
    renderer_->Shutdown();
    auto const proxy = renderer_->GetCaptureProxy();
    EXPECT_THAT(world_.LiveCaptureBuffers(), SizeIs(2));
    world_.Clock().AdvanceMilliSec(20);
    // The thread keeps the proxy that it began with.
    EXPECT_EQ(meter_.GetCalls(), 2U);
    EXPECT_THAT(meter_.GetLevels().back(), IsLevel(LevelOfOneBlock));
    EXPECT_EQ(proxy.use_count(), 2);
}

TEST_F(CaptureDevice_LineLevelEnd, ComesToAThreadThatSleepsWhileTheRendererIsDestroyed) {
    Start();
    Pipeline::SetAudioRenderer(nullptr);
    renderer_.reset();
    // The thread's proxy keeps it.
    EXPECT_EQ(world_.LiveCaptures(), 1U);
    EXPECT_EQ(world_.BlockedThreads(), 1U);
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_TRUE(meter_.WaitForEnd());
    EXPECT_EQ(meter_.GetCalls(), 1U);
    EXPECT_THAT(world_.LiveCaptureBuffers(), IsEmpty());
    EXPECT_EQ(world_.LiveCaptures(), 0U);
    EXPECT_EQ(world_.OpenHandles(), 0U);
    EXPECT_THAT(log_.GetTexts(), IsEmpty());
}

TEST_F(CaptureDevice_LineLevelEnd, ComesToThreadsOfADestroyedRendererWithAnotherOneInItsPlace) {
    Start();
    renderer_ = std::make_unique<RendererAudio>();
    Pipeline::SetAudioRenderer(renderer_.get());
    Meter other;
    Start(other);
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_TRUE(meter_.WaitForEnd());
    EXPECT_EQ(meter_.GetCalls(), 1U);
    EXPECT_EQ(other.GetCalls(), 2U);
    renderer_->Shutdown();
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_TRUE(other.WaitForEnd());
}

// --- what a thread cannot get

TEST_F(CaptureDevice_LineLevelFailure, WithoutARendererInThePipelineIsLoggedAndEndsTheThread) {
    Pipeline::SetAudioRenderer(nullptr);
    EXPECT_TRUE(renderer_->GetLineLevelCallbacks(meter_.MakeCallback()));
    EXPECT_TRUE(meter_.WaitForEnd());
    ExpectOnlyRecord("Failed to acquire RenderAudio instance", 229);
    EXPECT_EQ(meter_.GetCalls(), 0U);
    EXPECT_THAT(TakeThreadTexts(CallSet::All()), IsEmpty());
}

TEST_F(CaptureDevice_LineLevelFailure, WithARendererOfAnotherClassIsLoggedAndEndsTheThread) {
    UnitTest::ForeignRenderer other;
    Pipeline::SetAudioRenderer(&other);
    EXPECT_TRUE(renderer_->GetLineLevelCallbacks(meter_.MakeCallback()));
    EXPECT_TRUE(meter_.WaitForEnd());
    ExpectOnlyRecord("Failed to acquire RenderAudio instance", 229);
    EXPECT_EQ(meter_.GetCalls(), 0U);
    EXPECT_THAT(TakeThreadTexts(CallSet::All()), IsEmpty());
}

TEST_F(CaptureDevice_LineLevelFailure, WithoutAProxyIsLoggedAndEndsTheThread) {
    world_.Faults().FailAlways(Call_t::CaptureCreateCaptureBuffer, DSERR_GENERIC);
    EXPECT_TRUE(renderer_->GetLineLevelCallbacks(meter_.MakeCallback()));
    EXPECT_TRUE(meter_.WaitForEnd());
    ExpectOnlyRecord("Failed to acquire RenderAudioCaptureProxy instance", 236);
    EXPECT_EQ(meter_.GetCalls(), 0U);
    EXPECT_THAT(TakeThreadTexts({Call_t::CaptureCreateCaptureBuffer, Call_t::Win32Sleep}),
                ElementsAre("CreateCaptureBuffer(2147483648, 480000) = 0x80004005"));
}

TEST_F(CaptureDevice_LineLevelFailure, IsNotLoggedWhenTheChannelDoesNotWantIt) {
    Pipeline::SetAudioRenderer(nullptr);
    auto& manager = Kovra::LogManager::Instance();
    manager.SetLevel("Media.RendererAudioCaptureDevice", LogLevel_t::Info);
    EXPECT_TRUE(renderer_->GetLineLevelCallbacks(meter_.MakeCallback()));
    EXPECT_TRUE(meter_.WaitForEnd());
    manager.SetLevel("Media.RendererAudioCaptureDevice", LogLevel_t::Debug);
    EXPECT_THAT(log_.GetTexts(), IsEmpty());
}

TEST_F(CaptureDevice_LineLevelFailure, OfTheCursorStillReportsTheLevelEvery20MilliSec) {
    Start();
    world_.Clock().AdvanceMilliSec(20);
    for (HRESULT const result : {E_OUTOFMEMORY, E_INVALIDARG, DSERR_NODRIVER, DSERR_GENERIC}) {
        world_.Faults().FailAlways(Call_t::CaptureBufferGetCurrentPosition, result);
        auto const calls = meter_.GetCalls();
        world_.Clock().AdvanceMilliSec(40);
        EXPECT_EQ(meter_.GetCalls(), calls + 2);
        EXPECT_THAT(meter_.GetLevels().back(), IsLevel(LevelOfOneBlock));
    }
    EXPECT_THAT(log_.GetTexts(), IsEmpty());

    // It is over, and the eight blocks of that time and the one of this are read: ten in all.
    world_.Faults().Clear();
    world_.Clock().AdvanceMilliSec(20);
    // (10 / 16) ^ 0.65625
    EXPECT_NEAR(meter_.GetLevels().back(), 0.734592F, UnitTest::LevelTolerance);
}

TEST_F(CaptureDevice_LineLevelFailure, OfTheLockStillReportsTheLevelAndReadsTheBlocksLater) {
    Start();
    world_.Faults().Fail(Call_t::CaptureBufferLock, 1, DSERR_GENERIC);
    TakeThreadTexts();
    world_.Clock().AdvanceMilliSec(20);
    // One failing read is the end of the draining.
    EXPECT_THAT(TakeThreadTexts(),
                ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(0, 1920) = 0x80004005"));
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(meter_.GetLevels(), ElementsAre(0.0F, 0.0F, IsLevel(LevelOfTwoBlocks)));
    EXPECT_THAT(log_.GetTexts(), IsEmpty());
}

TEST_F(CaptureDevice_LineLevelFailure, OfEveryReadLeavesTheThreadToEndWithTheDevice) {
    world_.Faults().FailAlways(Call_t::CaptureBufferGetCurrentPosition, DSERR_NODRIVER);
    Start();
    world_.Clock().AdvanceMilliSec(40);
    renderer_->Shutdown();
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_TRUE(meter_.WaitForEnd());
    EXPECT_THAT(meter_.GetLevels(), ElementsAre(0.0F, 0.0F, 0.0F));
}

// --- a stopped capture

TEST_F(CaptureDevice_LineLevelStopped, FromTheBeginningSpinsUntilCaptureIsStarted) {
    auto const proxy = renderer_->GetCaptureProxy();
    proxy->StopBufferCapture();
    world_.Journal().Clear();
    ASSERT_TRUE(renderer_->GetLineLevelCallbacks(meter_.MakeCallback()));
    WaitUntilSpinning(proxy);
    EXPECT_EQ(meter_.GetCalls(), 0U);
    EXPECT_EQ(world_.BlockedThreads(), 0U);
    proxy->StartBufferCapture();
    world_.WaitForBlockedThreads(1);
    EXPECT_THAT(meter_.GetLevels(), ElementsAre(0.0F));
    // The thread sees the new buffer as soon as the proxy has it: its read comes before or after its
    // creation.
    EXPECT_THAT(TakeThreadTexts(), AnyOf(IsEmpty(), ElementsAre("GetCurrentPosition()")));
    world_.Clock().AdvanceMilliSec(20);
    // No sleep but the one after the report.
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(0, 1920)",
                                               "Unlock(1920, 0)", "GetCurrentPosition()"));
}

TEST_F(CaptureDevice_LineLevelStopped, DuringASleepSpinsAfterItUntilCaptureIsStarted) {
    Start();
    auto const proxy = renderer_->GetCaptureProxy();
    world_.Clock().AdvanceMilliSec(20);
    proxy->StopBufferCapture();
    world_.Journal().Clear();
    // Time stands still for as long as the thread spins.
    std::thread advancing([this] { world_.Clock().AdvanceMilliSec(20); });
    ASSERT_TRUE(UnitTest::YieldUntil([this] { return world_.BlockedThreads() == 0; }));
    EXPECT_EQ(meter_.GetCalls(), 2U);
    proxy->StartBufferCapture();
    advancing.join();
    // The new buffer's level begins at 0.
    EXPECT_THAT(meter_.GetLevels(), ElementsAre(0.0F, IsLevel(LevelOfOneBlock), 0.0F));
    // Its read comes before or after the creation of the buffer that it sees.
    EXPECT_THAT(TakeThreadTexts(),
                AnyOf(ElementsAre("Sleep(20)"), ElementsAre("Sleep(20)", "GetCurrentPosition()")));
}

TEST_F(CaptureDevice_LineLevelStopped, SpinsOnWhenTheDeviceIsClosedAndEndsAfterOneMoreReport) {
    auto const proxy = renderer_->GetCaptureProxy();
    proxy->StopBufferCapture();
    std::atomic<bool> hadBuffer{false};
    Meter meter([&](float) {
        hadBuffer.store(CaptureProxyPeer::GetBuffer(*proxy) != nullptr);
        return true;
    });
    ASSERT_TRUE(renderer_->GetLineLevelCallbacks(meter.MakeCallback()));
    WaitUntilSpinning(proxy);
    renderer_->Shutdown();
    world_.Journal().Clear();
    // A thread that took the closing for its end would have time to report it.
    for (int i = 0; i < 1000; ++i) {
        std::this_thread::yield();
    }
    EXPECT_EQ(meter.GetCalls(), 0U);
    // The test and the thread, which a closed device has not ended.
    EXPECT_EQ(proxy.use_count(), 2);
    // There is nothing to capture with any more: the new buffer is an empty one.
    proxy->StartBufferCapture();
    EXPECT_FALSE(proxy->IsInitialized());
    world_.WaitForBlockedThreads(1);
    EXPECT_TRUE(hadBuffer.load());
    EXPECT_THAT(meter.GetLevels(), ElementsAre(0.0F));
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_TRUE(meter.WaitForEnd());
    EXPECT_EQ(meter.GetCalls(), 1U);
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Sleep(20)"));
}

TEST_F(CaptureDevice_LineLevelStopped, AndStartedDuringASleepGoesOnWithTheNewBuffer) {
    Start();
    auto const proxy = renderer_->GetCaptureProxy();
    world_.Clock().AdvanceMilliSec(20);
    proxy->StopBufferCapture();
    proxy->StartBufferCapture();
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(meter_.GetLevels(), ElementsAre(0.0F, IsLevel(LevelOfOneBlock), IsLevel(LevelOfOneBlock)));
    EXPECT_EQ(world_.LatestCaptureBuffer().Number(), 2U);
    EXPECT_EQ(world_.LatestCaptureBuffer().LockCount(), 1U);
}

// --- the callback

TEST_F(CaptureDevice_LineLevelCallback, RunsOnAThreadOfItsOwnThatBearsTheName) {
    std::string name;
    std::thread::id id;
    Meter once([&](float) {
        name = Kovra::GetThreadName();
        id = std::this_thread::get_id();
        return false;
    });
    ASSERT_TRUE(renderer_->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_EQ(name, "Media.RendererAudio.LineLevel");
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
    ASSERT_TRUE(renderer_->GetLineLevelCallbacks(counting));
    world_.WaitForBlockedThreads(1);
    ASSERT_TRUE(renderer_->GetLineLevelCallbacks(counting));
    world_.WaitForBlockedThreads(2);
    EXPECT_EQ(firstCounts.load(), 2);
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_EQ(laterCounts.load(), 2);
    EXPECT_EQ(world_.BlockedThreads(), 0U);
}

TEST_F(CaptureDevice_LineLevelCallback, MayUseTheProxyItself) {
    float level = -1.0F;
    int sampled = 0;
    int read = 0;
    int readStopped = 0;
    UnitTest::Frames frames;
    Meter once([&](float) {
        auto const proxy = renderer_->GetCaptureProxy();
        level = proxy->GetLineLevel();
        sampled = proxy->SampleLineLevel();
        world_.OnlyCaptureBuffer().CaptureAtOnce(BlockSamples);
        read = proxy->ReadFrames(frames);
        proxy->StopBufferCapture();
        readStopped = proxy->ReadFrames(frames);
        proxy->StartBufferCapture();
        return false;
    });
    ASSERT_TRUE(renderer_->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_EQ(level, 0.0F);
    EXPECT_EQ(sampled, -30);
    EXPECT_EQ(read, 0);
    EXPECT_EQ(readStopped, -30);
    EXPECT_THAT(frames, SizeIs(1));
    EXPECT_EQ(world_.OnlyCaptureBuffer().Number(), 2U);
}

TEST_F(CaptureDevice_LineLevelCallback, MayStartAndCloseOnTheRenderer) {
    Meter other([](float) { return false; });
    Meter once([&](float) {
        EXPECT_TRUE(renderer_->GetLineLevelCallbacks(other.MakeCallback()));
        EXPECT_TRUE(other.WaitForEnd());
        renderer_->Shutdown();
        return true;
    });
    Start(once);
    EXPECT_EQ(other.GetCalls(), 1U);
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_EQ(once.GetCalls(), 1U);
}

TEST_F(CaptureDevice_LineLevelCallback, RunsOutsideEveryLock) {
    auto const proxy = renderer_->GetCaptureProxy();
    auto& deviceLock = CaptureDevicePeer::GetFields(CaptureProxyPeer::GetDevice(*proxy)).lock;
    auto& bufferLock = UnitTest::CaptureBufferPeer::GetFields(*CaptureProxyPeer::GetBuffer(*proxy)).lock;
    bool isDeviceFree = false;
    bool isBufferFree = false;
    Meter once([&](float) {
        isDeviceFree = UnitTest::CanBeLockedElsewhere(deviceLock);
        isBufferFree = UnitTest::CanBeLockedElsewhere(bufferLock);
        return false;
    });
    ASSERT_TRUE(renderer_->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_TRUE(isDeviceFree);
    EXPECT_TRUE(isBufferFree);
}

// --- the thread's function

TEST_F(CaptureDevice_LineLevelFunction, OnAClosedDeviceGetsTheProxyAndEndsWithoutAReport) {
    // Closed, unlike the renderer's.
    RendererAudioCaptureDevice closed;
    auto const callback = meter_.MakeCallback();
    std::thread([&] {
        CaptureDevicePeer::LineLevel(CaptureDevicePeer::GetWeakFields(closed), callback);
    }).join();
    EXPECT_EQ(meter_.GetCalls(), 0U);
    EXPECT_THAT(TakeThreadTexts(CallSet::CaptureBuffer() |
                                CallSet{Call_t::CaptureCreateCaptureBuffer, Call_t::Win32Sleep}),
                ElementsAre("CreateCaptureBuffer(2147483648, 480000)", "Start(1)"));
    EXPECT_THAT(log_.GetTexts(), IsEmpty());
}

TEST_F(CaptureDevice_LineLevelFunction, OnADeviceThatHasGoneEndsWithoutAReport) {
    std::weak_ptr<CaptureDevicePeer::Fields> gone;
    {
        RendererAudioCaptureDevice device;
        ASSERT_EQ(device.Initialize(), 0);
        gone = CaptureDevicePeer::GetWeakFields(device);
    }
    std::thread([&] {
        CaptureDevicePeer::LineLevel(gone, [](float) -> bool { throw std::runtime_error("called"); });
    }).join();
    EXPECT_THAT(log_.GetTexts(), IsEmpty());
}

TEST_F(CaptureDevice_LineLevelFunction, WithAnEmptyCallbackRaisesBadFunctionCall) {
    auto const proxy = renderer_->GetCaptureProxy();
    auto& device = CaptureProxyPeer::GetDevice(*proxy);
    std::thread([&] {
        EXPECT_THROW(CaptureDevicePeer::LineLevel(CaptureDevicePeer::GetWeakFields(device), nullptr),
                     std::bad_function_call);
    }).join();
    EXPECT_EQ(proxy.use_count(), 2);
}

TEST_F(CaptureDevice_LineLevelFunction, NamesItsThreadAndLeavesItsPriority) {
    Pipeline::SetAudioRenderer(nullptr);
    RendererAudioCaptureDevice device;
    std::string name;
    Kovra::ThreadPriority_t priority{};
    std::thread([&] {
        CaptureDevicePeer::LineLevel(CaptureDevicePeer::GetWeakFields(device), nullptr);
        name = Kovra::GetThreadName();
        priority = Kovra::GetThreadPriority();
    }).join();
    EXPECT_EQ(name, "Media.RendererAudio.LineLevel");
    EXPECT_EQ(priority, Kovra::ThreadPriority_t::Normal);
}

} // namespace
} // namespace Media
