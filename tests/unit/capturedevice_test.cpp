#include "rendereraudiocapturedevice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <boost/thread/thread.hpp>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "directsound/statuscodes.h"
#include "simulation/testworld.h"
#include "support/captureview.h"
#include "support/logcapture.h"

namespace Media {
namespace {

using Simulation::Call_t;
using Simulation::CallSet;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using UnitTest::CaptureDevicePeer;
using UnitTest::CaptureThreadName;
using UnitTest::CreateText;
using UnitTest::EnumerateText;
using UnitTest::GetCapsText;

constexpr GUID FirstGuid = {0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID SecondGuid = {0x99999999, 0x8888, 0x7777, {8, 7, 6, 5, 4, 3, 2, 1}};
constexpr GUID ZeroGuid = {};

bool AreEqual(GUID const& a, GUID const& b) {
    return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}

class CaptureDeviceTest : public ::testing::Test {
protected:
    CaptureDeviceTest() { world_.Journal().Enable(); }

    /// Every call since the last time.
    std::vector<std::string> TakeTexts(CallSet const& calls = CallSet::All()) {
        auto texts = UnitTest::FullTexts(world_.Journal().Records(calls));
        world_.Journal().Clear();
        return texts;
    }

    std::size_t CountOf(Call_t call) { return world_.Journal().Records({call}).size(); }

    bool IsLockFree(RendererAudioCaptureDevice& device) {
        return UnitTest::CanBeLockedElsewhere(CaptureDevicePeer::GetFields(device).lock);
    }

    void ExpectClosed(RendererAudioCaptureDevice& device) {
        EXPECT_FALSE(device.IsOpen());
        EXPECT_FALSE(UnitTest::HasCapture(device));
        EXPECT_FALSE(UnitTest::HasCaptureThread(device));
        EXPECT_EQ(world_.LiveCaptures(), 0U);
        EXPECT_TRUE(IsLockFree(device));
    }

    Simulation::TestWorld world_;
};

class CaptureDevice_Construction : public CaptureDeviceTest {};
class CaptureDevice_Enumeration : public CaptureDeviceTest {};
class CaptureDevice_Initialize : public CaptureDeviceTest {};
class CaptureDevice_Open : public CaptureDeviceTest {};
class CaptureDevice_Close : public CaptureDeviceTest {};
class CaptureDevice_StartLineLevel : public CaptureDeviceTest {};

// --- construction and destruction

TEST_F(CaptureDevice_Construction, MakesTheWakeEventAndNothingElse) {
    RendererAudioCaptureDevice device;
    EXPECT_THAT(TakeTexts(), ElementsAre("Win32::CreateEventA(0, 0)"));
    EXPECT_THAT(UnitTest::EventsOf(device), SizeIs(1));
    EXPECT_THAT(UnitTest::BuffersOf(device), ElementsAre(nullptr));
    EXPECT_THAT(UnitTest::KnownDevicesOf(device), IsEmpty());
    EXPECT_EQ(CaptureDevicePeer::GetFields(device).caps.dwSize, 16U);
    ExpectClosed(device);
}

TEST_F(CaptureDevice_Construction, SucceedsWithoutWakeEvent) {
    world_.Faults().Fail(Call_t::Win32CreateEvent, 1, 0);
    {
        RendererAudioCaptureDevice device;
        EXPECT_THAT(UnitTest::EventsOf(device), ElementsAre(nullptr));
        EXPECT_EQ(device.Initialize(), 0);
        EXPECT_TRUE(device.IsOpen());
        world_.Journal().Clear();
    }
    EXPECT_THAT(TakeTexts(), ElementsAre("Capture::Release()"));
}

TEST_F(CaptureDevice_Construction, DestructionOfAClosedDeviceClosesTheWakeEventAlone) {
    {
        RendererAudioCaptureDevice const device;
        TakeTexts();
    }
    EXPECT_THAT(TakeTexts(), ElementsAre("Win32::CloseHandle(1)"));
}

TEST_F(CaptureDevice_Construction, DestructionOfAnOpenDeviceClosesItFirst) {
    {
        RendererAudioCaptureDevice device;
        ASSERT_EQ(device.Initialize(), 0);
        TakeTexts();
    }
    EXPECT_THAT(TakeTexts(),
                ElementsAre("Win32::SetEvent(1)", "Capture::Release()", "Win32::CloseHandle(1)"));
    EXPECT_EQ(world_.OpenHandles(), 0U);
}

TEST_F(CaptureDevice_Construction, DestructionBeforeABufferLeavesTheBufferUsableAndClosesEveryEvent) {
    auto device = std::make_unique<RendererAudioCaptureDevice>();
    ASSERT_EQ(device->Initialize(), 0);
    RendererAudioCaptureBuffer buffer(*device);
    ASSERT_EQ(buffer.Create(), 0);
    device.reset();
    EXPECT_TRUE(buffer.IsInitialized());
    EXPECT_EQ(buffer.SampleLineLevel(), -30);
    buffer.Close();
    EXPECT_FALSE(buffer.IsInitialized());
    EXPECT_EQ(buffer.Create(), -27);
    EXPECT_EQ(world_.OpenHandles(), 0U);
}

// --- enumeration

TEST_F(CaptureDevice_Enumeration, RecordsWhatDirectSoundReports) {
    world_.CaptureDevice().SetDevices({{std::nullopt, "Primary Sound Capture Driver", ""},
                                       {FirstGuid, "Microphone", "driver.sys"},
                                       {FirstGuid, std::nullopt, ""},
                                       {SecondGuid, "Headset", ""}});
    RendererAudioCaptureDevice device;
    EXPECT_EQ(device.Initialize(), 0);
    auto const known = UnitTest::KnownDevicesOf(device);
    ASSERT_THAT(known, SizeIs(3));
    EXPECT_TRUE(AreEqual(known.at("Primary Sound Capture Driver"), ZeroGuid));
    EXPECT_TRUE(AreEqual(known.at("Microphone"), FirstGuid));
    EXPECT_TRUE(AreEqual(known.at("Headset"), SecondGuid));
}

TEST_F(CaptureDevice_Enumeration, ADeviceWithoutDescriptionIsNoDevice) {
    world_.CaptureDevice().SetDevices({{FirstGuid, std::nullopt, ""}});
    RendererAudioCaptureDevice device;
    EXPECT_EQ(device.Initialize(), 0);
    EXPECT_THAT(UnitTest::KnownDevicesOf(device), IsEmpty());
    EXPECT_FALSE(device.IsOpen());
}

TEST_F(CaptureDevice_Enumeration, OfTwoDevicesOfOneDescriptionTheLaterGuidStands) {
    world_.CaptureDevice().SetDevices({{FirstGuid, "Microphone", ""}, {SecondGuid, "Microphone", ""}});
    RendererAudioCaptureDevice device;
    EXPECT_EQ(device.Initialize(), 0);
    auto const known = UnitTest::KnownDevicesOf(device);
    ASSERT_THAT(known, SizeIs(1));
    EXPECT_TRUE(AreEqual(known.at("Microphone"), SecondGuid));
}

TEST_F(CaptureDevice_Enumeration, ALaterNullGuidOfTheSameDescriptionLeavesTheEarlierGuid) {
    world_.CaptureDevice().SetDevices({{FirstGuid, "Microphone", ""}, {std::nullopt, "Microphone", ""}});
    RendererAudioCaptureDevice device;
    EXPECT_EQ(device.Initialize(), 0);
    EXPECT_TRUE(AreEqual(UnitTest::KnownDevicesOf(device).at("Microphone"), FirstGuid));
}

TEST_F(CaptureDevice_Enumeration, FailureGivesMinus26AndTriesNothingMore) {
    RendererAudioCaptureDevice device;
    world_.Faults().Fail(Call_t::CaptureEnumerate, 1, DSERR_GENERIC);
    EXPECT_EQ(device.Initialize(), -26);
    EXPECT_EQ(CountOf(Call_t::CaptureCreate8), 0U);
    ExpectClosed(device);
}

TEST_F(CaptureDevice_Enumeration, AnyResultButZeroIsAFailure) {
    world_.CaptureDevice().SetEnumerateResult(S_FALSE);
    RendererAudioCaptureDevice device;
    EXPECT_EQ(device.Initialize(), -26);
    ExpectClosed(device);
}

TEST_F(CaptureDevice_Enumeration, FailureForgetsWhatWasReportedBeforeIt) {
    world_.CaptureDevice().SetEnumerateResult(DSERR_GENERIC);
    RendererAudioCaptureDevice device;
    EXPECT_EQ(device.Initialize(), -26);
    EXPECT_THAT(UnitTest::KnownDevicesOf(device), IsEmpty());
    EXPECT_TRUE(IsLockFree(device));
}

TEST_F(CaptureDevice_Enumeration, FailureIsTriedAgainByTheNextInitialize) {
    RendererAudioCaptureDevice device;
    world_.Faults().Fail(Call_t::CaptureEnumerate, 1, DSERR_GENERIC);
    EXPECT_EQ(device.Initialize(), -26);
    EXPECT_EQ(device.Initialize(), 0);
    EXPECT_EQ(CountOf(Call_t::CaptureEnumerate), 2U);
    EXPECT_TRUE(device.IsOpen());
}

TEST_F(CaptureDevice_Enumeration, WithoutAnyDeviceTheDefaultOneIsOpenedYetDoesNotCountAsOpen) {
    world_.CaptureDevice().SetDevices({});
    RendererAudioCaptureDevice device;
    EXPECT_EQ(device.Initialize(), 0);
    EXPECT_TRUE(UnitTest::HasCapture(device));
    EXPECT_EQ(world_.LiveCaptures(), 1U);
    EXPECT_FALSE(device.IsOpen());
}

TEST_F(CaptureDevice_Enumeration, WithoutAnyDeviceBuffersAndLineLevelsAreRefused) {
    world_.CaptureDevice().SetDevices({});
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    TakeTexts();
    RendererAudioCaptureBuffer buffer(device);
    EXPECT_EQ(buffer.Create(), -27);
    EXPECT_FALSE(device.StartLineLevel([](float) { return true; }));
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(CaptureDevice_Enumeration, WithoutAnyDeviceEachInitializeEnumeratesAgainButCreatesNothingMore) {
    world_.CaptureDevice().SetDevices({});
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    world_.CaptureDevice().SetDevices({{FirstGuid, "Microphone", ""}});
    TakeTexts();
    EXPECT_EQ(device.Initialize(), 0);
    EXPECT_THAT(TakeTexts(), ElementsAre(EnumerateText));
    EXPECT_TRUE(device.IsOpen());
}

TEST_F(CaptureDevice_Enumeration, FailureOnAnOpenDeviceLeavesItOpen) {
    world_.CaptureDevice().SetDevices({});
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    world_.Faults().Fail(Call_t::CaptureEnumerate, 1, DSERR_GENERIC);
    EXPECT_EQ(device.Initialize(), -26);
    EXPECT_TRUE(UnitTest::HasCapture(device));
    EXPECT_EQ(world_.LiveCaptures(), 1U);
}

// --- Initialize

TEST_F(CaptureDevice_Initialize, EnumeratesCreatesAndReadsTheCapabilities) {
    RendererAudioCaptureDevice device;
    TakeTexts();
    EXPECT_EQ(device.Initialize(), 0);
    EXPECT_THAT(TakeTexts(), ElementsAre(EnumerateText, CreateText, GetCapsText));
    EXPECT_TRUE(device.IsOpen());
    EXPECT_TRUE(UnitTest::HasCapture(device));
    EXPECT_EQ(world_.CaptureReferences(), 1U);
    // Mono or stereo, says the simulated device.
    EXPECT_EQ(CaptureDevicePeer::GetFields(device).caps.dwChannels, 2U);
    EXPECT_TRUE(IsLockFree(device));
}

TEST_F(CaptureDevice_Initialize, StartsNoThread) {
    RendererAudioCaptureDevice device;
    EXPECT_EQ(device.Initialize(), 0);
    EXPECT_FALSE(UnitTest::HasCaptureThread(device));
}

TEST_F(CaptureDevice_Initialize, ASecondTimeNeitherEnumeratesNorCreates) {
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    TakeTexts();
    EXPECT_EQ(device.Initialize(), 0);
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(CaptureDevice_Initialize, AfterCloseCreatesAgainWithoutEnumerating) {
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    device.Close();
    TakeTexts();
    EXPECT_EQ(device.Initialize(), 0);
    EXPECT_THAT(TakeTexts(), ElementsAre(CreateText, GetCapsText));
    EXPECT_EQ(world_.CaptureCount(), 2U);
    EXPECT_TRUE(device.IsOpen());
}

TEST_F(CaptureDevice_Initialize, TakesTheDefaultDeviceWhateverWasEnumerated) {
    world_.CaptureDevice().SetDevices({{FirstGuid, "Microphone", ""}});
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    device.Close();
    // The enumerated device is gone, the table still has it, and the default device is there.
    world_.CaptureDevice().SetDevices({});
    EXPECT_EQ(device.Initialize(), 0);
    EXPECT_TRUE(device.IsOpen());
}

TEST_F(CaptureDevice_Initialize, SuccessWithNullObjectGives0WithTheDeviceClosed) {
    RendererAudioCaptureDevice device;
    world_.Faults().Fail(Call_t::CaptureCreate8, 1, DS_OK);
    EXPECT_EQ(device.Initialize(), 0);
    EXPECT_EQ(CountOf(Call_t::CaptureGetCaps), 0U);
    ExpectClosed(device);
    EXPECT_EQ(device.Initialize(), 0);
    EXPECT_TRUE(device.IsOpen());
    EXPECT_EQ(CountOf(Call_t::CaptureEnumerate), 1U);
}

TEST_F(CaptureDevice_Initialize, UnreadableCapabilitiesGiveMinus1AndReleaseTheObject) {
    RendererAudioCaptureDevice device;
    TakeTexts();
    world_.Faults().Fail(Call_t::CaptureGetCaps, 1, DSERR_GENERIC);
    EXPECT_EQ(device.Initialize(), -1);
    EXPECT_THAT(TakeTexts(), ElementsAre(EnumerateText, CreateText, "Capture::GetCaps() = 0x80004005",
                                         "Capture::Release()"));
    ExpectClosed(device);
    EXPECT_THAT(UnitTest::KnownDevicesOf(device), SizeIs(2));
}

TEST_F(CaptureDevice_Initialize, UnreadableCapabilitiesAreTriedAgain) {
    RendererAudioCaptureDevice device;
    world_.Faults().Fail(Call_t::CaptureGetCaps, 1, E_OUTOFMEMORY);
    EXPECT_EQ(device.Initialize(), -1);
    EXPECT_EQ(device.Initialize(), 0);
    EXPECT_TRUE(device.IsOpen());
    EXPECT_EQ(world_.CaptureCount(), 2U);
    EXPECT_EQ(world_.LiveCaptures(), 1U);
}

TEST_F(CaptureDevice_Initialize, LogsNothingWhateverFails) {
    UnitTest::LogCapture const log;
    RendererAudioCaptureDevice device;
    for (Call_t const call : {Call_t::CaptureEnumerate, Call_t::CaptureCreate8, Call_t::CaptureGetCaps}) {
        world_.Faults().Fail(call, 1, DSERR_ALLOCATED);
        EXPECT_LT(device.Initialize(), 0);
    }
    EXPECT_EQ(device.Initialize(), 0);
    device.Close();
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

// --- every failure of DirectSoundCaptureCreate8

struct CreateFailure {
    char const* name;
    std::uint32_t result;
    int status;
};

class CaptureDevice_CreateFailure : public CaptureDeviceTest,
                                    public ::testing::WithParamInterface<CreateFailure> {
protected:
    CaptureDevice_CreateFailure() {
        world_.Faults().Fail(Call_t::CaptureCreate8, 1, static_cast<HRESULT>(GetParam().result));
    }

    void ExpectUntouched(RendererAudioCaptureDevice& device) {
        EXPECT_EQ(world_.CaptureCount(), 0U);
        EXPECT_EQ(CountOf(Call_t::CaptureGetCaps), 0U);
        ExpectClosed(device);
    }
};

TEST_P(CaptureDevice_CreateFailure, OfInitializeGivesItsStatusLeavesTheDeviceClosedAndIsTriedAgain) {
    RendererAudioCaptureDevice device;
    EXPECT_EQ(device.Initialize(), GetParam().status);
    ExpectUntouched(device);
    EXPECT_THAT(UnitTest::KnownDevicesOf(device), SizeIs(2));

    EXPECT_EQ(device.Initialize(), 0);
    EXPECT_TRUE(device.IsOpen());
    EXPECT_EQ(CountOf(Call_t::CaptureEnumerate), 1U);
}

TEST_P(CaptureDevice_CreateFailure, OfOpenGivesTheSame) {
    RendererAudioCaptureDevice device;
    EXPECT_EQ(device.Open(), GetParam().status);
    ExpectUntouched(device);
    EXPECT_EQ(device.Open(), 0);
    EXPECT_TRUE(UnitTest::HasCapture(device));
}

INSTANTIATE_TEST_SUITE_P(Results, CaptureDevice_CreateFailure,
                         ::testing::Values(CreateFailure{"NoAggregation", 0x80040110, -26},
                                           CreateFailure{"OutOfMemory", 0x8007000E, -202},
                                           CreateFailure{"InvalidArgument", 0x80070057, -41},
                                           CreateFailure{"Allocated", 0x8878000A, -200},
                                           CreateFailure{"NoDriver", 0x88780078, -25},
                                           CreateFailure{"UnlistedGeneric", 0x80004005, 0},
                                           CreateFailure{"UnlistedUninitialized", 0x887800AA, 0}),
                         [](auto const& test) { return test.param.name; });

// --- Open

TEST_F(CaptureDevice_Open, CreatesWithoutEnumerating) {
    RendererAudioCaptureDevice device;
    TakeTexts();
    EXPECT_EQ(device.Open(), 0);
    EXPECT_THAT(TakeTexts(), ElementsAre(CreateText, GetCapsText));
    EXPECT_TRUE(UnitTest::HasCapture(device));
    // No input is known.
    EXPECT_FALSE(device.IsOpen());
}

TEST_F(CaptureDevice_Open, WithKnownDevicesCountsAsOpen) {
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    device.Close();
    EXPECT_EQ(device.Open(), 0);
    EXPECT_TRUE(device.IsOpen());
}

TEST_F(CaptureDevice_Open, WhenOpenDoesNothing) {
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Open(), 0);
    TakeTexts();
    EXPECT_EQ(device.Open(), 0);
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(CaptureDevice_Open, ThenInitializeOnlyEnumerates) {
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Open(), 0);
    TakeTexts();
    EXPECT_EQ(device.Initialize(), 0);
    EXPECT_THAT(TakeTexts(), ElementsAre(EnumerateText));
    EXPECT_TRUE(device.IsOpen());
}

// --- Close

TEST_F(CaptureDevice_Close, WhenClosedDoesNothing) {
    RendererAudioCaptureDevice device;
    TakeTexts();
    device.Close();
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_FALSE(world_.IsSignalled(UnitTest::EventsOf(device).front()));
    ExpectClosed(device);
}

TEST_F(CaptureDevice_Close, SignalsTheWakeEventThenReleasesTheObject) {
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    TakeTexts();
    device.Close();
    EXPECT_THAT(TakeTexts(), ElementsAre("Win32::SetEvent(1)", "Capture::Release()"));
    EXPECT_TRUE(world_.IsSignalled(UnitTest::EventsOf(device).front()));
    ExpectClosed(device);
}

TEST_F(CaptureDevice_Close, ASecondTimeDoesNothing) {
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    device.Close();
    TakeTexts();
    device.Close();
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(CaptureDevice_Close, WithoutKnownDevicesReleasesTheObject) {
    world_.CaptureDevice().SetDevices({});
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    device.Close();
    ExpectClosed(device);
}

TEST_F(CaptureDevice_Close, KeepsTheWakeEventTheKnownDevicesAndTheBuffers) {
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    RendererAudioCaptureBuffer buffer(device);
    ASSERT_EQ(buffer.Create(), 0);
    auto const events = UnitTest::EventsOf(device);
    device.Close();
    EXPECT_EQ(UnitTest::EventsOf(device), events);
    EXPECT_THAT(UnitTest::BuffersOf(device), ElementsAre(nullptr, &buffer));
    EXPECT_THAT(UnitTest::KnownDevicesOf(device), SizeIs(2));
    EXPECT_EQ(world_.OpenHandles(), 2U);
    // The buffer goes on by itself.
    EXPECT_TRUE(buffer.IsInitialized());
    EXPECT_TRUE(world_.OnlyCaptureBuffer().IsCapturing());
}

TEST_F(CaptureDevice_Close, WakeEventThatCannotBeSignalledDoesNotKeepTheObject) {
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    world_.Faults().Fail(Call_t::Win32SetEvent, 1, FALSE);
    device.Close();
    ExpectClosed(device);
}

TEST_F(CaptureDevice_Close, OfADeviceWhoseThreadHasLeftStillJoinsAndReleases) {
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    CaptureDevicePeer::GetFields(device).captureThread.store(new boost::thread([] {}));
    device.Close();
    ExpectClosed(device);
}

TEST(CaptureDevice_CloseOrder, ThreadIsToldToLeaveBeforeTheWakeSignalAndTheObjectGoesAfterIt) {
    // A wake event closed behind the device's back: the world complains within SetEvent, where the test
    // looks.
    RendererAudioCaptureDevice* watched = nullptr;
    std::vector<bool> hadThread;
    std::vector<bool> hadCapture;
    Simulation::World world([&](std::string const&) {
        if (watched != nullptr) {
            hadThread.push_back(UnitTest::HasCaptureThread(*watched));
            hadCapture.push_back(UnitTest::HasCapture(*watched));
        }
    });
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    CaptureDevicePeer::GetFields(device).captureThread.store(new boost::thread([] {}));
    CloseHandle(UnitTest::EventsOf(device).front());
    watched = &device;
    device.Close();
    watched = nullptr;
    EXPECT_THAT(hadThread, ElementsAre(false));
    EXPECT_THAT(hadCapture, ElementsAre(true));
}

// --- StartLineLevel: what it refuses

TEST_F(CaptureDevice_StartLineLevel, IsRefusedByAClosedDevice) {
    RendererAudioCaptureDevice device;
    TakeTexts();
    UnitTest::Meter meter;
    EXPECT_FALSE(device.StartLineLevel(meter.MakeCallback()));
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_EQ(meter.GetHeld(), 0U);
}

TEST_F(CaptureDevice_StartLineLevel, IsRefusedAfterClose) {
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    device.Close();
    UnitTest::Meter meter;
    EXPECT_FALSE(device.StartLineLevel(meter.MakeCallback()));
    EXPECT_EQ(meter.GetHeld(), 0U);
}

TEST_F(CaptureDevice_StartLineLevel, IsRefusedWithoutKnownDevices) {
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Open(), 0);
    UnitTest::Meter meter;
    EXPECT_FALSE(device.StartLineLevel(meter.MakeCallback()));
    EXPECT_EQ(meter.GetHeld(), 0U);
}

TEST_F(CaptureDevice_StartLineLevel, IsRefusedWithAnEmptyCallback) {
    UnitTest::LogCapture const log;
    RendererAudioCaptureDevice device;
    ASSERT_EQ(device.Initialize(), 0);
    TakeTexts();
    EXPECT_FALSE(device.StartLineLevel(nullptr));
    EXPECT_THAT(TakeTexts(), IsEmpty());
    // A thread would have had something to say: there is no renderer.
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

// --- the draining thread

class CaptureDevice_CaptureThread : public CaptureDeviceTest {
protected:
    CaptureDevice_CaptureThread() { EXPECT_EQ(device_.Initialize(), 0); }
    ~CaptureDevice_CaptureThread() override {
        if (UnitTest::HasCapture(device_)) {
            world_.Journal().Clear();
            Close();
        }
    }

    /// Returns when the thread sleeps after its first read.
    void Start() {
        ASSERT_TRUE(CaptureDevicePeer::StartCaptureThread(device_));
        world_.WaitForBlockedThread(CaptureThreadName);
    }

    /// Closes the device while the thread sleeps: the sleep has to pass.
    void Close() {
        std::thread closer([this] { device_.Close(); });
        WaitForClosing();
        world_.Clock().AdvanceMilliSec(UnitTest::BlockMilliSec);
        closer.join();
    }

    /// Returns when a closing has come to the point where it waits for the thread.
    void WaitForClosing() {
        EXPECT_TRUE(UnitTest::YieldUntil([this] { return !UnitTest::HasCaptureThread(device_); }));
        auto const isWake = [](auto const& record) { return record.threadName.empty(); };
        EXPECT_TRUE(UnitTest::YieldUntil([&] {
            auto const signals = world_.Journal().Records({Call_t::Win32SetEvent});
            return std::any_of(signals.begin(), signals.end(), isWake);
        }));
    }

    std::vector<std::string> TakeThreadTexts() {
        auto texts = UnitTest::TextsOfThread(world_, CaptureThreadName,
                                             CallSet::CaptureBuffer() | CallSet{Call_t::Win32Sleep});
        world_.Journal().Clear();
        return texts;
    }

    RendererAudioCaptureDevice device_;
};

TEST_F(CaptureDevice_CaptureThread, IsNotStartedOnAClosedDevice) {
    device_.Close();
    EXPECT_FALSE(CaptureDevicePeer::StartCaptureThread(device_));
    EXPECT_FALSE(UnitTest::HasCaptureThread(device_));
}

TEST_F(CaptureDevice_CaptureThread, IsStartedOnce) {
    Start();
    EXPECT_FALSE(CaptureDevicePeer::StartCaptureThread(device_));
    EXPECT_EQ(world_.BlockedThreads(), 1U);
    EXPECT_TRUE(IsLockFree(device_));
}

TEST_F(CaptureDevice_CaptureThread, MakesABufferOfItsOwnAndSleepsAfterItsFirstRead) {
    TakeTexts();
    Start();
    // The sleep comes into the journal when it ends.
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Start(1)", "GetCurrentPosition()"));
    EXPECT_THAT(UnitTest::BuffersOf(device_), SizeIs(2));
    EXPECT_TRUE(world_.OnlyCaptureBuffer().IsCapturing());
}

TEST_F(CaptureDevice_CaptureThread, DrainsEvery20MilliSec) {
    Start();
    TakeThreadTexts();
    world_.Clock().Advance(20'000'000 - 1);
    EXPECT_THAT(TakeThreadTexts(), IsEmpty());
    world_.Clock().Advance(1);
    EXPECT_THAT(TakeThreadTexts(),
                ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(0, 1920)", "Unlock(1920, 0)"));
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(TakeThreadTexts(),
                ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(1920, 1920)", "Unlock(1920, 0)"));
}

TEST_F(CaptureDevice_CaptureThread, GoesOnRoundTheEndOfTheRing) {
    Start();
    TakeThreadTexts();
    // 251 blocks of a ring of 250.
    world_.Clock().AdvanceMilliSec(251 * UnitTest::BlockMilliSec);
    EXPECT_EQ(world_.OnlyCaptureBuffer().LockCount(), 251U);
    EXPECT_EQ(UnitTest::CaptureBufferPeer::GetFields(*UnitTest::BuffersOf(device_)[1]).frameNumber, 251U);
    EXPECT_EQ(world_.OnlyCaptureBuffer().OpenLocks(), 0U);
}

TEST_F(CaptureDevice_CaptureThread, FeedsTheLevel) {
    world_.CaptureDevice().SetGenerator(UnitTest::FullScaleSquare);
    Start();
    auto* const buffer = UnitTest::BuffersOf(device_)[1];
    EXPECT_EQ(buffer->GetLineLevel(), 0.0F);
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_NEAR(buffer->GetLineLevel(), UnitTest::LevelOfOneBlock, UnitTest::LevelTolerance);
    // 15 more blocks: all 16 are full.
    world_.Clock().AdvanceMilliSec(300);
    EXPECT_EQ(buffer->GetLineLevel(), 1.0F);
}

TEST_F(CaptureDevice_CaptureThread, FailingReadsAreTriedAgainAfterEachSleep) {
    world_.Faults().FailAlways(Call_t::CaptureBufferGetCurrentPosition, DSERR_GENERIC);
    Start();
    TakeThreadTexts();
    world_.Clock().AdvanceMilliSec(40);
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Sleep(20)", "GetCurrentPosition() = 0x80004005", "Sleep(20)",
                                               "GetCurrentPosition() = 0x80004005"));
    world_.Faults().Clear();
    world_.Clock().AdvanceMilliSec(20);
    // Three blocks have come together.
    EXPECT_THAT(TakeThreadTexts(),
                ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(0, 5760)", "Unlock(5760, 0)"));
}

TEST_F(CaptureDevice_CaptureThread, WithoutABufferSleepsOnUntilTheDeviceCloses) {
    world_.Faults().FailAlways(Call_t::CaptureCreateCaptureBuffer, DSERR_GENERIC);
    Start();
    TakeThreadTexts();
    world_.Clock().AdvanceMilliSec(60);
    EXPECT_EQ(CountOf(Call_t::CaptureCreateCaptureBuffer), 0U);
    EXPECT_THAT(TakeThreadTexts(), ElementsAre("Sleep(20)", "Sleep(20)", "Sleep(20)"));
    Close();
    ExpectClosed(device_);
}

TEST_F(CaptureDevice_CaptureThread, CloseJoinsItWhichFreesItsBufferBeforeTheDeviceIsReleased) {
    Start();
    TakeTexts();
    Close();
    EXPECT_EQ(world_.BlockedThreads(), 0U);
    // The wake event is number 1, the buffer's number 2. No read comes after the last sleep.
    EXPECT_THAT(TakeTexts(),
                ElementsAre("Win32::SetEvent(1)", "Win32::Sleep(20)", "CaptureBuffer::Stop()",
                            "Win32::SetEvent(1)", "Win32::CloseHandle(2)", "CaptureBuffer::Release()",
                            "Capture::Release()", "Capture::Release()"));
    ExpectClosed(device_);
}

TEST_F(CaptureDevice_CaptureThread, CloseWaitsForTheSleepToEnd) {
    Start();
    std::atomic<bool> isClosed{false};
    std::thread closer([&] {
        device_.Close();
        isClosed.store(true);
    });
    WaitForClosing();
    world_.Clock().Advance(20'000'000 - 1);
    EXPECT_EQ(world_.BlockedThreads(), 1U);
    EXPECT_FALSE(isClosed.load());
    EXPECT_EQ(world_.LiveCaptures(), 1U);
    world_.Clock().Advance(1);
    closer.join();
    ExpectClosed(device_);
}

TEST_F(CaptureDevice_CaptureThread, IsJoinedAlsoByAnInterruptedThread) {
    Start();
    std::atomic<bool> mayClose{false};
    std::atomic<bool> isClosed{false};
    boost::thread closer([&] {
        while (!mayClose.load()) {
            std::this_thread::yield();
        }
        device_.Close();
        isClosed.store(true);
    });
    closer.interrupt();
    mayClose.store(true);
    WaitForClosing();
    world_.Clock().AdvanceMilliSec(UnitTest::BlockMilliSec);
    closer.join();
    EXPECT_TRUE(isClosed.load());
    ExpectClosed(device_);
}

TEST_F(CaptureDevice_CaptureThread, RunsAgainOnAReopenedDevice) {
    Start();
    world_.Journal().Clear();
    Close();
    ASSERT_EQ(device_.Initialize(), 0);
    Start();
    TakeThreadTexts();
    world_.Clock().AdvanceMilliSec(20);
    EXPECT_THAT(TakeThreadTexts(),
                ElementsAre("Sleep(20)", "GetCurrentPosition()", "Lock(0, 1920)", "Unlock(1920, 0)"));
    EXPECT_THAT(world_.CaptureBuffers(), SizeIs(2));
}

TEST_F(CaptureDevice_CaptureThread, LogsNothing) {
    UnitTest::LogCapture const log;
    Start();
    world_.Clock().AdvanceMilliSec(100);
    world_.Journal().Clear();
    Close();
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

} // namespace
} // namespace Media
