#include <atomic>
#include <thread>

#include "support/module/playbackbuffertest.h"
#include "support/module/runningdevice.h"

namespace UnitTest {
namespace {

/// The service pass runs on threads of its own while the session writes and presents. Bounded by counts. The
/// regions that the two write stay apart, as in a session whose frames come ahead of their time; what is
/// looked for are races of the fields, which the thread sanitizer reports.
class PlaybackBuffer_Concurrency : public PlaybackBufferTest {
protected:
    static constexpr int Rounds = 400;
    /// 480 samples of 10 ms.
    static constexpr std::int64_t FrameNanoSec = 480 * SampleNanoSec;

    PlaybackBuffer_Concurrency() { world.Journal().Enable(false); }

    bool WriteNext() {
        std::int64_t const number = written++;
        return Write(FrameNanoSec * number, 480, static_cast<std::int16_t>(number % 1000 + 1));
    }

    std::int64_t written = 0;
};

TEST_F(PlaybackBuffer_Concurrency, ServicePassesRunWhileTheSessionWritesAndPresents) {
    ASSERT_TRUE(WriteNext());
    auto& lock = RendererAudioPlaybackDevicePeer::GetFields(device).lock;
    std::atomic<bool> isOver{false};
    std::atomic<int> passes{0};
    std::thread servicing([&] {
        while (!isOver || passes < Rounds) {
            boost::mutex::scoped_lock const guard(lock);
            buffer->Service();
            ++passes;
        }
    });
    for (int round = 0; round < Rounds || passes < Rounds; ++round) {
        EXPECT_TRUE(WriteNext());
        auto presentation = Ahead(50 * NanoSecPerMilliSec);
        buffer->Present(presentation);
        world.Clock().AdvanceMilliSec(10);
    }
    isOver = true;
    servicing.join();
    EXPECT_TRUE(Sound().IsPlaying());
    EXPECT_EQ(GetFields().active, 1U);
    EXPECT_EQ(Sound().OpenLocks(), 0U);
}

TEST_F(PlaybackBuffer_Concurrency, ServicePassesClearWhatWasPlayedWhileTheSessionWritesAhead) {
    for (int frame = 0; frame < 50; ++frame) {
        ASSERT_TRUE(WriteNext());
    }
    // The newest frame lies 990 ms ahead. Then 600 ms pass in which the session presents nothing: each pass
    // clears what was played in them, while the session writes half a second on from the newest frame.
    auto& lock = RendererAudioPlaybackDevicePeer::GetFields(device).lock;
    for (int round = 0; round < 20; ++round) {
        for (int frame = 0; frame < 50; ++frame) {
            ASSERT_TRUE(WriteNext());
        }
        auto presentation = Ahead(990 * NanoSecPerMilliSec);
        buffer->Present(presentation);
        std::uint32_t const clearedBefore = GetFields().clearedEnd;
        world.Clock().AdvanceMilliSec(600);
        std::thread servicing([&] {
            for (int pass = 0; pass < 50; ++pass) {
                boost::mutex::scoped_lock const guard(lock);
                buffer->Service();
            }
        });
        for (int frame = 0; frame < 50; ++frame) {
            EXPECT_TRUE(WriteNext());
        }
        servicing.join();
        EXPECT_NE(GetFields().clearedEnd, clearedBefore);
        EXPECT_EQ(GetFields().active, 1U);
        world.Clock().AdvanceMilliSec(400);
    }
    EXPECT_EQ(Sound().OpenLocks(), 0U);
}

TEST_F(PlaybackBuffer_Concurrency, ThePlaybackThreadServicesWhileTheSessionWorks) {
    device.Close();
    ASSERT_TRUE(OpenWithRunningThread(device, world));
    ASSERT_TRUE(WriteNext());
    for (int round = 0; round < Rounds; ++round) {
        // The event of the notification wakes the thread, which services while this one goes on.
        SetEvent(GetFields().notifyPosition->hEventNotify);
        EXPECT_TRUE(WriteNext());
        auto presentation = Ahead(50 * NanoSecPerMilliSec);
        buffer->Present(presentation);
        world.Clock().AdvanceMilliSec(10);
    }
    EXPECT_TRUE(Sound().IsPlaying());
    EXPECT_EQ(GetFields().active, 1U);
    // The session ends: a second later the thread has stopped the buffer.
    log.Clear();
    world.Clock().AdvanceMilliSec(1400);
    EXPECT_FALSE(Sound().IsPlaying());
    EXPECT_EQ(GetFields().active, 0U);
    EXPECT_EQ(TakeLog().size(), 1U);
    device.Close();
}

TEST_F(PlaybackBuffer_Concurrency, SessionsComeAndGoWhileThePlaybackThreadServices) {
    device.Close();
    ASSERT_TRUE(OpenWithRunningThread(device, world));
    for (int round = 0; round < 100; ++round) {
        RendererAudioPlaybackBuffer other(device);
        EXPECT_TRUE(other.WriteFrame(ConstantFrame(Origin, 480, 7)));
        auto presentation = Ahead(0);
        other.Present(presentation);
        if (round % 4 == 0) {
            world.Clock().AdvanceMilliSec(250);
        }
    }
    device.Close();
    EXPECT_THAT(world.LiveBuffers(), IsEmpty());
}

} // namespace
} // namespace UnitTest
