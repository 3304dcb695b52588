#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kovra/thread.h"
#include "kovra/time.h"
#include "rendereraudioplaybackdevice.h"
#include "simulation/testworld.h"
#include "support/deviceview.h"
#include "support/logcapture.h"
#include "support/runningdevice.h"

namespace Media {
namespace {

using Simulation::Call_t;
using Simulation::CallSet;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using UnitTest::DevicePeer;
using UnitTest::NanoSecPerMilliSec;
using UnitTest::RegisteredBuffer;
using BufferPeer = RendererAudioPlaybackBufferPeer;

constexpr char const* WaitWithoutLimit = "WaitForMultipleObjects(1, 4294967295)";

// --- the start of the thread

TEST(PlaybackThread_Start, NamesItselfAndTakesPrioritySixBeforeItLooksWhetherToGoOn) {
    Simulation::TestWorld const world;
    RendererAudioPlaybackDevice device;
    std::string name;
    int priority = 0;
    std::thread([&] {
        DevicePeer::RunPlaybackThread(device);
        name = Kovra::GetThreadName();
        priority = static_cast<int>(Kovra::GetThreadPriority());
    }).join();
    EXPECT_EQ(name, "Media.RendererAudio.Playback");
    EXPECT_EQ(priority, 6);
}

TEST(PlaybackThread_Start, ThreadThatFindsNoPointerLeavesWithoutAWait) {
    Simulation::TestWorld const world;
    RendererAudioPlaybackDevice device;
    RegisteredBuffer buffer(device);
    std::thread([&] { DevicePeer::RunPlaybackThread(device); }).join();
    EXPECT_EQ(world.WaitCalls(), 0U);
    EXPECT_FALSE(buffer.WasServiced());
}

// --- one turn of the loop, on the test's own thread

class PlaybackThread_Turn : public ::testing::Test {
protected:
    PlaybackThread_Turn() { world_.Journal().Enable(); }

    /// One turn whose wait gives `waitResult`.
    void TurnWith(DWORD waitResult) {
        world_.Faults().Fail(Call_t::Win32Wait, 1, waitResult);
        DevicePeer::WaitAndService(device_);
    }

    /// Takes back the wake signals of registrations.
    void Settle() {
        if (world_.IsSignalled(UnitTest::EventsOf(device_).front())) {
            DevicePeer::WaitAndService(device_);
        }
        world_.Journal().Clear();
    }

    Simulation::TestWorld world_;
    RendererAudioPlaybackDevice device_;
};

TEST_F(PlaybackThread_Turn, WithoutABufferWaitsForTheWakeEventWithoutLimit) {
    SetEvent(UnitTest::EventsOf(device_).front());
    world_.Journal().Clear();
    DevicePeer::WaitAndService(device_);
    EXPECT_THAT(world_.Journal().Texts(), ElementsAre(WaitWithoutLimit));
}

TEST_F(PlaybackThread_Turn, WithABufferWaitsForAtMost200MilliSec) {
    RegisteredBuffer const buffer(device_);
    world_.Journal().Clear();
    DevicePeer::WaitAndService(device_);
    EXPECT_THAT(world_.Journal().Texts(), ElementsAre("WaitForMultipleObjects(2, 200)"));
}

TEST_F(PlaybackThread_Turn, WithTwoBuffersWaitsForAllThreeEvents) {
    RegisteredBuffer const first(device_);
    RegisteredBuffer const second(device_);
    world_.Journal().Clear();
    DevicePeer::WaitAndService(device_);
    EXPECT_THAT(world_.Journal().Texts(), ElementsAre("WaitForMultipleObjects(3, 200)"));
}

TEST_F(PlaybackThread_Turn, WakeEventServicesEveryBuffer) {
    RegisteredBuffer first(device_);
    RegisteredBuffer second(device_);
    DevicePeer::WaitAndService(device_);
    EXPECT_TRUE(first.WasServiced());
    EXPECT_TRUE(second.WasServiced());
}

TEST_F(PlaybackThread_Turn, TimeoutServicesEveryBuffer) {
    RegisteredBuffer first(device_);
    RegisteredBuffer second(device_);
    TurnWith(WAIT_TIMEOUT);
    EXPECT_TRUE(first.WasServiced());
    EXPECT_TRUE(second.WasServiced());
}

TEST_F(PlaybackThread_Turn, NotificationServicesItsOwnBufferAlone) {
    RegisteredBuffer first(device_);
    RegisteredBuffer second(device_);
    RegisteredBuffer third(device_);
    RegisteredBuffer* const all[] = {&first, &second, &third};
    Settle();
    for (auto* const signalled : all) {
        for (auto* const buffer : all) {
            buffer->Rearm();
        }
        SetEvent(signalled->GetEvent());
        DevicePeer::WaitAndService(device_);
        for (auto* const buffer : all) {
            EXPECT_EQ(buffer->WasServiced(), buffer == signalled);
        }
        EXPECT_FALSE(world_.IsSignalled(signalled->GetEvent()));
    }
}

TEST_F(PlaybackThread_Turn, IndexBeyondTheListServicesNothing) {
    RegisteredBuffer first(device_);
    RegisteredBuffer second(device_);
    // Three entries: 2 is the last place, 3 the first beyond.
    for (DWORD const result :
         {DWORD{3}, DWORD{4}, DWORD{63}, DWORD{64}, DWORD{WAIT_ABANDONED_0}, DWORD{WAIT_ABANDONED_0 + 1},
          DWORD{WAIT_ABANDONED_0 + 2}, DWORD{257}, DWORD{259}, DWORD{WAIT_FAILED}}) {
        TurnWith(result);
        EXPECT_FALSE(first.WasServiced()) << result;
        EXPECT_FALSE(second.WasServiced()) << result;
    }
    TurnWith(2);
    EXPECT_FALSE(first.WasServiced());
    EXPECT_TRUE(second.WasServiced());
}

TEST_F(PlaybackThread_Turn, FailedWaitWithoutBuffersDoesNothing) {
    TurnWith(WAIT_FAILED);
    EXPECT_EQ(world_.WaitCalls(), 1U);
    EXPECT_TRUE(UnitTest::CanBeLockedElsewhere(DevicePeer::GetFields(device_).lock));
}

TEST_F(PlaybackThread_Turn, IndexFromBeforeARemovalCountsInTheShortenedList) {
    RegisteredBuffer first(device_);
    auto second = std::make_unique<RegisteredBuffer>(device_);
    RegisteredBuffer third(device_);
    // Index 2 meant the second buffer; the third has taken its place. Index 3 meant the third.
    second.reset();
    TurnWith(2);
    EXPECT_FALSE(first.WasServiced());
    EXPECT_TRUE(third.WasServiced());
    third.Rearm();
    TurnWith(3);
    EXPECT_FALSE(first.WasServiced());
    EXPECT_FALSE(third.WasServiced());
}

TEST_F(PlaybackThread_Turn, RemovedBufferIsServicedNoMore) {
    RegisteredBuffer staying(device_);
    RegisteredBuffer leaving(device_);
    device_.RemoveBuffer(leaving.Get());
    DevicePeer::WaitAndService(device_);
    EXPECT_TRUE(staying.WasServiced());
    EXPECT_FALSE(leaving.WasServiced());
}

TEST_F(PlaybackThread_Turn, GivesTheLockBack) {
    RegisteredBuffer const buffer(device_);
    DevicePeer::WaitAndService(device_);
    EXPECT_TRUE(UnitTest::CanBeLockedElsewhere(DevicePeer::GetFields(device_).lock));
}

/// Playback buffers with sound, idle for 600 ms: a service pass asks each for its play cursor.
class PlaybackThread_Pass : public ::testing::Test {
protected:
    PlaybackThread_Pass() {
        DevicePeer::OpenWithoutThread(device_);
        for (int i = 0; i < 3; ++i) {
            buffers_.push_back(std::make_unique<RendererAudioPlaybackBuffer>(device_));
            EXPECT_EQ(buffers_.back()->CreateSoundBuffer(UnitTest::ConstantFrame(1, 2, 0)), 0);
            BufferPeer::GetFields(*buffers_.back()).active.store(1);
        }
        world_.Clock().AdvanceMilliSec(600);
        world_.Journal().Enable();
    }

    /// Numbers of the sound buffers whose play cursor was read, in order.
    std::vector<std::uint32_t> ServicedNumbers() const {
        std::vector<std::uint32_t> numbers;
        for (auto const& record : world_.Journal().Records({Call_t::BufferGetCurrentPosition})) {
            numbers.push_back(record.object);
        }
        return numbers;
    }

    mutable Simulation::TestWorld world_;
    RendererAudioPlaybackDevice device_;
    std::vector<std::unique_ptr<RendererAudioPlaybackBuffer>> buffers_;
};

TEST_F(PlaybackThread_Pass, GoesThroughTheBuffersInTheOrderOfTheList) {
    // Sound buffers 1, 2, 3 in the list 2, 3, 1.
    device_.RemoveBuffer(*buffers_[0]);
    device_.AddBuffer(*buffers_[0]);
    DevicePeer::WaitAndService(device_);
    EXPECT_THAT(ServicedNumbers(), ElementsAre(2, 3, 1));

    world_.Journal().Clear();
    world_.Faults().Fail(Call_t::Win32Wait, 1, WAIT_TIMEOUT);
    DevicePeer::WaitAndService(device_);
    EXPECT_THAT(ServicedNumbers(), ElementsAre(2, 3, 1));
}

TEST_F(PlaybackThread_Pass, ForANotificationAsksItsOwnBufferOnce) {
    DevicePeer::WaitAndService(device_);
    world_.Journal().Clear();
    SetEvent(UnitTest::EventsOf(device_)[2]);
    DevicePeer::WaitAndService(device_);
    EXPECT_THAT(ServicedNumbers(), ElementsAre(2));
}

/// Calls `look` at each reading of the monotonic clock, on the thread that reads.
class WatchedClock : public Kovra::ClockSource {
public:
    WatchedClock(Simulation::ManualClock const& clock, std::function<void()> look)
        : clock_(clock), look_(std::move(look)) {
        Kovra::SetClockSource(this);
    }
    ~WatchedClock() override { Kovra::SetClockSource(&clock_); }

    std::int64_t SystemNanoSec() const override { return clock_.SystemNanoSec(); }
    std::int64_t MonotonicNanoSec() const override {
        look_();
        return clock_.MonotonicNanoSec();
    }

private:
    Simulation::ManualClock const& clock_;
    std::function<void()> const look_;
};

TEST_F(PlaybackThread_Pass, RunsUnderTheDevicesLock) {
    // 600 + 401 ms without a presentation: the pass asks for the time of each buffer, and stops it.
    world_.Clock().AdvanceMilliSec(401);
    for (auto const& buffer : buffers_) {
        auto& record = BufferPeer::GetFields(*buffer);
        record.lastServicedWritePos = record.writePos.load();
    }
    std::vector<bool> wasFree;
    {
        WatchedClock const clock(world_.Clock(), [&] {
            wasFree.push_back(UnitTest::CanBeLockedElsewhere(DevicePeer::GetFields(device_).lock));
        });
        DevicePeer::WaitAndService(device_);
    }
    EXPECT_THAT(wasFree, ElementsAre(false, false, false));
}

// --- the thread itself

class PlaybackThread : public ::testing::Test {
protected:
    PlaybackThread() {
        EXPECT_TRUE(UnitTest::OpenWithRunningThread(device_, world_));
        world_.Journal().Enable();
    }

    /// Returns when the thread has done what it was woken for and waits again.
    void LetRun() { world_.Clock().Advance(0); }

    std::vector<std::string> ThreadTexts(CallSet const& calls = CallSet::All()) {
        return UnitTest::TextsOfThread(world_, UnitTest::PlaybackThreadName, calls);
    }

    Simulation::TestWorld world_;
    RendererAudioPlaybackDevice device_;
};

TEST_F(PlaybackThread, BearsItsName) {
    world_.WaitForBlockedThread("Media.RendererAudio.Playback");
    EXPECT_EQ(world_.BlockedThreads(), 1U);
}

TEST_F(PlaybackThread, WithoutABufferSleepsForEver) {
    auto const calls = world_.WaitCalls();
    world_.Clock().AdvanceMilliSec(3'600'000);
    EXPECT_EQ(world_.WaitCalls(), calls);
    EXPECT_THAT(ThreadTexts(), IsEmpty());
}

TEST_F(PlaybackThread, CloseEndsASleepWithoutABufferAtOnce) {
    device_.Close();
    EXPECT_EQ(world_.Clock().ElapsedNanoSec(), 0);
    EXPECT_EQ(world_.BlockedThreads(), 0U);
    EXPECT_THAT(ThreadTexts(), ElementsAre(WaitWithoutLimit));
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
    world_.Clock().AdvanceMilliSec(1000);
    EXPECT_TRUE(staying.WasServiced());
    EXPECT_FALSE(leaving.WasServiced());
}

TEST_F(PlaybackThread, EventOfARemovedBufferIsWaitedForNoMore) {
    RegisteredBuffer const staying(device_);
    {
        RegisteredBuffer const leaving(device_);
        LetRun();
    }
    LetRun();
    world_.Journal().Clear();
    world_.Clock().AdvanceMilliSec(200);
    EXPECT_THAT(ThreadTexts(), ElementsAre("WaitForMultipleObjects(2, 200)"));
}

TEST_F(PlaybackThread, FailingWaitSpinsWithoutServicingUntilItFailsNoMore) {
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
    ASSERT_TRUE(UnitTest::OpenWithRunningThread(device_, world_));
    buffer.Rearm();
    world_.Clock().AdvanceMilliSec(200);
    EXPECT_TRUE(buffer.WasServiced());
}

TEST_F(PlaybackThread, PassedNotificationPointServicesItsSoundBuffer) {
    RendererAudioPlaybackBuffer buffer(device_);
    ASSERT_EQ(buffer.CreateSoundBuffer(UnitTest::ConstantFrame(1, 960, 7)), 0);
    ASSERT_TRUE(buffer.WriteFrame(UnitTest::ConstantFrame(1, 960, 7)));
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

TEST_F(PlaybackThread, LogsNothingOfItsOwn) {
    UnitTest::LogCapture const log;
    RegisteredBuffer const buffer(device_);
    world_.Clock().AdvanceMilliSec(400);
    world_.Faults().Fail(Call_t::Win32Wait, 1, WAIT_FAILED);
    world_.Clock().AdvanceMilliSec(400);
    device_.Close();
    EXPECT_THAT(log.GetTexts(), IsEmpty());
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
    EXPECT_THAT(UnitTest::BuffersOf(device_), ElementsAre(nullptr));
    EXPECT_EQ(world_.OpenHandles(), 1U);
}

} // namespace
} // namespace Media
