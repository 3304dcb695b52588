// The start of the playback thread, and one turn of its loop, on a thread of the test's.

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kovra/log.h"
#include "kovra/thread.h"
#include "kovra/time.h"
#include "rendereraudioplaybackdevice.h"
#include "simulation/testworld.h"
#include "support/module/deviceview.h"
#include "support/module/runningdevice.h"

namespace UnitTest {
namespace {

using BufferPeer = RendererAudioPlaybackBufferPeer;

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

class PlaybackThread_Turn : public testing::Test {
protected:
    PlaybackThread_Turn() { world.Journal().Enable(); }

    /// One turn whose wait gives `waitResult`.
    void TurnWith(DWORD waitResult) {
        world.Faults().Fail(Call_t::Win32Wait, 1, waitResult);
        DevicePeer::WaitAndService(device);
    }

    /// Takes back the wake signals of registrations.
    void Settle() {
        if (world.IsSignalled(EventsOf(device).front())) {
            DevicePeer::WaitAndService(device);
        }
        world.Journal().Clear();
    }

    Simulation::TestWorld world;
    RendererAudioPlaybackDevice device;
    std::vector<std::unique_ptr<RegisteredBuffer>> buffers;
};

TEST_F(PlaybackThread_Turn, WithoutABufferWaitsForTheWakeEventWithoutLimit) {
    SetEvent(EventsOf(device).front());
    world.Journal().Clear();
    DevicePeer::WaitAndService(device);
    EXPECT_THAT(world.Journal().Texts(), ElementsAre("WaitForMultipleObjects(1, 4294967295)"));
    // A wait that fails does nothing either.
    TurnWith(WAIT_FAILED);
    EXPECT_TRUE(CanBeLockedElsewhere(DevicePeer::GetFields(device).lock));
}

TEST_F(PlaybackThread_Turn, WithBuffersWaitsForAllEventsAtMost200MilliSecAndGivesTheLockBack) {
    for (char const* const wait : {"WaitForMultipleObjects(2, 200)", "WaitForMultipleObjects(3, 200)"}) {
        buffers.push_back(std::make_unique<RegisteredBuffer>(device));
        world.Journal().Clear();
        DevicePeer::WaitAndService(device);
        EXPECT_THAT(world.Journal().Texts(), ElementsAre(wait));
        EXPECT_TRUE(CanBeLockedElsewhere(DevicePeer::GetFields(device).lock));
    }
}

TEST_F(PlaybackThread_Turn, WakeEventAndTimeoutServiceEveryBuffer) {
    RegisteredBuffer first(device);
    RegisteredBuffer second(device);
    DevicePeer::WaitAndService(device);
    EXPECT_TRUE(first.WasServiced());
    EXPECT_TRUE(second.WasServiced());
    first.Rearm();
    second.Rearm();
    TurnWith(WAIT_TIMEOUT);
    EXPECT_TRUE(first.WasServiced());
    EXPECT_TRUE(second.WasServiced());
}

TEST_F(PlaybackThread_Turn, NotificationServicesItsOwnBufferAlone) {
    RegisteredBuffer first(device);
    RegisteredBuffer second(device);
    RegisteredBuffer third(device);
    RegisteredBuffer* const all[] = {&first, &second, &third};
    Settle();
    for (auto* const signalled : all) {
        for (auto* const buffer : all) {
            buffer->Rearm();
        }
        SetEvent(signalled->GetEvent());
        DevicePeer::WaitAndService(device);
        for (auto* const buffer : all) {
            EXPECT_EQ(buffer->WasServiced(), buffer == signalled);
        }
        EXPECT_FALSE(world.IsSignalled(signalled->GetEvent()));
    }
}

TEST_F(PlaybackThread_Turn, IndexBeyondTheListServicesNothing) {
    RegisteredBuffer first(device);
    RegisteredBuffer second(device);
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

TEST_F(PlaybackThread_Turn, IndexFromBeforeARemovalCountsInTheShortenedList) {
    RegisteredBuffer first(device);
    auto second = std::make_unique<RegisteredBuffer>(device);
    RegisteredBuffer third(device);
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
    RegisteredBuffer staying(device);
    RegisteredBuffer leaving(device);
    device.RemoveBuffer(leaving.Get());
    DevicePeer::WaitAndService(device);
    EXPECT_TRUE(staying.WasServiced());
    EXPECT_FALSE(leaving.WasServiced());
}

/// Playback buffers with sound, idle for 600 ms: a service pass asks each for its play cursor.
class PlaybackThread_Pass : public testing::Test {
protected:
    PlaybackThread_Pass() {
        DevicePeer::OpenWithoutThread(device);
        for (int i = 0; i < 3; ++i) {
            buffers.push_back(std::make_unique<RendererAudioPlaybackBuffer>(device));
            EXPECT_EQ(buffers.back()->CreateSoundBuffer(ConstantFrame(1, 2, 0)), 0);
            BufferPeer::GetFields(*buffers.back()).active.store(1);
        }
        world.Clock().AdvanceMilliSec(600);
        world.Journal().Enable();
    }

    /// Numbers of the sound buffers whose play cursor was read, in order.
    std::vector<std::uint32_t> ServicedNumbers() const {
        std::vector<std::uint32_t> numbers;
        for (auto const& record : world.Journal().Records({Call_t::BufferGetCurrentPosition})) {
            numbers.push_back(record.object);
        }
        return numbers;
    }

    mutable Simulation::TestWorld world;
    RendererAudioPlaybackDevice device;
    std::vector<std::unique_ptr<RendererAudioPlaybackBuffer>> buffers;
};

TEST_F(PlaybackThread_Pass, GoesThroughTheBuffersInTheOrderOfTheList) {
    // Sound buffers 1, 2, 3 in the list 2, 3, 1.
    device.RemoveBuffer(*buffers[0]);
    device.AddBuffer(*buffers[0]);
    DevicePeer::WaitAndService(device);
    EXPECT_THAT(ServicedNumbers(), ElementsAre(2, 3, 1));

    world.Journal().Clear();
    world.Faults().Fail(Call_t::Win32Wait, 1, WAIT_TIMEOUT);
    DevicePeer::WaitAndService(device);
    EXPECT_THAT(ServicedNumbers(), ElementsAre(2, 3, 1));
}

TEST_F(PlaybackThread_Pass, ForANotificationAsksItsOwnBufferOnce) {
    DevicePeer::WaitAndService(device);
    world.Journal().Clear();
    SetEvent(EventsOf(device)[2]);
    DevicePeer::WaitAndService(device);
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
    world.Clock().AdvanceMilliSec(401);
    for (auto const& buffer : buffers) {
        auto& record = BufferPeer::GetFields(*buffer);
        record.lastServicedWritePos = record.writePos.load();
    }
    std::vector<bool> wasFree;
    {
        WatchedClock const clock(world.Clock(), [&] {
            wasFree.push_back(CanBeLockedElsewhere(DevicePeer::GetFields(device).lock));
        });
        DevicePeer::WaitAndService(device);
    }
    EXPECT_THAT(wasFree, ElementsAre(false, false, false));
}

TEST(PlaybackThread_Run, GoesOnAfterAPassThatFails) {
    Simulation::TestWorld world;
    RendererAudioPlaybackDevice device;
    ASSERT_TRUE(OpenWithRunningThread(device, world));
    RegisteredBuffer buffer(device);
    // Only of an active one the time is asked for.
    BufferPeer::GetFields(buffer.Get()).active.store(1);
    bool hasThrown = false;
    {
        WatchedClock const clock(world.Clock(), [&] {
            if (std::string(Kovra::GetThreadName()) == PlaybackThreadName) {
                hasThrown = true;
                throw 42;
            }
        });
        world.Clock().AdvanceMilliSec(200);
    }
    EXPECT_TRUE(hasThrown);
    buffer.Rearm();
    world.Clock().AdvanceMilliSec(200);
    EXPECT_TRUE(buffer.WasServiced());
}

} // namespace
} // namespace UnitTest
