// The playback thread as it runs.

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "rendereraudioplaybackdevice.h"
#include "support/module/deviceview.h"
#include "support/module/logcapture.h"
#include "support/module/runningdevice.h"

namespace UnitTest {
namespace {

using BufferPeer = RendererAudioPlaybackBufferPeer;

class PlaybackThread : public testing::Test {
protected:
    PlaybackThread() {
        EXPECT_TRUE(OpenWithRunningThread(device_, world_));
        world_.Journal().Enable();
    }

    /// Returns when the thread has done what it was woken for and waits again.
    void LetRun() { world_.Clock().Advance(0); }

    std::vector<std::string> ThreadTexts(CallSet const& calls = CallSet::All()) {
        return TextsOfThread(world_, PlaybackThreadName, calls);
    }

    Simulation::TestWorld world_;
    RendererAudioPlaybackDevice device_;
};

TEST_F(PlaybackThread, WithoutABufferSleepsForEver) {
    world_.WaitForBlockedThread("Media.RendererAudio.Playback");
    auto const calls = world_.WaitCalls();
    world_.Clock().AdvanceMilliSec(3'600'000);
    EXPECT_EQ(world_.WaitCalls(), calls);
    EXPECT_THAT(ThreadTexts(), IsEmpty());
}

TEST_F(PlaybackThread, CloseEndsASleepWithoutABufferAtOnce) {
    device_.Close();
    EXPECT_EQ(world_.Clock().ElapsedNanoSec(), 0);
    EXPECT_EQ(world_.BlockedThreads(), 0U);
    EXPECT_THAT(ThreadTexts(), ElementsAre("WaitForMultipleObjects(1, 4294967295)"));
}

TEST_F(PlaybackThread, CloseEndsA200MilliSecWaitAtOnceAfterALastPassOverAllBuffers) {
    RegisteredBuffer first(device_);
    RegisteredBuffer second(device_);
    LetRun();
    first.Rearm();
    second.Rearm();
    world_.Journal().Clear();
    device_.Close();
    EXPECT_EQ(world_.Clock().ElapsedNanoSec(), 0);
    EXPECT_TRUE(first.WasServiced());
    EXPECT_TRUE(second.WasServiced());
    EXPECT_THAT(ThreadTexts(), ElementsAre("WaitForMultipleObjects(3, 200)"));
}

TEST_F(PlaybackThread, AddedBufferIsServicedAndWaitedForAtOnce) {
    RegisteredBuffer buffer(device_);
    LetRun();
    EXPECT_TRUE(buffer.WasServiced());
    EXPECT_EQ(world_.Clock().ElapsedNanoSec(), 0);
    world_.Journal().Clear();
    SetEvent(buffer.GetEvent());
    LetRun();
    EXPECT_THAT(ThreadTexts(), ElementsAre("WaitForMultipleObjects(2, 200)"));
}

TEST_F(PlaybackThread, ServicesEveryBufferEvery200MilliSec) {
    RegisteredBuffer first(device_);
    RegisteredBuffer second(device_);
    LetRun();
    first.Rearm();
    second.Rearm();
    world_.Clock().Advance(200 * NanoSecPerMilliSec - 1);
    EXPECT_FALSE(first.WasServiced());
    EXPECT_FALSE(second.WasServiced());
    world_.Clock().Advance(1);
    EXPECT_TRUE(first.WasServiced());
    EXPECT_TRUE(second.WasServiced());

    world_.Journal().Clear();
    world_.Clock().AdvanceMilliSec(1000);
    auto const waits = world_.Journal().Records({Call_t::Win32Wait});
    ASSERT_THAT(waits, SizeIs(5));
    for (std::size_t i = 0; i < waits.size(); ++i) {
        EXPECT_EQ(waits[i].nanoSec - Simulation::ManualClock::StartMonotonicNanoSec,
                  (400 + 200 * static_cast<std::int64_t>(i)) * NanoSecPerMilliSec);
    }
}

TEST_F(PlaybackThread, NotificationServicesItsBufferAloneAndStartsANewWait) {
    RegisteredBuffer first(device_);
    RegisteredBuffer second(device_);
    LetRun();
    first.Rearm();
    second.Rearm();
    world_.Clock().AdvanceMilliSec(150);
    SetEvent(second.GetEvent());
    LetRun();
    EXPECT_FALSE(first.WasServiced());
    EXPECT_TRUE(second.WasServiced());
    // The next 200 ms count from the notification.
    world_.Clock().AdvanceMilliSec(199);
    EXPECT_FALSE(first.WasServiced());
    world_.Clock().AdvanceMilliSec(1);
    EXPECT_TRUE(first.WasServiced());
}

TEST_F(PlaybackThread, LastBufferGoneSleepsForEverAgain) {
    {
        RegisteredBuffer const buffer(device_);
        LetRun();
    }
    LetRun();
    world_.Journal().Clear();
    auto const calls = world_.WaitCalls();
    world_.Clock().AdvanceMilliSec(10'000);
    EXPECT_EQ(world_.WaitCalls(), calls);
}

TEST_F(PlaybackThread, RemovedBufferIsNeverServicedAgain) {
    RegisteredBuffer staying(device_);
    RegisteredBuffer leaving(device_);
    LetRun();
    device_.RemoveBuffer(leaving.Get());
    leaving.Rearm();
    LetRun();
    staying.Rearm();
    world_.Journal().Clear();
    world_.Clock().AdvanceMilliSec(200);
    EXPECT_THAT(ThreadTexts(), ElementsAre("WaitForMultipleObjects(2, 200)"));
    world_.Clock().AdvanceMilliSec(800);
    EXPECT_TRUE(staying.WasServiced());
    EXPECT_FALSE(leaving.WasServiced());
}

TEST_F(PlaybackThread, FailingWaitSpinsWithoutARecordUntilItFailsNoMore) {
    LogCapture const log;
    RegisteredBuffer buffer(device_);
    LetRun();
    world_.Faults().FailAlways(Call_t::Win32Wait, WAIT_FAILED);
    // Ends the wait that is going on; every later one fails.
    SetEvent(buffer.GetEvent());
    auto const calls = world_.WaitCalls();
    world_.WaitForWaitCalls(calls + 1000);
    EXPECT_EQ(world_.Clock().ElapsedNanoSec(), 0);
    world_.Faults().Clear(Call_t::Win32Wait);
    world_.WaitForBlockedThreads(1);

    buffer.Rearm();
    world_.Clock().AdvanceMilliSec(200);
    EXPECT_TRUE(buffer.WasServiced());
    device_.Close();
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

TEST_F(PlaybackThread, FailingWaitServicesNothing) {
    world_.Faults().FailAlways(Call_t::Win32Wait, WAIT_FAILED);
    // The registration ends the wait that is going on with one last pass.
    auto const calls = world_.WaitCalls();
    RegisteredBuffer other(device_);
    world_.WaitForWaitCalls(calls + 100);
    device_.RemoveBuffer(other.Get());
    other.Rearm();
    device_.AddBuffer(other.Get());
    world_.WaitForWaitCalls(world_.WaitCalls() + 100);
    device_.Close();
    EXPECT_FALSE(other.WasServiced());
    world_.Faults().Clear(Call_t::Win32Wait);
}

TEST_F(PlaybackThread, CloseEndsASpinningThread) {
    RegisteredBuffer const buffer(device_);
    LetRun();
    world_.Faults().FailAlways(Call_t::Win32Wait, WAIT_FAILED);
    auto const calls = world_.WaitCalls();
    SetEvent(buffer.GetEvent());
    world_.WaitForWaitCalls(calls + 10);
    device_.Close();
    EXPECT_EQ(device_.GetSound(), nullptr);
    EXPECT_EQ(world_.LiveSounds(), 0U);
}

TEST_F(PlaybackThread, SixtyThreeBuffersAreServicedAndTheSixtyFourthStallsThemAll) {
    // 64 handles are the most that a wait takes: the wake event and 63 buffers.
    std::vector<std::unique_ptr<RegisteredBuffer>> buffers;
    for (int i = 0; i < 63; ++i) {
        buffers.push_back(std::make_unique<RegisteredBuffer>(device_));
    }
    LetRun();
    for (auto const& buffer : buffers) {
        buffer->Rearm();
    }
    world_.Clock().AdvanceMilliSec(200);
    for (auto const& buffer : buffers) {
        EXPECT_TRUE(buffer->WasServiced());
    }
    SetEvent(buffers.back()->GetEvent());
    LetRun();
    EXPECT_THAT(ThreadTexts().back(), "WaitForMultipleObjects(64, 200)");

    auto excess = std::make_unique<RegisteredBuffer>(device_);
    world_.WaitForWaitCalls(world_.WaitCalls() + 100);
    EXPECT_EQ(world_.BlockedThreads(), 0U);

    // One buffer less, and the thread waits again.
    excess.reset();
    world_.WaitForBlockedThreads(1);
    for (auto const& buffer : buffers) {
        buffer->Rearm();
    }
    world_.Clock().AdvanceMilliSec(200);
    for (auto const& buffer : buffers) {
        EXPECT_TRUE(buffer->WasServiced());
    }
}

TEST_F(PlaybackThread, ReopenedDeviceServicesTheBuffersThatStayed) {
    RegisteredBuffer buffer(device_);
    LetRun();
    device_.Close();
    ASSERT_TRUE(OpenWithRunningThread(device_, world_));
    buffer.Rearm();
    world_.Clock().AdvanceMilliSec(200);
    EXPECT_TRUE(buffer.WasServiced());
}

TEST_F(PlaybackThread, PassedNotificationPointServicesItsSoundBuffer) {
    RendererAudioPlaybackBuffer buffer(device_);
    ASSERT_EQ(buffer.CreateSoundBuffer(ConstantFrame(1, 960, 7)), 0);
    ASSERT_TRUE(buffer.WriteFrame(ConstantFrame(1, 960, 7)));
    LetRun();
    // Heard in 10 ms, over 20 ms later: the notification point lies behind the frame.
    Kovra::JiffyTime presentation = Kovra::JiffyTime::Now().AddMilliSec(10);
    buffer.Present(presentation);
    auto& record = BufferPeer::GetFields(buffer);
    record.writePos.store(2);
    record.lastServicedWritePos = 0;
    world_.Clock().Advance(30 * NanoSecPerMilliSec - 1);
    EXPECT_EQ(record.lastServicedWritePos, 0U);
    world_.Clock().Advance(1);
    EXPECT_EQ(record.lastServicedWritePos, 2U);
}

TEST_F(PlaybackThread, BuffersComeAndGoOnSeveralThreadsWhileItRuns) {
    constexpr int Rounds = 100;
    std::vector<std::thread> users;
    for (int user = 0; user < 3; ++user) {
        users.emplace_back([this] {
            for (int i = 0; i < Rounds; ++i) {
                RegisteredBuffer first(device_);
                RegisteredBuffer const second(device_);
                SetEvent(first.GetEvent());
                device_.RemoveBuffer(first.Get());
                first.Rearm();
                SetEvent(second.GetEvent());
                EXPECT_FALSE(first.WasServiced());
            }
        });
    }
    for (auto& user : users) {
        user.join();
    }
    EXPECT_THAT(BuffersOf(device_), ElementsAre(nullptr));
    EXPECT_EQ(world_.OpenHandles(), 1U);
}

} // namespace
} // namespace UnitTest
