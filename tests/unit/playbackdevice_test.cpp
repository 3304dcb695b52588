#include "rendereraudioplaybackdevice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "directsound/statuscodes.h"
#include "simulation/testworld.h"
#include "support/deviceview.h"
#include "support/runningdevice.h"

namespace Media {
namespace {

using Simulation::Call_t;
using Simulation::CallSet;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using UnitTest::DevicePeer;

constexpr GUID SomeGuid = {0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};

class DeviceTest : public ::testing::Test {
protected:
    DeviceTest() { world_.Journal().Enable(); }

    /// What the test's own thread has called since the last time, references left out.
    std::vector<std::string> TakeTexts() {
        auto texts = UnitTest::TextsOfThread(world_, "", UnitTest::CallsButReferences());
        world_.Journal().Clear();
        return texts;
    }

    std::size_t CountOf(Call_t call) { return world_.Journal().Records({call}).size(); }

    void ExpectClosed(RendererAudioPlaybackDevice& device) {
        EXPECT_EQ(device.GetSound(), nullptr);
        EXPECT_FALSE(UnitTest::HasSound(device));
        EXPECT_FALSE(UnitTest::HasThread(device));
        EXPECT_EQ(world_.LiveSounds(), 0U);
    }

    Simulation::TestWorld world_;
};

class PlaybackDevice_Construction : public DeviceTest {};
class PlaybackDevice_Enumeration : public DeviceTest {};
class PlaybackDevice_Open : public DeviceTest {};
class PlaybackDevice_Close : public DeviceTest {};
class PlaybackDevice_Buffers : public DeviceTest {};
class PlaybackDevice_GetSound : public DeviceTest {};

// --- construction and destruction

TEST_F(PlaybackDevice_Construction, MakesTheWakeEventAndNothingElse) {
    RendererAudioPlaybackDevice device;
    EXPECT_THAT(TakeTexts(), ElementsAre("CreateEventA(0, 0)"));
    EXPECT_THAT(UnitTest::EventsOf(device), SizeIs(1));
    EXPECT_THAT(UnitTest::BuffersOf(device), ElementsAre(nullptr));
    EXPECT_THAT(UnitTest::KnownDevicesOf(device), IsEmpty());
    ExpectClosed(device);
}

TEST_F(PlaybackDevice_Construction, SucceedsWithoutWakeEvent) {
    world_.Faults().Fail(Call_t::Win32CreateEvent, 1, 0);
    RendererAudioPlaybackDevice device;
    EXPECT_THAT(UnitTest::EventsOf(device), ElementsAre(nullptr));
    EXPECT_THAT(UnitTest::BuffersOf(device), ElementsAre(nullptr));
}

TEST_F(PlaybackDevice_Construction, DestructionOfAClosedDeviceClosesTheWakeEventAlone) {
    {
        RendererAudioPlaybackDevice const device;
        TakeTexts();
    }
    EXPECT_THAT(TakeTexts(), ElementsAre("CloseHandle(1)"));
}

TEST_F(PlaybackDevice_Construction, DestructionOfAnOpenDeviceClosesItFirst) {
    {
        RendererAudioPlaybackDevice device;
        ASSERT_EQ(device.Open(), 0);
        world_.Journal().Clear();
    }
    EXPECT_THAT(UnitTest::TextsOfThread(
                    world_, "", {Call_t::Win32SetEvent, Call_t::SoundRelease, Call_t::Win32CloseHandle}),
                ElementsAre("SetEvent(1)", "Release()", "CloseHandle(1)"));
    EXPECT_EQ(world_.LiveSounds(), 0U);
    EXPECT_EQ(world_.OpenHandles(), 0U);
}

TEST_F(PlaybackDevice_Construction, WakeEventThatCannotBeClosedIsLeftBehind) {
    HANDLE wake = nullptr;
    {
        RendererAudioPlaybackDevice device;
        wake = UnitTest::EventsOf(device).front();
        world_.Faults().Fail(Call_t::Win32CloseHandle, 1, FALSE);
    }
    EXPECT_EQ(world_.OpenHandles(), 1U);
    EXPECT_EQ(CloseHandle(wake), TRUE);
}

// --- enumeration

TEST_F(PlaybackDevice_Enumeration, RecordsWhatDirectSoundReports) {
    world_.Device().SetDevices({{std::nullopt, "Primary Sound Driver", ""},
                                {SomeGuid, "Speakers", "driver.sys"},
                                {SomeGuid, std::nullopt, ""},
                                {SomeGuid, "Headset", ""}});
    RendererAudioPlaybackDevice device;
    EXPECT_EQ(device.Open(), 0);
    auto const known = UnitTest::KnownDevicesOf(device);
    ASSERT_THAT(known, SizeIs(3));
    EXPECT_EQ(known.count("Headset"), 1U);
    EXPECT_EQ(known.count("Speakers"), 1U);
    ASSERT_EQ(known.count("Primary Sound Driver"), 1U);
    EXPECT_EQ(known.at("Primary Sound Driver").Data1, 0U);
    EXPECT_EQ(known.at("Speakers").Data1, 0x11111111U);
}

TEST_F(PlaybackDevice_Enumeration, TwoDevicesOfOneDescriptionLeaveOneEntry) {
    world_.Device().SetDevices({{SomeGuid, "Speakers", ""}, {SomeGuid, "Speakers", ""}});
    RendererAudioPlaybackDevice device;
    EXPECT_EQ(device.Open(), 0);
    EXPECT_THAT(UnitTest::KnownDevicesOf(device), SizeIs(1));
}

TEST_F(PlaybackDevice_Enumeration, FailureGivesMinus26AndTriesNothingMore) {
    world_.Faults().Fail(Call_t::SoundEnumerate, 1, DSERR_GENERIC);
    RendererAudioPlaybackDevice device;
    EXPECT_EQ(device.Open(), -26);
    EXPECT_EQ(CountOf(Call_t::SoundCreate8), 0U);
    ExpectClosed(device);
}

TEST_F(PlaybackDevice_Enumeration, AnyResultButZeroIsAFailure) {
    world_.Device().SetEnumerateResult(S_FALSE);
    RendererAudioPlaybackDevice device;
    EXPECT_EQ(device.Open(), -26);
    ExpectClosed(device);
}

TEST_F(PlaybackDevice_Enumeration, FailureForgetsWhatWasReportedBeforeIt) {
    world_.Device().SetEnumerateResult(DSERR_GENERIC);
    RendererAudioPlaybackDevice device;
    EXPECT_EQ(device.Open(), -26);
    EXPECT_THAT(UnitTest::KnownDevicesOf(device), IsEmpty());
    EXPECT_TRUE(UnitTest::CanBeLockedElsewhere(DevicePeer::GetFields(device).lock));
}

TEST_F(PlaybackDevice_Enumeration, FailureIsTriedAgainByTheNextOpening) {
    world_.Faults().Fail(Call_t::SoundEnumerate, 1, DSERR_GENERIC);
    RendererAudioPlaybackDevice device;
    EXPECT_EQ(device.Open(), -26);
    EXPECT_EQ(device.Open(), 0);
    EXPECT_EQ(CountOf(Call_t::SoundEnumerate), 2U);
    EXPECT_NE(device.GetSound(), nullptr);
}

TEST_F(PlaybackDevice_Enumeration, WithoutAnyDeviceTheDefaultOneIsOpenedYetDoesNotCountAsOpen) {
    world_.Device().SetDevices({});
    RendererAudioPlaybackDevice device;
    EXPECT_EQ(device.Open(), 0);
    EXPECT_TRUE(UnitTest::HasSound(device));
    EXPECT_TRUE(UnitTest::HasThread(device));
    EXPECT_EQ(device.GetSound(), nullptr);
}

TEST_F(PlaybackDevice_Enumeration, WithoutAnyDeviceEachOpeningEnumeratesAgain) {
    world_.Device().SetDevices({});
    RendererAudioPlaybackDevice device;
    EXPECT_EQ(device.Open(), 0);
    world_.Device().SetDevices({{std::nullopt, "Primary Sound Driver", ""}});
    EXPECT_EQ(device.Open(), 0);
    EXPECT_EQ(CountOf(Call_t::SoundEnumerate), 2U);
    EXPECT_EQ(CountOf(Call_t::SoundCreate8), 1U);
    EXPECT_NE(device.GetSound(), nullptr);
}

TEST_F(PlaybackDevice_Enumeration, FailureOnAnOpenDeviceLeavesItOpen) {
    world_.Device().SetDevices({});
    RendererAudioPlaybackDevice device;
    EXPECT_EQ(device.Open(), 0);
    world_.Faults().Fail(Call_t::SoundEnumerate, 1, DSERR_GENERIC);
    EXPECT_EQ(device.Open(), -26);
    EXPECT_TRUE(UnitTest::HasSound(device));
    EXPECT_TRUE(UnitTest::HasThread(device));
}

// --- Open

TEST_F(PlaybackDevice_Open, EnumeratesCreatesAndTakesPriorityOnTheDesktopWindow) {
    RendererAudioPlaybackDevice device;
    TakeTexts();
    EXPECT_EQ(device.Open(), 0);
    EXPECT_THAT(TakeTexts(), ElementsAre("DirectSoundEnumerateA()", "DirectSoundCreate8()",
                                         "GetDesktopWindow()", "SetCooperativeLevel(2)"));
    EXPECT_NE(device.GetSound(), nullptr);
    EXPECT_TRUE(UnitTest::HasThread(device));
    EXPECT_EQ(world_.CooperativeLevel(), 2U);
    EXPECT_EQ(world_.CooperativeWindow(), Simulation::World::DesktopWindow());
    EXPECT_EQ(world_.SoundReferences(), 1U);
}

TEST_F(PlaybackDevice_Open, WithoutDesktopWindowIsRefusedTheCooperativeLevel) {
    world_.Faults().Fail(Call_t::Win32DesktopWindow, 1, 0);
    RendererAudioPlaybackDevice device;
    EXPECT_EQ(device.Open(), -1);
    EXPECT_EQ(CountOf(Call_t::SoundSetCooperativeLevel), 1U);
    ExpectClosed(device);
}

TEST_F(PlaybackDevice_Open, GivesTheLockBack) {
    RendererAudioPlaybackDevice device;
    EXPECT_EQ(device.Open(), 0);
    EXPECT_TRUE(UnitTest::CanBeLockedElsewhere(DevicePeer::GetFields(device).lock));
}

TEST_F(PlaybackDevice_Open, WhenOpenDoesNothing) {
    RendererAudioPlaybackDevice device;
    ASSERT_EQ(device.Open(), 0);
    auto* const thread = DevicePeer::GetFields(device).thread.load();
    TakeTexts();
    EXPECT_EQ(device.Open(), 0);
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_EQ(DevicePeer::GetFields(device).thread.load(), thread);
    EXPECT_EQ(world_.SoundCount(), 1U);
}

TEST_F(PlaybackDevice_Open, AfterCloseCreatesAgainWithoutEnumerating) {
    RendererAudioPlaybackDevice device;
    ASSERT_EQ(device.Open(), 0);
    device.Close();
    TakeTexts();
    EXPECT_EQ(device.Open(), 0);
    EXPECT_THAT(TakeTexts(),
                ElementsAre("DirectSoundCreate8()", "GetDesktopWindow()", "SetCooperativeLevel(2)"));
    EXPECT_EQ(world_.SoundCount(), 2U);
    EXPECT_NE(device.GetSound(), nullptr);
    EXPECT_TRUE(UnitTest::HasThread(device));
}

TEST_F(PlaybackDevice_Open, TakesTheDefaultDeviceWhateverWasEnumerated) {
    world_.Device().SetDevices({{SomeGuid, "Speakers", ""}});
    RendererAudioPlaybackDevice device;
    ASSERT_EQ(device.Open(), 0);
    device.Close();
    // The enumerated device is gone, the table still has it, and the default device is there.
    world_.Device().SetDevices({});
    EXPECT_EQ(device.Open(), 0);
    EXPECT_NE(device.GetSound(), nullptr);
}

TEST_F(PlaybackDevice_Open, FromSeveralThreadsAtOnceOpensOnce) {
    RendererAudioPlaybackDevice device;
    std::vector<std::thread> openers;
    for (int i = 0; i < 4; ++i) {
        openers.emplace_back([&device] {
            EXPECT_EQ(device.Open(), 0);
            EXPECT_NE(device.GetSound(), nullptr);
        });
    }
    for (auto& opener : openers) {
        opener.join();
    }
    EXPECT_EQ(CountOf(Call_t::SoundCreate8), 1U);
    EXPECT_EQ(world_.SoundCount(), 1U);
}

TEST_F(PlaybackDevice_Open, SuccessWithNullObjectGives0WithTheDeviceClosed) {
    RendererAudioPlaybackDevice device;
    world_.Faults().Fail(Call_t::SoundCreate8, 1, DS_OK);
    EXPECT_EQ(device.Open(), 0);
    EXPECT_EQ(CountOf(Call_t::SoundSetCooperativeLevel), 0U);
    ExpectClosed(device);
    EXPECT_EQ(device.Open(), 0);
    EXPECT_NE(device.GetSound(), nullptr);
}

TEST_F(PlaybackDevice_Open, RefusedCooperativeLevelGivesMinus1AndReleasesDirectSound) {
    RendererAudioPlaybackDevice device;
    world_.Faults().Fail(Call_t::SoundSetCooperativeLevel, 1, DSERR_ALLOCATED);
    EXPECT_EQ(device.Open(), -1);
    EXPECT_EQ(world_.SoundCount(), 1U);
    EXPECT_EQ(CountOf(Call_t::SoundRelease), 1U);
    ExpectClosed(device);
    EXPECT_TRUE(UnitTest::CanBeLockedElsewhere(DevicePeer::GetFields(device).lock));
}

TEST_F(PlaybackDevice_Open, AnyResultButZeroRefusesTheCooperativeLevel) {
    RendererAudioPlaybackDevice device;
    world_.Faults().Fail(Call_t::SoundSetCooperativeLevel, 1, S_FALSE);
    EXPECT_EQ(device.Open(), -1);
    ExpectClosed(device);
}

TEST_F(PlaybackDevice_Open, RefusedCooperativeLevelIsTriedAgainByTheNextOpening) {
    RendererAudioPlaybackDevice device;
    world_.Faults().Fail(Call_t::SoundSetCooperativeLevel, 1, DSERR_ALLOCATED);
    EXPECT_EQ(device.Open(), -1);
    EXPECT_EQ(device.Open(), 0);
    EXPECT_NE(device.GetSound(), nullptr);
    EXPECT_EQ(CountOf(Call_t::SoundEnumerate), 1U);
}

// --- every failure of DirectSoundCreate8

struct CreateFailure {
    char const* name;
    std::uint32_t result;
    int status;
};

class PlaybackDevice_OpenCreateFailure : public ::testing::TestWithParam<CreateFailure> {};

TEST_P(PlaybackDevice_OpenCreateFailure, GivesItsStatusLeavesTheDeviceClosedAndIsTriedAgain) {
    Simulation::TestWorld world;
    world.Journal().Enable();
    RendererAudioPlaybackDevice device;
    world.Faults().Fail(Call_t::SoundCreate8, 1, static_cast<HRESULT>(GetParam().result));
    EXPECT_EQ(device.Open(), GetParam().status);
    EXPECT_EQ(device.GetSound(), nullptr);
    EXPECT_FALSE(UnitTest::HasThread(device));
    EXPECT_EQ(world.SoundCount(), 0U);
    EXPECT_THAT(world.Journal().Records({Call_t::SoundSetCooperativeLevel}), IsEmpty());
    EXPECT_THAT(UnitTest::KnownDevicesOf(device), SizeIs(2));
    EXPECT_TRUE(UnitTest::CanBeLockedElsewhere(DevicePeer::GetFields(device).lock));

    EXPECT_EQ(device.Open(), 0);
    EXPECT_NE(device.GetSound(), nullptr);
    EXPECT_THAT(world.Journal().Records({Call_t::SoundEnumerate}), SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(Results, PlaybackDevice_OpenCreateFailure,
                         ::testing::Values(CreateFailure{"NoAggregation", 0x80040110, -26},
                                           CreateFailure{"OutOfMemory", 0x8007000E, -202},
                                           CreateFailure{"InvalidArgument", 0x80070057, -41},
                                           CreateFailure{"Allocated", 0x8878000A, -200},
                                           CreateFailure{"NoDriver", 0x88780078, -25},
                                           CreateFailure{"UnlistedGeneric", 0x80004005, 0},
                                           CreateFailure{"UnlistedUninitialized", 0x887800AA, 0}),
                         [](auto const& test) { return test.param.name; });

// --- Close

TEST_F(PlaybackDevice_Close, WhenClosedDoesNothing) {
    RendererAudioPlaybackDevice device;
    TakeTexts();
    device.Close();
    EXPECT_THAT(TakeTexts(), IsEmpty());
    ExpectClosed(device);
}

TEST_F(PlaybackDevice_Close, WakesTheThreadAndReleasesDirectSound) {
    RendererAudioPlaybackDevice device;
    ASSERT_TRUE(UnitTest::OpenWithRunningThread(device, world_));
    world_.Journal().Clear();
    device.Close();
    EXPECT_THAT(UnitTest::TextsOfThread(world_, "", CallSet::All()), ElementsAre("SetEvent(1)", "Release()"));
    EXPECT_EQ(world_.BlockedThreads(), 0U);
    ExpectClosed(device);
}

TEST_F(PlaybackDevice_Close, ASecondTimeDoesNothing) {
    RendererAudioPlaybackDevice device;
    ASSERT_EQ(device.Open(), 0);
    device.Close();
    TakeTexts();
    device.Close();
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(PlaybackDevice_Close, KeepsTheWakeEventTheKnownDevicesAndTheBuffers) {
    RendererAudioPlaybackDevice device;
    UnitTest::RegisteredBuffer buffer(device);
    ASSERT_EQ(device.Open(), 0);
    auto const events = UnitTest::EventsOf(device);
    device.Close();
    EXPECT_EQ(UnitTest::EventsOf(device), events);
    EXPECT_THAT(UnitTest::BuffersOf(device), ElementsAre(nullptr, &buffer.Get()));
    EXPECT_THAT(UnitTest::KnownDevicesOf(device), SizeIs(2));
    EXPECT_EQ(world_.OpenHandles(), 2U);
}

TEST_F(PlaybackDevice_Close, ReleasesDirectSoundWhenThereIsNoThread) {
    RendererAudioPlaybackDevice device;
    DevicePeer::OpenWithoutThread(device);
    TakeTexts();
    device.Close();
    EXPECT_THAT(TakeTexts(), ElementsAre("SetEvent(1)"));
    ExpectClosed(device);
}

TEST_F(PlaybackDevice_Close, OfADeviceWhoseThreadHasLeftStillJoinsAndReleases) {
    RendererAudioPlaybackDevice device;
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
    ExpectClosed(device);
    EXPECT_EQ(world_.WaitCalls(), 0U);
}

TEST_F(PlaybackDevice_Close, WakeEventThatCannotBeSignalledDoesNotKeepDirectSound) {
    RendererAudioPlaybackDevice device;
    DevicePeer::OpenWithoutThread(device);
    world_.Faults().Fail(Call_t::Win32SetEvent, 1, FALSE);
    device.Close();
    ExpectClosed(device);
}

TEST(PlaybackDevice_CloseOrder, ThreadIsToldToLeaveBeforeItIsWoken) {
    // A wake event closed behind the device's back: the world complains within SetEvent, where the test
    // looks.
    RendererAudioPlaybackDevice* watched = nullptr;
    std::vector<bool> hadThread;
    std::vector<bool> hadSound;
    Simulation::World world([&](std::string const&) {
        if (watched != nullptr) {
            hadThread.push_back(UnitTest::HasThread(*watched));
            hadSound.push_back(UnitTest::HasSound(*watched));
        }
    });
    RendererAudioPlaybackDevice device;
    DevicePeer::OpenWithoutThread(device);
    DevicePeer::GetFields(device).thread.store(new boost::thread([] {}));
    CloseHandle(UnitTest::EventsOf(device).front());
    watched = &device;
    device.Close();
    watched = nullptr;
    EXPECT_THAT(hadThread, ElementsAre(false));
    EXPECT_THAT(hadSound, ElementsAre(true));
}

// --- AddBuffer, RemoveBuffer

TEST_F(PlaybackDevice_Buffers, EachGetsAnEventOfItsOwn) {
    RendererAudioPlaybackDevice device;
    RendererAudioPlaybackBuffer first(device);
    RendererAudioPlaybackBuffer second(device);
    TakeTexts();
    HANDLE const firstEvent = device.AddBuffer(first);
    HANDLE const secondEvent = device.AddBuffer(second);
    EXPECT_THAT(TakeTexts(),
                ElementsAre("CreateEventA(0, 0)", "SetEvent(1)", "CreateEventA(0, 0)", "SetEvent(1)"));
    EXPECT_NE(firstEvent, secondEvent);
    EXPECT_THAT(UnitTest::BuffersOf(device), ElementsAre(nullptr, &first, &second));

    device.RemoveBuffer(first);
    EXPECT_THAT(TakeTexts(), ElementsAre("SetEvent(1)", "CloseHandle(2)"));
    EXPECT_THAT(UnitTest::BuffersOf(device), ElementsAre(nullptr, &second));
    EXPECT_EQ(UnitTest::EventsOf(device).back(), secondEvent);
    device.RemoveBuffer(second);
}

TEST_F(PlaybackDevice_Buffers, RemovalOfOneNeverAddedClosesNoHandle) {
    RendererAudioPlaybackDevice device;
    RendererAudioPlaybackBuffer const stranger(device);
    TakeTexts();
    device.RemoveBuffer(stranger);
    EXPECT_THAT(TakeTexts(), IsEmpty());

    UnitTest::RegisteredBuffer const known(device);
    TakeTexts();
    device.RemoveBuffer(stranger);
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_EQ(world_.OpenHandles(), 2U);
}

TEST_F(PlaybackDevice_Buffers, ComeAndGoOnAClosedDevice) {
    RendererAudioPlaybackDevice device;
    {
        UnitTest::RegisteredBuffer const buffer(device);
        EXPECT_EQ(world_.OpenHandles(), 2U);
    }
    EXPECT_EQ(world_.OpenHandles(), 1U);
    EXPECT_EQ(world_.SoundCount(), 0U);
}

// --- GetSound

TEST_F(PlaybackDevice_GetSound, IsNullBeforeOpenAndAfterClose) {
    RendererAudioPlaybackDevice device;
    EXPECT_EQ(device.GetSound(), nullptr);
    ASSERT_EQ(device.Open(), 0);
    device.Close();
    EXPECT_EQ(device.GetSound(), nullptr);
}

TEST_F(PlaybackDevice_GetSound, GivesAReferenceOfItsOwn) {
    RendererAudioPlaybackDevice device;
    ASSERT_EQ(device.Open(), 0);
    {
        auto const sound = device.GetSound();
        ASSERT_NE(sound, nullptr);
        EXPECT_EQ(world_.SoundReferences(), 2U);
    }
    EXPECT_EQ(world_.SoundReferences(), 1U);
}

} // namespace
} // namespace Media
