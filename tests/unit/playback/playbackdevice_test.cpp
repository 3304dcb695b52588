// What the playback device does beside directsound/device_test.cpp.

#include "rendereraudioplaybackdevice.h"

#include <atomic>
#include <boost/thread/thread.hpp>
#include <string>
#include <thread>
#include <vector>

#include "support/module/deviceview.h"
#include "support/module/unittest.h"

namespace UnitTest {
namespace {

class PlaybackDeviceTest : public testing::Test {
protected:
    PlaybackDeviceTest() { world.Journal().Enable(); }

    /// What the test's own thread has called since the last time, references left out.
    std::vector<std::string> TakeTexts() {
        auto texts = TextsOfThread(world, "", CallsButReferences());
        world.Journal().Clear();
        return texts;
    }

    void ExpectClosed() {
        EXPECT_EQ(device.GetSound(), nullptr);
        EXPECT_FALSE(HasThread(device));
        EXPECT_EQ(world.LiveSounds(), 0U);
    }

    Simulation::TestWorld world;
    RendererAudioPlaybackDevice device;
};

class PlaybackDevice_Open : public PlaybackDeviceTest {};
class PlaybackDevice_Close : public PlaybackDeviceTest {};
class PlaybackDevice_Buffers : public PlaybackDeviceTest {};
class PlaybackDevice_GetSound : public PlaybackDeviceTest {};

TEST_F(PlaybackDevice_Open, TakesPriorityOnTheDesktopWindowAndStartsTheThread) {
    EXPECT_EQ(device.Open(), 0);
    EXPECT_EQ(world.CooperativeLevel(), 2U);
    EXPECT_EQ(world.CooperativeWindow(), Simulation::World::DesktopWindow());
    EXPECT_TRUE(HasThread(device));
}

TEST_F(PlaybackDevice_Open, StartsTheThreadAlsoWithoutAKnownDevice) {
    world.Device().SetDevices({});
    EXPECT_EQ(device.Open(), 0);
    EXPECT_TRUE(HasThread(device));
}

TEST_F(PlaybackDevice_Open, StartsTheThreadAgainAfterClose) {
    ASSERT_EQ(device.Open(), 0);
    device.Close();
    EXPECT_EQ(device.Open(), 0);
    EXPECT_TRUE(HasThread(device));
}

TEST_F(PlaybackDevice_Open, WithoutDesktopWindowIsRefusedTheCooperativeLevel) {
    world.Faults().Fail(Call_t::Win32DesktopWindow, 1, 0);
    EXPECT_EQ(device.Open(), -1);
    EXPECT_THAT(world.Journal().Records({Call_t::SoundSetCooperativeLevel}), SizeIs(1));
    ExpectClosed();
}

TEST_F(PlaybackDevice_Open, AnyResultButZeroRefusesTheCooperativeLevel) {
    world.Faults().Fail(Call_t::SoundSetCooperativeLevel, 1, S_FALSE);
    EXPECT_EQ(device.Open(), -1);
    ExpectClosed();
}

TEST_F(PlaybackDevice_Close, OfADeviceWhoseThreadFoundNoPointerJoinsAndReleases) {
    DevicePeer::OpenWithoutThread(device);
    // The thread finds no pointer of its own and leaves; only then does its opener come to store it.
    std::atomic<bool> hasLeft{false};
    auto* const thread = new boost::thread([&] {
        DevicePeer::RunPlaybackThread(device);
        hasLeft.store(true);
    });
    while (!hasLeft.load()) {
        std::this_thread::yield();
    }
    DevicePeer::GetFields(device).thread.store(thread);
    device.Close();
    ExpectClosed();
    EXPECT_EQ(world.WaitCalls(), 0U);
}

TEST_F(PlaybackDevice_Close, KeepsTheBuffers) {
    RegisteredBuffer buffer(device);
    ASSERT_EQ(device.Open(), 0);
    device.Close();
    EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr, &buffer.Get()));
    EXPECT_EQ(world.OpenHandles(), 2U);
}

// --- AddBuffer, RemoveBuffer; the lists, registry_test.cpp shows

TEST_F(PlaybackDevice_Buffers, EachGetsAnEventOfItsOwnUntilItIsRemoved) {
    RendererAudioPlaybackBuffer first(device);
    RendererAudioPlaybackBuffer second(device);
    TakeTexts();
    HANDLE const firstEvent = device.AddBuffer(first);
    HANDLE const secondEvent = device.AddBuffer(second);
    EXPECT_THAT(TakeTexts(),
                ElementsAre("CreateEventA(0, 0)", "SetEvent(1)", "CreateEventA(0, 0)", "SetEvent(1)"));
    EXPECT_NE(firstEvent, secondEvent);
    EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr, &first, &second));

    device.RemoveBuffer(first);
    EXPECT_THAT(TakeTexts(), ElementsAre("SetEvent(1)", "CloseHandle(2)"));
    EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr, &second));
    EXPECT_EQ(EventsOf(device).back(), secondEvent);
    // A stranger by now.
    device.RemoveBuffer(first);
    EXPECT_THAT(TakeTexts(), IsEmpty());
    device.RemoveBuffer(second);
    EXPECT_EQ(world.OpenHandles(), 1U);
    EXPECT_EQ(world.SoundCount(), 0U);
}

// --- GetSound

TEST_F(PlaybackDevice_GetSound, GivesAReferenceOfItsOwn) {
    ASSERT_EQ(device.Open(), 0);
    {
        auto const sound = device.GetSound();
        ASSERT_NE(sound, nullptr);
        EXPECT_EQ(world.SoundReferences(), 2U);
    }
    EXPECT_EQ(world.SoundReferences(), 1U);
}

} // namespace
} // namespace UnitTest
