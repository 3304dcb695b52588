// The thread that reads the microphone for nobody.

#include <algorithm>
#include <atomic>
#include <boost/thread/thread.hpp>
#include <string>
#include <thread>
#include <vector>

#include "rendereraudiocapturedevice.h"
#include "support/module/captureview.h"
#include "support/module/logcapture.h"
#include "support/module/unittest.h"

namespace UnitTest {
namespace {

class CaptureDevice_CaptureThread : public testing::Test {
protected:
    CaptureDevice_CaptureThread() {
        EXPECT_EQ(device.Initialize(), 0);
        world.Journal().Enable();
    }
    ~CaptureDevice_CaptureThread() override {
        if (HasCapture(device)) {
            world.Journal().Clear();
            Close();
        }
    }

    /// Returns when the thread sleeps after its first read.
    void Start() {
        ASSERT_TRUE(CaptureDevicePeer::StartCaptureThread(device));
        world.WaitForBlockedThread(CaptureThreadName);
    }

    /// Closes the device while the thread sleeps: the sleep has to pass.
    void Close() {
        std::thread closer([this] { device.Close(); });
        WaitForClosing();
        world.Clock().AdvanceMilliSec(FrameMilliSec);
        closer.join();
    }

    /// Returns when a closing has come to the point where it waits for the thread.
    void WaitForClosing() {
        EXPECT_TRUE(YieldUntil([this] { return !HasCaptureThread(device); }));
        auto const isWake = [](auto const& record) { return record.threadName.empty(); };
        EXPECT_TRUE(YieldUntil([&] {
            auto const signals = world.Journal().Records({Call_t::Win32SetEvent});
            return std::any_of(signals.begin(), signals.end(), isWake);
        }));
    }

    std::vector<std::string> TakeThreadTexts() {
        auto texts =
            TextsOfThread(world, CaptureThreadName, CallSet::CaptureBuffer() | CallSet{Call_t::Win32Sleep});
        world.Journal().Clear();
        return texts;
    }

    /// Every call since the last time.
    std::vector<std::string> TakeTexts() {
        auto texts = FullTexts(world.Journal().Records());
        world.Journal().Clear();
        return texts;
    }

    void ExpectClosed() {
        EXPECT_FALSE(device.IsOpen());
        EXPECT_FALSE(HasCaptureThread(device));
        EXPECT_EQ(world.LiveCaptures(), 0U);
        EXPECT_TRUE(CanBeLockedElsewhere(CaptureDevicePeer::GetFields(device).lock));
    }

    Simulation::TestWorld world;
    RendererAudioCaptureDevice device;
};

TEST_F(CaptureDevice_CaptureThread, IsNotStartedOnAClosedDevice) {
    device.Close();
    EXPECT_FALSE(CaptureDevicePeer::StartCaptureThread(device));
    EXPECT_FALSE(HasCaptureThread(device));
}

TEST_F(CaptureDevice_CaptureThread, IsStartedOnce) {
    Start();
    EXPECT_FALSE(CaptureDevicePeer::StartCaptureThread(device));
    EXPECT_EQ(world.BlockedThreads(), 1U);
    EXPECT_TRUE(CanBeLockedElsewhere(CaptureDevicePeer::GetFields(device).lock));
}

TEST_F(CaptureDevice_CaptureThread, MakesABufferOfItsOwnAndSleepsAfterItsFirstRead) {
    TakeTexts();
    Start();
    // The sleep comes into the journal when it ends.
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Start(1)", "GetCurrentPosition()"));
    EXPECT_THAT(BuffersOf(device), SizeIs(2));
    EXPECT_TRUE(world.OnlyCaptureBuffer().IsCapturing());
}

TEST_F(CaptureDevice_CaptureThread, DrainsEvery20MilliSec) {
    Start();
    TakeThreadTexts();
    world.Clock().Advance(20'000'000 - 1);
    EXPECT_THAT(TakeThreadTexts(), IsEmpty());
    world.Clock().Advance(1);
    EXPECT_THAT(TakeThreadTexts(),
                ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(0, 1920)", "Unlock(1920, 0)"));
    world.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(TakeThreadTexts(),
                ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(1920, 1920)", "Unlock(1920, 0)"));
}

TEST_F(CaptureDevice_CaptureThread, GoesOnRoundTheEndOfTheRing) {
    Start();
    TakeThreadTexts();
    // 251 blocks of a ring of 250.
    world.Clock().AdvanceMilliSec(251 * FrameMilliSec);
    EXPECT_EQ(world.OnlyCaptureBuffer().LockCount(), 251U);
    EXPECT_EQ(CaptureBufferPeer::GetFields(*BuffersOf(device)[1]).frameNumber, 251U);
    EXPECT_EQ(world.OnlyCaptureBuffer().OpenLocks(), 0U);
}

TEST_F(CaptureDevice_CaptureThread, FeedsTheLevel) {
    world.CaptureDevice().SetGenerator(FullScaleSquare);
    Start();
    auto* const buffer = BuffersOf(device)[1];
    EXPECT_EQ(buffer->GetLineLevel(), 0.0F);
    world.Clock().AdvanceMilliSec(20);
    EXPECT_NEAR(buffer->GetLineLevel(), LevelOfOneBlock, LevelTolerance);
    // 15 more blocks: all 16 are full.
    world.Clock().AdvanceMilliSec(300);
    EXPECT_EQ(buffer->GetLineLevel(), 1.0F);
}

TEST_F(CaptureDevice_CaptureThread, FailingReadsAreTriedAgainAfterEachSleep) {
    world.Faults().FailAlways(Call_t::CaptureBufferGetCurrentPosition, DSERR_GENERIC);
    Start();
    TakeThreadTexts();
    world.Clock().AdvanceMilliSec(40);
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Sleep(20)", "GetCurrentPosition() = 0x80004005", "Sleep(20)",
                                               "GetCurrentPosition() = 0x80004005"));
    world.Faults().Clear();
    world.Clock().AdvanceMilliSec(20);
    // Three blocks have come together.
    EXPECT_THAT(TakeThreadTexts(),
                ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(0, 5760)", "Unlock(5760, 0)"));
}

TEST_F(CaptureDevice_CaptureThread, WithoutABufferSleepsOnUntilTheDeviceCloses) {
    world.Faults().FailAlways(Call_t::CaptureCreateCaptureBuffer, DSERR_GENERIC);
    Start();
    TakeThreadTexts();
    world.Clock().AdvanceMilliSec(60);
    EXPECT_EQ(world.Journal().Records({Call_t::CaptureCreateCaptureBuffer}).size(), 0U);
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Sleep(20)", "Sleep(20)", "Sleep(20)"));
    Close();
    ExpectClosed();
}

TEST_F(CaptureDevice_CaptureThread, CloseJoinsItWhichFreesItsBufferBeforeTheDeviceIsReleased) {
    Start();
    TakeTexts();
    Close();
    EXPECT_EQ(world.BlockedThreads(), 0U);
    // The wake event is number 1, the buffer's number 2. No read comes after the last sleep.
    EXPECT_THAT(TakeTexts(),
                ElementsAre("Win32::SetEvent(1)", "Win32::Sleep(20)", "CaptureBuffer::Stop()",
                            "Win32::SetEvent(1)", "Win32::CloseHandle(2)", "CaptureBuffer::Release()",
                            "Capture::Release()", "Capture::Release()"));
    ExpectClosed();
}

TEST_F(CaptureDevice_CaptureThread, CloseWaitsForTheSleepToEnd) {
    Start();
    std::atomic<bool> isClosed{false};
    std::thread closer([&] {
        device.Close();
        isClosed.store(true);
    });
    WaitForClosing();
    world.Clock().Advance(20'000'000 - 1);
    EXPECT_EQ(world.BlockedThreads(), 1U);
    EXPECT_FALSE(isClosed.load());
    EXPECT_EQ(world.LiveCaptures(), 1U);
    world.Clock().Advance(1);
    closer.join();
    ExpectClosed();
}

TEST_F(CaptureDevice_CaptureThread, IsJoinedAlsoByAnInterruptedThread) {
    Start();
    std::atomic<bool> mayClose{false};
    std::atomic<bool> isClosed{false};
    boost::thread closer([&] {
        while (!mayClose.load()) {
            std::this_thread::yield();
        }
        device.Close();
        isClosed.store(true);
    });
    closer.interrupt();
    mayClose.store(true);
    WaitForClosing();
    world.Clock().AdvanceMilliSec(FrameMilliSec);
    closer.join();
    EXPECT_TRUE(isClosed.load());
    ExpectClosed();
}

TEST_F(CaptureDevice_CaptureThread, RunsAgainOnAReopenedDevice) {
    Start();
    world.Journal().Clear();
    Close();
    ASSERT_EQ(device.Initialize(), 0);
    Start();
    TakeThreadTexts();
    world.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(TakeThreadTexts(),
                ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(0, 1920)", "Unlock(1920, 0)"));
    EXPECT_THAT(world.CaptureBuffers(), SizeIs(2));
}

TEST_F(CaptureDevice_CaptureThread, LogsNothing) {
    LogCapture const log;
    Start();
    world.Clock().AdvanceMilliSec(100);
    world.Journal().Clear();
    Close();
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

} // namespace
} // namespace UnitTest
