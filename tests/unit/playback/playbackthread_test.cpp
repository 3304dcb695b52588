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
        EXPECT_TRUE(OpenWithRunningThread(device, world));
        world.Journal().Enable();
    }

    /// Returns when the thread has done what it was woken for and waits again.
    void LetRun() { world.Clock().Advance(0); }

    std::vector<std::string> ThreadTexts(CallSet const& calls = CallSet::All()) {
        return TextsOfThread(world, PlaybackThreadName, calls);
    }

    Simulation::TestWorld world;
    RendererAudioPlaybackDevice device;
};

TEST_F(PlaybackThread, WithoutABufferSleepsForEver) {
    world.WaitForBlockedThread("Media.RendererAudio.Playback");
    auto const calls = world.WaitCalls();
    world.Clock().AdvanceMilliSec(3'600'000);
    EXPECT_EQ(world.WaitCalls(), calls);
    EXPECT_THAT(ThreadTexts(), IsEmpty());
}

TEST_F(PlaybackThread, CloseEndsASleepWithoutABufferAtOnce) {
    device.Close();
    EXPECT_EQ(world.Clock().ElapsedNanoSec(), 0);
    EXPECT_EQ(world.BlockedThreads(), 0U);
    EXPECT_THAT(ThreadTexts(), ElementsAre("WaitForMultipleObjects(1, 4294967295)"));
}

TEST_F(PlaybackThread, CloseEndsA200MilliSecWaitAtOnceAfterALastPassOverAllBuffers) {
    RegisteredBuffer first(device);
    RegisteredBuffer second(device);
    LetRun();
    first.Rearm();
    second.Rearm();
    world.Journal().Clear();
    device.Close();
    EXPECT_EQ(world.Clock().ElapsedNanoSec(), 0);
    EXPECT_TRUE(first.WasServiced());
    EXPECT_TRUE(second.WasServiced());
    EXPECT_THAT(ThreadTexts(), ElementsAre("WaitForMultipleObjects(3, 200)"));
}

TEST_F(PlaybackThread, AddedBufferIsServicedAndWaitedForAtOnce) {
    RegisteredBuffer buffer(device);
    LetRun();
    EXPECT_TRUE(buffer.WasServiced());
    EXPECT_EQ(world.Clock().ElapsedNanoSec(), 0);
    world.Journal().Clear();
    SetEvent(buffer.GetEvent());
    LetRun();
    EXPECT_THAT(ThreadTexts(), ElementsAre("WaitForMultipleObjects(2, 200)"));
}

TEST_F(PlaybackThread, ServicesEveryBufferEvery200MilliSec) {
    RegisteredBuffer first(device);
    RegisteredBuffer second(device);
    LetRun();
    first.Rearm();
    second.Rearm();
    world.Clock().Advance(200 * NanoSecPerMilliSec - 1);
    EXPECT_FALSE(first.WasServiced());
    EXPECT_FALSE(second.WasServiced());
    world.Clock().Advance(1);
    EXPECT_TRUE(first.WasServiced());
    EXPECT_TRUE(second.WasServiced());

    world.Journal().Clear();
    world.Clock().AdvanceMilliSec(1000);
    auto const waits = world.Journal().Records({Call_t::Win32Wait});
    ASSERT_THAT(waits, SizeIs(5));
    for (std::size_t i = 0; i < waits.size(); ++i) {
        EXPECT_EQ(waits[i].nanoSec - Simulation::ManualClock::StartMonotonicNanoSec,
                  (400 + 200 * static_cast<std::int64_t>(i)) * NanoSecPerMilliSec);
    }
}

TEST_F(PlaybackThread, NotificationServicesItsBufferAloneAndStartsANewWait) {
    RegisteredBuffer first(device);
    RegisteredBuffer second(device);
    LetRun();
    first.Rearm();
    second.Rearm();
    world.Clock().AdvanceMilliSec(150);
    SetEvent(second.GetEvent());
    LetRun();
    EXPECT_FALSE(first.WasServiced());
    EXPECT_TRUE(second.WasServiced());
    // The next 200 ms count from the notification.
    world.Clock().AdvanceMilliSec(199);
    EXPECT_FALSE(first.WasServiced());
    world.Clock().AdvanceMilliSec(1);
    EXPECT_TRUE(first.WasServiced());
}

TEST_F(PlaybackThread, LastBufferGoneSleepsForEverAgain) {
    {
        RegisteredBuffer const buffer(device);
        LetRun();
    }
    LetRun();
    world.Journal().Clear();
    auto const calls = world.WaitCalls();
    world.Clock().AdvanceMilliSec(10'000);
    EXPECT_EQ(world.WaitCalls(), calls);
}

TEST_F(PlaybackThread, RemovedBufferIsNeverServicedAgain) {
    RegisteredBuffer staying(device);
    RegisteredBuffer leaving(device);
    LetRun();
    device.RemoveBuffer(leaving.Get());
    leaving.Rearm();
    LetRun();
    staying.Rearm();
    world.Journal().Clear();
    world.Clock().AdvanceMilliSec(200);
    EXPECT_THAT(ThreadTexts(), ElementsAre("WaitForMultipleObjects(2, 200)"));
    world.Clock().AdvanceMilliSec(800);
    EXPECT_TRUE(staying.WasServiced());
    EXPECT_FALSE(leaving.WasServiced());
}

TEST_F(PlaybackThread, FailingWaitSpinsWithoutARecordUntilItFailsNoMore) {
    LogCapture const log;
    RegisteredBuffer buffer(device);
    LetRun();
    world.Faults().FailAlways(Call_t::Win32Wait, WAIT_FAILED);
    // Ends the wait that is going on; every later one fails.
    SetEvent(buffer.GetEvent());
    auto const calls = world.WaitCalls();
    world.WaitForWaitCalls(calls + 1000);
    EXPECT_EQ(world.Clock().ElapsedNanoSec(), 0);
    world.Faults().Clear(Call_t::Win32Wait);
    world.WaitForBlockedThreads(1);

    buffer.Rearm();
    world.Clock().AdvanceMilliSec(200);
    EXPECT_TRUE(buffer.WasServiced());
    device.Close();
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

TEST_F(PlaybackThread, FailingWaitServicesNothing) {
    world.Faults().FailAlways(Call_t::Win32Wait, WAIT_FAILED);
    // The registration ends the wait that is going on with one last pass.
    auto const calls = world.WaitCalls();
    RegisteredBuffer other(device);
    world.WaitForWaitCalls(calls + 100);
    device.RemoveBuffer(other.Get());
    other.Rearm();
    device.AddBuffer(other.Get());
    world.WaitForWaitCalls(world.WaitCalls() + 100);
    device.Close();
    EXPECT_FALSE(other.WasServiced());
    world.Faults().Clear(Call_t::Win32Wait);
}

TEST_F(PlaybackThread, CloseEndsASpinningThread) {
    RegisteredBuffer const buffer(device);
    LetRun();
    world.Faults().FailAlways(Call_t::Win32Wait, WAIT_FAILED);
    auto const calls = world.WaitCalls();
    SetEvent(buffer.GetEvent());
    world.WaitForWaitCalls(calls + 10);
    device.Close();
    EXPECT_EQ(device.GetSound(), nullptr);
    EXPECT_EQ(world.LiveSounds(), 0U);
}

TEST_F(PlaybackThread, SixtyThreeBuffersAreServicedAndTheSixtyFourthStallsThemAll) {
    // 64 handles are the most that a wait takes: the wake event and 63 buffers.
    std::vector<std::unique_ptr<RegisteredBuffer>> buffers;
    for (int i = 0; i < 63; ++i) {
        buffers.push_back(std::make_unique<RegisteredBuffer>(device));
    }
    LetRun();
    for (auto const& buffer : buffers) {
        buffer->Rearm();
    }
    world.Clock().AdvanceMilliSec(200);
    for (auto const& buffer : buffers) {
        EXPECT_TRUE(buffer->WasServiced());
    }
    SetEvent(buffers.back()->GetEvent());
    LetRun();
    EXPECT_THAT(ThreadTexts().back(), "WaitForMultipleObjects(64, 200)");

    auto excess = std::make_unique<RegisteredBuffer>(device);
    world.WaitForWaitCalls(world.WaitCalls() + 100);
    EXPECT_EQ(world.BlockedThreads(), 0U);

    // One buffer less, and the thread waits again.
    excess.reset();
    world.WaitForBlockedThreads(1);
    for (auto const& buffer : buffers) {
        buffer->Rearm();
    }
    world.Clock().AdvanceMilliSec(200);
    for (auto const& buffer : buffers) {
        EXPECT_TRUE(buffer->WasServiced());
    }
}

TEST_F(PlaybackThread, ReopenedDeviceServicesTheBuffersThatStayed) {
    RegisteredBuffer buffer(device);
    LetRun();
    device.Close();
    ASSERT_TRUE(OpenWithRunningThread(device, world));
    buffer.Rearm();
    world.Clock().AdvanceMilliSec(200);
    EXPECT_TRUE(buffer.WasServiced());
}

TEST_F(PlaybackThread, PassedNotificationPointServicesItsSoundBuffer) {
    RendererAudioPlaybackBuffer buffer(device);
    ASSERT_EQ(buffer.CreateSoundBuffer(ConstantFrame(1, 960, 7)), 0);
    ASSERT_TRUE(buffer.WriteFrame(ConstantFrame(1, 960, 7)));
    LetRun();
    // Heard in 10 ms, over 20 ms later: the notification point lies behind the frame.
    Kovra::JiffyTime presentation = Kovra::JiffyTime::Now().AddMilliSec(10);
    buffer.Present(presentation);
    auto& record = BufferPeer::GetFields(buffer);
    record.writePos.store(2);
    record.lastServicedWritePos = 0;
    world.Clock().Advance(30 * NanoSecPerMilliSec - 1);
    EXPECT_EQ(record.lastServicedWritePos, 0U);
    world.Clock().Advance(1);
    EXPECT_EQ(record.lastServicedWritePos, 2U);
}

TEST_F(PlaybackThread, BuffersComeAndGoOnSeveralThreadsWhileItRuns) {
    constexpr int Rounds = 100;
    std::vector<std::thread> users;
    for (int user = 0; user < 3; ++user) {
        users.emplace_back([this] {
            for (int i = 0; i < Rounds; ++i) {
                RegisteredBuffer first(device);
                RegisteredBuffer const second(device);
                SetEvent(first.GetEvent());
                device.RemoveBuffer(first.Get());
                first.Rearm();
                SetEvent(second.GetEvent());
                EXPECT_FALSE(first.WasServiced());
            }
        });
    }
    for (auto& user : users) {
        user.join();
    }
    EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr));
    EXPECT_EQ(world.OpenHandles(), 1U);
}

} // namespace
} // namespace UnitTest
