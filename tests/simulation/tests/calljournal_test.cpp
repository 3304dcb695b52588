#include "simulation/calljournal.h"

#include <gmock/gmock.h>

#include "helpers.h"
#include "simulation/testworld.h"

namespace Simulation {
namespace {

using CallJournal_Records = PlayableTest;

using testing::ElementsAre;

TEST(CallJournal_Texts, GivesTheCallsOfABufferInOrder) {
    TestWorld world;
    world.Journal().Enable();
    Playable playable;
    playable.Fill(0, 1'920, 1);
    playable->SetCurrentPosition(10'400);
    playable->SetFrequency(48'000);
    playable->SetVolume(-2'121);
    playable->SetPan(-10'000);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    playable->Stop();
    EXPECT_THAT(
        world.Journal().Texts(CallSet::Buffer()),
        ElementsAre("Lock(0, 1920)", "Unlock(1920, 0)", "SetCurrentPosition(10400)", "SetFrequency(48000)",
                    "SetVolume(-2121)", "SetPan(-10000)", "Play(1)", "Stop()"));
}

TEST(CallJournal_Texts, ShowsFailuresWithTheirResult) {
    TestWorld world;
    world.Journal().Enable();
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_BUFFERLOST);
    Playable playable;
    DWORD bytes = 0;
    void* address = nullptr;
    playable->Lock(0, 1'920, &address, &bytes, nullptr, nullptr, 0);
    EXPECT_THAT(world.Journal().Texts({Call_t::BufferLock}), ElementsAre("Lock(0, 1920) = 0x88780096"));
}

TEST(CallJournal_Texts, CoversDirectSoundAndWin32) {
    TestWorld world;
    world.Journal().Enable();
    {
        TestEvent const event;
        SetEvent(event.handle);
        EXPECT_TRUE(event.IsSignalled());
        Playable const playable;
        DSBPOSITIONNOTIFY point{};
        point.dwOffset = 8;
        point.hEventNotify = event.handle;
        playable.notify->SetNotificationPositions(1, &point);
    }
    // Flags 0x81E8 are 33256.
    EXPECT_THAT(world.Journal().Texts(),
                ElementsAre("CreateEventA(0, 0)", "SetEvent(1)", "WaitForMultipleObjects(1, 0)",
                            "DirectSoundCreate8()", "GetDesktopWindow()", "SetCooperativeLevel(2)",
                            "CreateSoundBuffer(33256, 480000)", "QueryInterface(IDirectSoundBuffer8)",
                            "QueryInterface(IDirectSoundNotify)", "SetNotificationPositions(1, 8, 1)",
                            "Release()", "Release()", "Release()", "Release()", "CloseHandle(1)"));
}

TEST(CallJournal_Texts, CoversCapture) {
    TestWorld world;
    world.Journal().Enable();
    DirectSoundCaptureEnumerateA(nullptr, nullptr);
    {
        Microphone microphone;
        microphone->Start(DSCBSTART_LOOPING);
        world.Clock().AdvanceMilliSec(1);
        EXPECT_EQ(microphone.ReadCursor(), 96U);
        Unlock(microphone, LockOf(microphone, 10, 20));
        microphone->Stop();
    }
    // Flag 0x80000000 is 2147483648; 0x80070057 stands for the callback that is null.
    EXPECT_THAT(
        world.Journal().Texts(),
        ElementsAre("DirectSoundCaptureEnumerateA() = 0x80070057", "DirectSoundCaptureCreate8()",
                    "CreateCaptureBuffer(2147483648, 480000)", "QueryInterface(IDirectSoundCaptureBuffer8)",
                    "Release()", "Start(1)", "GetCurrentPosition()", "Lock(10, 20)", "Unlock(20, 0)",
                    "Stop()", "Release()", "Release()"));
    EXPECT_THAT(world.Journal().Texts(CallSet::CaptureBuffer()),
                ElementsAre("Start(1)", "GetCurrentPosition()", "Lock(10, 20)", "Unlock(20, 0)", "Stop()"));
    EXPECT_THAT(world.Journal().Texts(CallSet::Buffer()), ElementsAre());
}

TEST(CallJournal_Texts, PicksCallsAndObjects) {
    TestWorld world;
    world.Journal().Enable();
    Playable a;
    Playable b;
    a->SetVolume(-1);
    b->SetVolume(-2);
    b->SetPan(-3);
    EXPECT_THAT(world.Journal().Texts({Call_t::BufferSetVolume}),
                ElementsAre("SetVolume(-1)", "SetVolume(-2)"));
    EXPECT_THAT(world.Journal().Texts(CallSet::Buffer(), 2), ElementsAre("SetVolume(-2)", "SetPan(-3)"));
    EXPECT_THAT(world.Journal().Texts(CallSet::Buffer() - CallSet{Call_t::BufferSetPan}, 2),
                ElementsAre("SetVolume(-2)"));
    world.Journal().Clear();
    EXPECT_THAT(world.Journal().Texts(), ElementsAre());
}

TEST_F(CallJournal_Records, TellTimeThreadAndObject) {
    world.Journal().Enable();
    world.Clock().AdvanceMilliSec(3);
    boost::thread([this] {
        Kovra::SetThreadName("render");
        playable->Stop();
    }).join();
    world.Journal().Enable(false);
    playable->Stop();
    std::vector<CallRecord> const records = world.Journal().Records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].call, Call_t::BufferStop);
    EXPECT_EQ(records[0].object, 1U);
    EXPECT_EQ(records[0].threadName, "render");
    EXPECT_EQ(records[0].nanoSec, ManualClock::StartMonotonicNanoSec + 3 * NanoSecPerMilliSec);
    EXPECT_EQ(records[0].result, DS_OK);
    EXPECT_FALSE(records[0].hasFailed);
}

} // namespace
} // namespace Simulation
