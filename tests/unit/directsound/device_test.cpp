// What the playback device and the capture device do alike.

#include <boost/thread/thread.hpp>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "support/module/captureview.h"
#include "support/module/deviceview.h"
#include "support/module/logcapture.h"
#include "support/module/unittest.h"

namespace UnitTest {
namespace {

constexpr GUID SomeGuid = {0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID NoGuid = {};

/// A device of either direction.
class AnyDevice {
public:
    AnyDevice() = default;
    virtual ~AnyDevice() = default;
    AnyDevice(AnyDevice const&) = delete;
    AnyDevice& operator=(AnyDevice const&) = delete;

    /// Enumerates and opens, as the renderer does.
    virtual int Open() = 0;
    /// The same, with no thread started.
    virtual void OpenWithoutThread() = 0;
    virtual void Close() = 0;
    /// Open, and a device is known.
    virtual bool IsUsable() = 0;
    /// Open, whether or not a device is known.
    virtual bool HasDirectSound() = 0;
    virtual DirectSound::ThreadPointer& Thread() = 0;
    virtual boost::mutex& Lock() = 0;
    virtual std::vector<HANDLE> Events() = 0;
    virtual std::size_t CountBuffers() = 0;
    virtual std::map<std::string, GUID> KnownDevices() = 0;
};

template <class Device, class Peer>
class DeviceOfSomeKind : public AnyDevice {
public:
    void Close() override { device_.Close(); }
    boost::mutex& Lock() override { return Peer::GetFields(device_).lock; }
    std::vector<HANDLE> Events() override { return EventsOf(device_); }
    std::size_t CountBuffers() override { return BuffersOf(device_).size(); }
    std::map<std::string, GUID> KnownDevices() override { return KnownDevicesOf(device_); }

protected:
    Device device_;
};

class PlaybackDevice final : public DeviceOfSomeKind<RendererAudioPlaybackDevice, DevicePeer> {
public:
    int Open() override { return device_.Open(); }
    void OpenWithoutThread() override { DevicePeer::OpenWithoutThread(device_); }
    bool IsUsable() override { return device_.GetSound() != nullptr; }
    bool HasDirectSound() override { return HasSound(device_); }
    DirectSound::ThreadPointer& Thread() override { return DevicePeer::GetFields(device_).thread; }
};

class CaptureDevice final : public DeviceOfSomeKind<RendererAudioCaptureDevice, CaptureDevicePeer> {
public:
    int Open() override { return device_.Initialize(); }
    void OpenWithoutThread() override { EXPECT_EQ(Open(), 0); }
    bool IsUsable() override { return device_.IsOpen(); }
    bool HasDirectSound() override { return HasCapture(device_); }
    DirectSound::ThreadPointer& Thread() override {
        return CaptureDevicePeer::GetFields(device_).captureThread;
    }
};

/// What differs between the directions.
struct Direction {
    char const* name;
    std::unique_ptr<AnyDevice> (*make)();
    Simulation::EndpointSettings& (*endpoints)(Simulation::World&);
    std::size_t (Simulation::World::*countLive)() const;
    std::size_t (Simulation::World::*countMade)() const;
    std::uint32_t (Simulation::World::*countReferences)() const;
    Call_t enumerate;
    Call_t create;
    /// The one call after the creation that can refuse the device.
    Call_t setUp;
    /// The calls of an opening; without the first when devices are known.
    std::vector<std::string> opening;
    char const* release;
};

Direction const Directions[] = {
    {"Playback",
     [] { return std::unique_ptr<AnyDevice>(std::make_unique<PlaybackDevice>()); },
     [](Simulation::World& world) -> Simulation::EndpointSettings& { return world.Device(); },
     &Simulation::World::LiveSounds,
     &Simulation::World::SoundCount,
     &Simulation::World::SoundReferences,
     Call_t::SoundEnumerate,
     Call_t::SoundCreate8,
     Call_t::SoundSetCooperativeLevel,
     {"DirectSound::DirectSoundEnumerateA()", "DirectSound::DirectSoundCreate8()",
      "Win32::GetDesktopWindow()", "Sound::SetCooperativeLevel(2)"},
     "Sound::Release()"},
    {"Capture",
     [] { return std::unique_ptr<AnyDevice>(std::make_unique<CaptureDevice>()); },
     [](Simulation::World& world) -> Simulation::EndpointSettings& { return world.CaptureDevice(); },
     &Simulation::World::LiveCaptures,
     &Simulation::World::CaptureCount,
     &Simulation::World::CaptureReferences,
     Call_t::CaptureEnumerate,
     Call_t::CaptureCreate8,
     Call_t::CaptureGetCaps,
     {EnumerateText, CreateText, GetCapsText},
     "Capture::Release()"}};

/// A world and a device of a direction.
class DeviceTest : public testing::Test {
protected:
    explicit DeviceTest(Direction const& tested)
        : direction(tested), device(tested.make()), endpoints(tested.endpoints(world)) {
        world.Journal().Enable();
    }

    /// What the test's own thread has called since the last time.
    std::vector<std::string> TakeTexts() {
        std::vector<Simulation::CallRecord> own;
        for (auto const& record : world.Journal().Records()) {
            if (record.threadName.empty()) {
                own.push_back(record);
            }
        }
        world.Journal().Clear();
        return FullTexts(own);
    }

    std::size_t CountOf(Call_t call) { return world.Journal().Records({call}).size(); }
    std::size_t CountLive() const { return (world.*direction.countLive)(); }
    std::size_t CountMade() const { return (world.*direction.countMade)(); }

    void ExpectClosed() {
        EXPECT_FALSE(device->IsUsable());
        EXPECT_FALSE(device->HasDirectSound());
        EXPECT_EQ(device->Thread().load(), nullptr);
        EXPECT_EQ(CountLive(), 0U);
        EXPECT_TRUE(CanBeLockedElsewhere(device->Lock()));
    }

    /// Nothing fails any more.
    void ExpectOpens() {
        EXPECT_EQ(device->Open(), 0);
        EXPECT_TRUE(device->IsUsable());
    }

    Direction const direction;
    Simulation::TestWorld world;
    std::unique_ptr<AnyDevice> device;
    Simulation::EndpointSettings& endpoints;
};

class EitherDevice : public DeviceTest, public testing::WithParamInterface<Direction> {
protected:
    EitherDevice() : DeviceTest(GetParam()) {}
};

#define INSTANTIATE_FOR_BOTH(suite)                                      \
    INSTANTIATE_TEST_SUITE_P(Both, suite, testing::ValuesIn(Directions), \
                             [](auto const& test) { return std::string(test.param.name); })

class Device_Construction : public EitherDevice {};
class Device_Enumeration : public EitherDevice {};
class Device_Open : public EitherDevice {};
class Device_Close : public EitherDevice {};
INSTANTIATE_FOR_BOTH(Device_Construction);
INSTANTIATE_FOR_BOTH(Device_Enumeration);
INSTANTIATE_FOR_BOTH(Device_Open);
INSTANTIATE_FOR_BOTH(Device_Close);

// --- construction and destruction

TEST_P(Device_Construction, MakesTheWakeEventAndNothingElse) {
    device.reset();
    TakeTexts();
    device = direction.make();
    EXPECT_THAT(TakeTexts(), ElementsAre("Win32::CreateEventA(0, 0)"));
    EXPECT_THAT(device->Events(), SizeIs(1));
    EXPECT_EQ(device->CountBuffers(), 1U);
    EXPECT_THAT(device->KnownDevices(), IsEmpty());
    ExpectClosed();
}

TEST_P(Device_Construction, SucceedsWithoutWakeEvent) {
    world.Faults().Fail(Call_t::Win32CreateEvent, 1, 0);
    device = direction.make();
    EXPECT_THAT(device->Events(), ElementsAre(nullptr));
    device->OpenWithoutThread();
    EXPECT_TRUE(device->IsUsable());
    world.Journal().Clear();
    device.reset();
    EXPECT_THAT(TakeTexts(), ElementsAre(direction.release));
}

TEST_P(Device_Construction, DestructionOfAClosedDeviceClosesTheWakeEventAlone) {
    TakeTexts();
    device.reset();
    EXPECT_THAT(TakeTexts(), ElementsAre("Win32::CloseHandle(1)"));
}

TEST_P(Device_Construction, DestructionOfAnOpenDeviceClosesItFirst) {
    ASSERT_EQ(device->Open(), 0);
    TakeTexts();
    device.reset();
    EXPECT_THAT(TakeTexts(), ElementsAre("Win32::SetEvent(1)", direction.release, "Win32::CloseHandle(1)"));
    EXPECT_EQ(CountLive(), 0U);
    EXPECT_EQ(world.OpenHandles(), 0U);
}

TEST_P(Device_Construction, WakeEventThatCannotBeClosedIsLeftBehind) {
    HANDLE const wake = device->Events().front();
    world.Faults().Fail(Call_t::Win32CloseHandle, 1, FALSE);
    device.reset();
    EXPECT_EQ(world.OpenHandles(), 1U);
    EXPECT_EQ(CloseHandle(wake), TRUE);
}

// --- enumeration; what is recorded of it, devicetable_test.cpp shows

TEST_P(Device_Enumeration, RecordsWhatDirectSoundReports) {
    endpoints.SetDevices({{std::nullopt, "Primary", ""},
                          {SomeGuid, "Speakers", "driver.sys"},
                          {SomeGuid, std::nullopt, ""},
                          {SomeGuid, "Headset", ""}});
    ExpectOpens();
    auto const known = device->KnownDevices();
    ASSERT_THAT(known, SizeIs(3));
    EXPECT_TRUE(IsEqualGUID(known.at("Primary"), NoGuid));
    EXPECT_TRUE(IsEqualGUID(known.at("Speakers"), SomeGuid));
    EXPECT_TRUE(IsEqualGUID(known.at("Headset"), SomeGuid));
}

TEST_P(Device_Enumeration, FailureGivesMinus26TriesNothingMoreAndIsTriedAgain) {
    world.Faults().Fail(direction.enumerate, 1, DSERR_GENERIC);
    EXPECT_EQ(device->Open(), -26);
    EXPECT_EQ(CountOf(direction.create), 0U);
    ExpectClosed();
    ExpectOpens();
    EXPECT_EQ(CountOf(direction.enumerate), 2U);
}

TEST_P(Device_Enumeration, AnyResultButZeroIsAFailureThatForgetsWhatWasReportedBeforeIt) {
    for (HRESULT const result : {S_FALSE, DSERR_GENERIC}) {
        endpoints.SetEnumerateResult(result);
        EXPECT_EQ(device->Open(), -26);
        EXPECT_THAT(device->KnownDevices(), IsEmpty());
        ExpectClosed();
    }
}

TEST_P(Device_Enumeration, WithoutAnyDeviceTheDefaultOneIsOpenedYetIsNotUsable) {
    endpoints.SetDevices({});
    EXPECT_EQ(device->Open(), 0);
    EXPECT_TRUE(device->HasDirectSound());
    EXPECT_EQ(CountLive(), 1U);
    EXPECT_FALSE(device->IsUsable());
    device->Close();
    ExpectClosed();
}

TEST_P(Device_Enumeration, WithoutAnyDeviceEachOpeningEnumeratesAgainButCreatesNothingMore) {
    endpoints.SetDevices({});
    ASSERT_EQ(device->Open(), 0);
    endpoints.SetDevices({{std::nullopt, "Primary", ""}});
    TakeTexts();
    EXPECT_EQ(device->Open(), 0);
    EXPECT_THAT(TakeTexts(), ElementsAre(direction.opening.front()));
    EXPECT_TRUE(device->IsUsable());
}

TEST_P(Device_Enumeration, FailureOnAnOpenDeviceLeavesItOpen) {
    endpoints.SetDevices({});
    ASSERT_EQ(device->Open(), 0);
    auto* const thread = device->Thread().load();
    world.Faults().Fail(direction.enumerate, 1, DSERR_GENERIC);
    EXPECT_EQ(device->Open(), -26);
    EXPECT_TRUE(device->HasDirectSound());
    EXPECT_EQ(CountLive(), 1U);
    EXPECT_EQ(device->Thread().load(), thread);
}

// --- opening

TEST_P(Device_Open, EnumeratesCreatesAndSetsUp) {
    TakeTexts();
    EXPECT_EQ(device->Open(), 0);
    EXPECT_EQ(TakeTexts(), direction.opening);
    EXPECT_TRUE(device->IsUsable());
    EXPECT_EQ((world.*direction.countReferences)(), 1U);
    EXPECT_TRUE(CanBeLockedElsewhere(device->Lock()));
}

TEST_P(Device_Open, WhenOpenDoesNothing) {
    ASSERT_EQ(device->Open(), 0);
    auto* const thread = device->Thread().load();
    TakeTexts();
    EXPECT_EQ(device->Open(), 0);
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_EQ(device->Thread().load(), thread);
    EXPECT_EQ(CountMade(), 1U);
}

TEST_P(Device_Open, AfterCloseCreatesAgainWithoutEnumerating) {
    ASSERT_EQ(device->Open(), 0);
    device->Close();
    TakeTexts();
    EXPECT_EQ(device->Open(), 0);
    EXPECT_THAT(TakeTexts(),
                testing::ElementsAreArray(direction.opening.begin() + 1, direction.opening.end()));
    EXPECT_EQ(CountMade(), 2U);
    EXPECT_TRUE(device->IsUsable());
}

TEST_P(Device_Open, TakesTheDefaultDeviceWhateverWasEnumerated) {
    endpoints.SetDevices({{SomeGuid, "Speakers", ""}});
    ASSERT_EQ(device->Open(), 0);
    device->Close();
    // The enumerated device is gone, the table still has it, and the default device is there.
    endpoints.SetDevices({});
    ExpectOpens();
}

TEST_P(Device_Open, FromSeveralThreadsAtOnceOpensOnce) {
    std::vector<std::thread> openers;
    for (int i = 0; i < 4; ++i) {
        openers.emplace_back([this] { ExpectOpens(); });
    }
    for (auto& opener : openers) {
        opener.join();
    }
    EXPECT_EQ(CountOf(direction.create), 1U);
    EXPECT_EQ(CountMade(), 1U);
    EXPECT_THAT(device->KnownDevices(), SizeIs(2));
}

TEST_P(Device_Open, SuccessWithNullObjectGives0WithTheDeviceClosed) {
    world.Faults().Fail(direction.create, 1, DS_OK);
    EXPECT_EQ(device->Open(), 0);
    EXPECT_EQ(CountOf(direction.setUp), 0U);
    ExpectClosed();
    ExpectOpens();
    EXPECT_EQ(CountOf(direction.enumerate), 1U);
}

TEST_P(Device_Open, RefusedSettingUpGivesMinus1ReleasesTheObjectAndIsTriedAgain) {
    world.Faults().Fail(direction.setUp, 1, DSERR_ALLOCATED);
    TakeTexts();
    EXPECT_EQ(device->Open(), -1);
    auto expected = direction.opening;
    expected.back() += " = 0x8878000a";
    expected.emplace_back(direction.release);
    EXPECT_EQ(TakeTexts(), expected);
    ExpectClosed();
    EXPECT_THAT(device->KnownDevices(), SizeIs(2));
    ExpectOpens();
    EXPECT_EQ(CountMade(), 2U);
    EXPECT_EQ(CountOf(direction.enumerate), 0U);
}

TEST_P(Device_Open, LogsNothingWhateverFails) {
    LogCapture const log;
    for (Call_t const call : {direction.enumerate, direction.create, direction.setUp}) {
        world.Faults().Fail(call, 1, DSERR_ALLOCATED);
        EXPECT_LT(device->Open(), 0);
    }
    EXPECT_EQ(device->Open(), 0);
    device->Close();
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

// --- every failure of the creation

struct CreateFailure {
    char const* name;
    std::uint32_t result;
    int status;
};

class Device_OpenCreateFailure : public DeviceTest,
                                 public testing::WithParamInterface<std::tuple<Direction, CreateFailure>> {
protected:
    Device_OpenCreateFailure() : DeviceTest(std::get<0>(GetParam())) {}
};

TEST_P(Device_OpenCreateFailure, GivesItsStatusLeavesTheDeviceClosedAndIsTriedAgain) {
    auto const& failure = std::get<1>(GetParam());
    world.Faults().Fail(direction.create, 1, static_cast<HRESULT>(failure.result));
    EXPECT_EQ(device->Open(), failure.status);
    EXPECT_EQ(CountMade(), 0U);
    EXPECT_EQ(CountOf(direction.setUp), 0U);
    EXPECT_THAT(device->KnownDevices(), SizeIs(2));
    ExpectClosed();
    ExpectOpens();
    EXPECT_EQ(CountOf(direction.enumerate), 1U);
}

INSTANTIATE_TEST_SUITE_P(Results, Device_OpenCreateFailure,
                         testing::Combine(testing::ValuesIn(Directions),
                                          testing::Values(CreateFailure{"NoAggregation", 0x80040110, -26},
                                                          CreateFailure{"OutOfMemory", 0x8007000E, -202},
                                                          CreateFailure{"InvalidArgument", 0x80070057, -41},
                                                          CreateFailure{"Allocated", 0x8878000A, -200},
                                                          CreateFailure{"NoDriver", 0x88780078, -25},
                                                          CreateFailure{"UnlistedGeneric", 0x80004005, 0},
                                                          CreateFailure{"UnlistedUninitialized", 0x887800AA,
                                                                        0})),
                         [](auto const& test) {
                             return std::string(std::get<0>(test.param).name) + std::get<1>(test.param).name;
                         });

// --- Close

TEST_P(Device_Close, WhenClosedDoesNothing) {
    TakeTexts();
    device->Close();
    EXPECT_THAT(TakeTexts(), IsEmpty());
    ExpectClosed();
}

TEST_P(Device_Close, SignalsTheWakeEventThenReleasesTheObject) {
    ASSERT_EQ(device->Open(), 0);
    TakeTexts();
    device->Close();
    EXPECT_THAT(TakeTexts(), ElementsAre("Win32::SetEvent(1)", direction.release));
    EXPECT_EQ(world.BlockedThreads(), 0U);
    ExpectClosed();
    device->Close();
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_P(Device_Close, KeepsTheWakeEventAndTheKnownDevices) {
    auto const events = device->Events();
    ASSERT_EQ(device->Open(), 0);
    device->Close();
    EXPECT_EQ(device->Events(), events);
    EXPECT_THAT(device->KnownDevices(), SizeIs(2));
    EXPECT_EQ(world.OpenHandles(), 1U);
}

TEST_P(Device_Close, WithoutAThreadReleasesTheObjectThoughItCannotSignal) {
    device->OpenWithoutThread();
    world.Faults().Fail(Call_t::Win32SetEvent, 1, FALSE);
    device->Close();
    ExpectClosed();
}

TEST_P(Device_Close, OfADeviceWhoseThreadHasLeftStillJoinsAndReleases) {
    device->OpenWithoutThread();
    device->Thread().store(new boost::thread([] {}));
    device->Close();
    ExpectClosed();
}

/// A wake event closed behind the device's back: the world complains within SetEvent, where the test looks.
class Device_CloseOrder : public testing::TestWithParam<Direction> {};
INSTANTIATE_FOR_BOTH(Device_CloseOrder);

TEST_P(Device_CloseOrder, ThreadIsToldToLeaveBeforeTheWakeSignalAndTheObjectGoesAfterIt) {
    AnyDevice* watched = nullptr;
    std::vector<bool> hadThread;
    std::vector<bool> hadDirectSound;
    Simulation::World world([&](std::string const&) {
        if (watched != nullptr) {
            hadThread.push_back(watched->Thread().load() != nullptr);
            hadDirectSound.push_back(watched->HasDirectSound());
        }
    });
    auto const device = GetParam().make();
    device->OpenWithoutThread();
    device->Thread().store(new boost::thread([] {}));
    CloseHandle(device->Events().front());
    watched = device.get();
    device->Close();
    watched = nullptr;
    EXPECT_THAT(hadThread, ElementsAre(false));
    EXPECT_THAT(hadDirectSound, ElementsAre(true));
}

} // namespace
} // namespace UnitTest
