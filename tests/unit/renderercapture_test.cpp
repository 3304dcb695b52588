#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "simulation/testworld.h"
#include "support/capturebuffertest.h"
#include "support/captureview.h"
#include "support/logcapture.h"
#include "support/rendererview.h"

namespace Media {
namespace {

using Simulation::Call_t;
using Simulation::CallSet;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using UnitTest::BlockMilliSec;
using UnitTest::CaptureProxyPeer;
using UnitTest::CreateBufferText;
using UnitTest::CreateText;
using UnitTest::EnumerateText;
using UnitTest::Frames;
using UnitTest::GetCapsText;
using UnitTest::Meter;

/// What the renderer asks of the capture side.
CallSet CaptureCalls() {
    return CallSet{Call_t::CaptureEnumerate, Call_t::CaptureCreate8, Call_t::CaptureGetCaps,
                   Call_t::CaptureCreateCaptureBuffer} |
           CallSet::CaptureBuffer();
}

class RendererCaptureTest : public ::testing::Test {
protected:
    RendererCaptureTest() {
        Pipeline::SetAudioRenderer(renderer_.get());
        world_.Journal().Enable();
        world_.Journal().Clear();
    }
    ~RendererCaptureTest() override { Pipeline::SetAudioRenderer(nullptr); }

    /// Calls of the test's own thread since the last time.
    std::vector<std::string> TakeTexts(CallSet const& calls = CallSet::All()) {
        std::vector<Simulation::CallRecord> own;
        for (auto const& record : world_.Journal().Records(calls)) {
            if (record.threadName.empty()) {
                own.push_back(record);
            }
        }
        world_.Journal().Clear();
        return UnitTest::FullTexts(own);
    }

    Simulation::TestWorld world_;
    std::unique_ptr<RendererAudio> renderer_ = std::make_unique<RendererAudio>();
};

class RendererAudio_CaptureConstruction : public RendererCaptureTest {};
class RendererAudio_InitializeCapture : public RendererCaptureTest {};
class RendererAudio_ShutdownCapture : public RendererCaptureTest {};
class RendererAudio_GetCaptureProxy : public RendererCaptureTest {};
class RendererAudio_GetLineLevelCallbacks : public RendererCaptureTest {};

// --- construction and destruction

TEST(RendererAudio_Capture, ConstructionMakesTheTwoDevicesWakeEventsAndDestructionClosesTheLaterFirst) {
    Simulation::TestWorld world;
    world.Journal().Enable();
    {
        RendererAudio const renderer;
        EXPECT_THAT(world.Journal().Texts(), ElementsAre("CreateEventA(0, 0)", "CreateEventA(0, 0)"));
        world.Journal().Clear();
    }
    EXPECT_THAT(world.Journal().Texts(), ElementsAre("CloseHandle(2)", "CloseHandle(1)"));
}

TEST_F(RendererAudio_CaptureConstruction, DestructionOfAnEnabledRendererFreesProxyPlaybackAndCaptureInOrder) {
    ASSERT_EQ(renderer_->Initialize(), 0);
    ASSERT_NE(renderer_->GetCaptureProxy(), nullptr);
    TakeTexts();
    renderer_.reset();
    // Event 1 wakes the playback device, 2 the capture device, 3 is the capture buffer's.
    EXPECT_THAT(TakeTexts(),
                ElementsAre("CaptureBuffer::Stop()", "Win32::SetEvent(2)", "Win32::CloseHandle(3)",
                            "CaptureBuffer::Release()", "Capture::Release()", "Win32::SetEvent(1)",
                            "Sound::Release()", "Win32::SetEvent(2)", "Capture::Release()",
                            "Win32::CloseHandle(2)", "Win32::CloseHandle(1)"));
}

TEST_F(RendererAudio_CaptureConstruction, DestructionOfADisabledRendererFreesWhatCaptureOpened) {
    ASSERT_NE(renderer_->GetCaptureProxy(), nullptr);
    ASSERT_FALSE(renderer_->IsEnabled());
    TakeTexts();
    renderer_.reset();
    EXPECT_THAT(TakeTexts(),
                ElementsAre("CaptureBuffer::Stop()", "Win32::SetEvent(2)", "Win32::CloseHandle(3)",
                            "CaptureBuffer::Release()", "Capture::Release()", "Win32::SetEvent(2)",
                            "Capture::Release()", "Win32::CloseHandle(2)", "Win32::CloseHandle(1)"));
}

TEST_F(RendererAudio_CaptureConstruction, DestructionLeavesAProxyThatIsHeldReadableAndStoppable) {
    auto proxy = renderer_->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    renderer_.reset();
    EXPECT_EQ(world_.LiveCaptures(), 1U);
    world_.Clock().AdvanceMilliSec(40);
    Frames frames;
    EXPECT_EQ(proxy->ReadFrames(frames), 0);
    EXPECT_THAT(frames, SizeIs(2));
    EXPECT_EQ(proxy->SampleLineLevel(), -30);
    EXPECT_GT(proxy->GetLineLevel(), 0.0F);
    proxy->StopBufferCapture();
    EXPECT_EQ(world_.LiveCaptures(), 0U);
    EXPECT_EQ(proxy->ReadFrames(frames), -30);
    proxy.reset();
    EXPECT_THAT(world_.LiveCaptureBuffers(), IsEmpty());
    EXPECT_EQ(world_.OpenHandles(), 0U);
}

TEST_F(RendererAudio_CaptureConstruction, DestructionLeavesAProxyThatIsHeldToBeDestroyedWhileItCaptures) {
    auto proxy = renderer_->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    renderer_.reset();
    proxy.reset();
    EXPECT_THAT(world_.LiveCaptureBuffers(), IsEmpty());
    EXPECT_EQ(world_.OpenHandles(), 0U);
}

// --- Initialize

TEST_F(RendererAudio_InitializeCapture, OpensCaptureAfterPlayback) {
    EXPECT_EQ(renderer_->Initialize(), 0);
    EXPECT_THAT(TakeTexts(),
                ElementsAre("DirectSound::DirectSoundEnumerateA()", "DirectSound::DirectSoundCreate8()",
                            "Win32::GetDesktopWindow()", "Sound::SetCooperativeLevel(2)", EnumerateText,
                            CreateText, GetCapsText));
    EXPECT_EQ(world_.LiveCaptures(), 1U);
    EXPECT_THAT(world_.CaptureBuffers(), IsEmpty());
}

TEST_F(RendererAudio_InitializeCapture, WhenEnabledDoesNotTryAMissingMicrophoneAgain) {
    world_.Faults().Fail(Call_t::CaptureCreate8, 1, DSERR_NODRIVER);
    ASSERT_EQ(renderer_->Initialize(), 0);
    TakeTexts();
    EXPECT_EQ(renderer_->Initialize(), 0);
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(RendererAudio_InitializeCapture, DoesNotOpenWhatAProxyHasOpenedAgain) {
    auto const proxy = renderer_->GetCaptureProxy();
    TakeTexts();
    EXPECT_EQ(renderer_->Initialize(), 0);
    EXPECT_THAT(TakeTexts(CaptureCalls()), IsEmpty());
    EXPECT_EQ(renderer_->GetCaptureProxy(), proxy);
}

TEST_F(RendererAudio_InitializeCapture, AfterShutdownCreatesAgainWithoutEnumerating) {
    ASSERT_EQ(renderer_->Initialize(), 0);
    renderer_->Shutdown();
    TakeTexts();
    EXPECT_EQ(renderer_->Initialize(), 0);
    EXPECT_THAT(TakeTexts(CaptureCalls()), ElementsAre(CreateText, GetCapsText));
}

TEST_F(RendererAudio_InitializeCapture, IsLeftToItRatherThanToASession) {
    ASSERT_NE(UnitTest::OpenSession(*renderer_), nullptr);
    EXPECT_THAT(TakeTexts(CaptureCalls()), IsEmpty());
    EXPECT_EQ(world_.CaptureCount(), 0U);
}

/// A way in which the playback device fails to open.
struct PlaybackFailure {
    char const* name;
    Call_t call;
    std::uint32_t result;
    bool isCaptureOpened;
};

class RendererAudio_CaptureBesidePlaybackFailure : public RendererCaptureTest,
                                                   public ::testing::WithParamInterface<PlaybackFailure> {};

TEST_P(RendererAudio_CaptureBesidePlaybackFailure, IsOpenedOrNotTouched) {
    world_.Faults().Fail(GetParam().call, 1, static_cast<HRESULT>(GetParam().result));
    int const status = renderer_->Initialize();
    EXPECT_EQ(status == 0, GetParam().isCaptureOpened);
    EXPECT_EQ(renderer_->IsEnabled(), GetParam().isCaptureOpened);
    auto const texts = TakeTexts(CaptureCalls());
    if (GetParam().isCaptureOpened) {
        EXPECT_THAT(texts, ElementsAre(EnumerateText, CreateText, GetCapsText));
    } else {
        EXPECT_THAT(texts, IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Results, RendererAudio_CaptureBesidePlaybackFailure,
    ::testing::Values(PlaybackFailure{"NoDriver", Call_t::SoundCreate8, 0x88780078, true},
                      PlaybackFailure{"Unlisted", Call_t::SoundCreate8, 0x80004005, true},
                      PlaybackFailure{"Enumeration", Call_t::SoundEnumerate, 0x80004005, false},
                      PlaybackFailure{"NoAggregation", Call_t::SoundCreate8, 0x80040110, false},
                      PlaybackFailure{"OutOfMemory", Call_t::SoundCreate8, 0x8007000E, false},
                      PlaybackFailure{"InvalidArgument", Call_t::SoundCreate8, 0x80070057, false},
                      PlaybackFailure{"Allocated", Call_t::SoundCreate8, 0x8878000A, false},
                      PlaybackFailure{"CooperativeLevel", Call_t::SoundSetCooperativeLevel, 0x8878000A,
                                      false}),
    [](auto const& test) { return test.param.name; });

/// A way in which the capture device fails to open.
struct OpenFailure {
    char const* name;
    Call_t call;
    std::uint32_t result;
};

class RendererAudio_CaptureOpenFailure : public RendererCaptureTest,
                                         public ::testing::WithParamInterface<OpenFailure> {
protected:
    RendererAudio_CaptureOpenFailure() {
        world_.Faults().FailAlways(GetParam().call, static_cast<HRESULT>(GetParam().result));
    }

    std::size_t CountOfFailingCall() { return world_.Journal().Records({GetParam().call}).size(); }
};

TEST_P(RendererAudio_CaptureOpenFailure, DoesNotDisturbInitialize) {
    EXPECT_EQ(renderer_->Initialize(), 0);
    EXPECT_TRUE(renderer_->IsEnabled());
    EXPECT_EQ(world_.LiveSounds(), 1U);
    EXPECT_EQ(world_.LiveCaptures(), 0U);
}

TEST_P(RendererAudio_CaptureOpenFailure, GivesNoProxyAndIsTriedByEachCall) {
    EXPECT_EQ(renderer_->GetCaptureProxy(), nullptr);
    EXPECT_EQ(renderer_->GetCaptureProxy(), nullptr);
    EXPECT_EQ(CountOfFailingCall(), 2U);
    EXPECT_THAT(world_.Journal().Records({Call_t::CaptureCreateCaptureBuffer}), IsEmpty());
    world_.Faults().Clear();
    auto const proxy = renderer_->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    EXPECT_TRUE(proxy->IsInitialized());
}

TEST_P(RendererAudio_CaptureOpenFailure, StartsNoLineLevelThreadAndIsTriedByEachCall) {
    UnitTest::LogCapture const log;
    Meter meter;
    EXPECT_FALSE(renderer_->GetLineLevelCallbacks(meter.MakeCallback()));
    EXPECT_FALSE(renderer_->GetLineLevelCallbacks(meter.MakeCallback()));
    EXPECT_EQ(CountOfFailingCall(), 2U);
    EXPECT_EQ(meter.GetHeld(), 0U);
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Results, RendererAudio_CaptureOpenFailure,
                         ::testing::Values(OpenFailure{"Enumeration", Call_t::CaptureEnumerate, 0x80004005},
                                           OpenFailure{"NoDriver", Call_t::CaptureCreate8, 0x88780078},
                                           OpenFailure{"Allocated", Call_t::CaptureCreate8, 0x8878000A},
                                           // 0 with the device closed.
                                           OpenFailure{"Unlisted", Call_t::CaptureCreate8, 0x80004005},
                                           OpenFailure{"NullObject", Call_t::CaptureCreate8, 0},
                                           OpenFailure{"Capabilities", Call_t::CaptureGetCaps, 0x80004005}),
                         [](auto const& test) { return test.param.name; });

// --- Shutdown

TEST_F(RendererAudio_ShutdownCapture, FreesTheProxyThenClosesPlaybackThenCapture) {
    ASSERT_EQ(renderer_->Initialize(), 0);
    ASSERT_NE(renderer_->GetCaptureProxy(), nullptr);
    TakeTexts();
    renderer_->Shutdown();
    EXPECT_THAT(TakeTexts(),
                ElementsAre("CaptureBuffer::Stop()", "Win32::SetEvent(2)", "Win32::CloseHandle(3)",
                            "CaptureBuffer::Release()", "Capture::Release()", "Win32::SetEvent(1)",
                            "Sound::Release()", "Win32::SetEvent(2)", "Capture::Release()"));
    EXPECT_FALSE(renderer_->IsEnabled());
}

TEST_F(RendererAudio_ShutdownCapture, OfADisabledRendererClosesWhatAProxyOpened) {
    ASSERT_NE(renderer_->GetCaptureProxy(), nullptr);
    renderer_->Shutdown();
    EXPECT_EQ(world_.LiveCaptures(), 0U);
    EXPECT_THAT(world_.LiveCaptureBuffers(), IsEmpty());
}

TEST_F(RendererAudio_ShutdownCapture, LeavesTheProxyToItsOtherHolders) {
    auto const proxy = renderer_->GetCaptureProxy();
    world_.Clock().AdvanceMilliSec(20);
    renderer_->Shutdown();
    EXPECT_EQ(proxy.use_count(), 1);
    EXPECT_EQ(world_.LiveCaptures(), 1U);
    world_.Clock().AdvanceMilliSec(20);
    Frames frames;
    EXPECT_EQ(proxy->ReadFrames(frames), 0);
    EXPECT_THAT(frames, SizeIs(2));
    proxy->StopBufferCapture();
    EXPECT_EQ(world_.LiveCaptures(), 0U);
    EXPECT_EQ(world_.OpenHandles(), 2U);
}

TEST_F(RendererAudio_ShutdownCapture, IsFollowedByAProxyOfItsOwn) {
    auto const old = renderer_->GetCaptureProxy();
    renderer_->Shutdown();
    TakeTexts();
    auto const proxy = renderer_->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    EXPECT_NE(proxy, old);
    EXPECT_THAT(TakeTexts({Call_t::CaptureEnumerate, Call_t::CaptureCreate8}), ElementsAre(CreateText));
    EXPECT_THAT(world_.LiveCaptureBuffers(), SizeIs(2));
}

TEST_F(RendererAudio_ShutdownCapture, ASecondTimeDoesNothing) {
    ASSERT_EQ(renderer_->Initialize(), 0);
    ASSERT_NE(renderer_->GetCaptureProxy(), nullptr);
    renderer_->Shutdown();
    TakeTexts();
    renderer_->Shutdown();
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

// --- GetCaptureProxy

TEST_F(RendererAudio_GetCaptureProxy, OpensTheDeviceAndStartsCapture) {
    auto const proxy = renderer_->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    EXPECT_TRUE(proxy->IsInitialized());
    EXPECT_THAT(TakeTexts(CaptureCalls()), ElementsAre(EnumerateText, CreateText, GetCapsText,
                                                       CreateBufferText, "CaptureBuffer::Start(1)"));
    EXPECT_TRUE(world_.OnlyCaptureBuffer().IsCapturing());
    EXPECT_EQ(world_.SoundCount(), 0U);
    EXPECT_FALSE(renderer_->IsEnabled());
}

TEST_F(RendererAudio_GetCaptureProxy, OnAnOpenDeviceMakesTheBufferAlone) {
    ASSERT_EQ(renderer_->Initialize(), 0);
    TakeTexts();
    EXPECT_NE(renderer_->GetCaptureProxy(), nullptr);
    EXPECT_THAT(TakeTexts(CaptureCalls()), ElementsAre(CreateBufferText, "CaptureBuffer::Start(1)"));
}

TEST_F(RendererAudio_GetCaptureProxy, ASecondTimeGivesTheSameObjectWithoutACall) {
    auto const proxy = renderer_->GetCaptureProxy();
    TakeTexts();
    EXPECT_EQ(renderer_->GetCaptureProxy(), proxy);
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(RendererAudio_GetCaptureProxy, KeepsTheProxyForTheNextCaller) {
    ASSERT_NE(renderer_->GetCaptureProxy(), nullptr);
    EXPECT_TRUE(world_.OnlyCaptureBuffer().IsCapturing());
    auto const proxy = renderer_->GetCaptureProxy();
    EXPECT_EQ(proxy.use_count(), 2);
    EXPECT_THAT(world_.CaptureBuffers(), SizeIs(1));
}

TEST_F(RendererAudio_GetCaptureProxy, GivesAStoppedProxyOutAndLeavesItStopped) {
    auto const proxy = renderer_->GetCaptureProxy();
    proxy->StopBufferCapture();
    TakeTexts();
    EXPECT_EQ(renderer_->GetCaptureProxy(), proxy);
    EXPECT_THAT(TakeTexts(), IsEmpty());
    Frames frames;
    EXPECT_EQ(proxy->ReadFrames(frames), -30);
}

TEST_F(RendererAudio_GetCaptureProxy, NeverGivesOutAProxyThatFailedAndTriesAgain) {
    world_.Faults().Fail(Call_t::CaptureCreateCaptureBuffer, 1, DSERR_GENERIC);
    world_.Faults().Fail(Call_t::CaptureBufferQueryBuffer8, 1, E_NOINTERFACE);
    EXPECT_EQ(renderer_->GetCaptureProxy(), nullptr);
    EXPECT_EQ(renderer_->GetCaptureProxy(), nullptr);
    EXPECT_THAT(world_.Journal().Records({Call_t::CaptureCreateCaptureBuffer}), SizeIs(2));
    EXPECT_THAT(world_.LiveCaptureBuffers(), IsEmpty());
    auto const proxy = renderer_->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    EXPECT_TRUE(proxy->IsInitialized());
    EXPECT_EQ(proxy.use_count(), 2);
    // The device was opened once for all of them.
    EXPECT_THAT(world_.Journal().Records({Call_t::CaptureCreate8}), SizeIs(1));
}

TEST_F(RendererAudio_GetCaptureProxy, ReplacesAProxyWhoseRestartFailed) {
    auto const old = renderer_->GetCaptureProxy();
    old->StopBufferCapture();
    world_.Faults().Fail(Call_t::CaptureCreateCaptureBuffer, 1, DSERR_GENERIC);
    old->StartBufferCapture();
    ASSERT_FALSE(old->IsInitialized());
    auto const proxy = renderer_->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    EXPECT_NE(proxy, old);
    EXPECT_EQ(old.use_count(), 1);
    EXPECT_TRUE(proxy->IsInitialized());
}

TEST_F(RendererAudio_GetCaptureProxy, LetsGoOfAProxyWhoseRestartFailedAlsoWhenThereIsNoOther) {
    auto const old = renderer_->GetCaptureProxy();
    old->StopBufferCapture();
    world_.Faults().FailAlways(Call_t::CaptureCreateCaptureBuffer, DSERR_GENERIC);
    old->StartBufferCapture();
    EXPECT_EQ(renderer_->GetCaptureProxy(), nullptr);
    EXPECT_EQ(old.use_count(), 1);
}

TEST_F(RendererAudio_GetCaptureProxy, WithoutAnyKnownDeviceIsEmptyAndEnumeratesEachTime) {
    world_.CaptureDevice().SetDevices({});
    EXPECT_EQ(renderer_->GetCaptureProxy(), nullptr);
    EXPECT_THAT(TakeTexts(CaptureCalls()), ElementsAre(EnumerateText, CreateText, GetCapsText));
    EXPECT_EQ(renderer_->GetCaptureProxy(), nullptr);
    EXPECT_THAT(TakeTexts(CaptureCalls()), ElementsAre(EnumerateText));
    // One is plugged in.
    world_.CaptureDevice().SetDevices({{std::nullopt, "Microphone", ""}});
    EXPECT_NE(renderer_->GetCaptureProxy(), nullptr);
}

TEST_F(RendererAudio_GetCaptureProxy, IsOnTheDeviceThatTheRendererOpened) {
    auto const proxy = renderer_->GetCaptureProxy();
    auto& device = CaptureProxyPeer::GetDevice(*proxy);
    EXPECT_THAT(UnitTest::BuffersOf(device), ElementsAre(nullptr, CaptureProxyPeer::GetBuffer(*proxy).get()));
    renderer_->Shutdown();
    EXPECT_FALSE(UnitTest::HasCapture(device));
}

TEST_F(RendererAudio_GetCaptureProxy, LogsNothing) {
    UnitTest::LogCapture const log;
    world_.Faults().Fail(Call_t::CaptureEnumerate, 1, DSERR_GENERIC);
    world_.Faults().Fail(Call_t::CaptureCreateCaptureBuffer, 1, DSERR_GENERIC);
    EXPECT_EQ(renderer_->GetCaptureProxy(), nullptr);
    EXPECT_EQ(renderer_->GetCaptureProxy(), nullptr);
    EXPECT_NE(renderer_->GetCaptureProxy(), nullptr);
    renderer_->Shutdown();
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

// --- GetLineLevelCallbacks

TEST_F(RendererAudio_GetLineLevelCallbacks, WithAnEmptyFunctionIsRefusedAfterTheDeviceWasOpened) {
    EXPECT_FALSE(renderer_->GetLineLevelCallbacks(nullptr));
    EXPECT_THAT(TakeTexts(CaptureCalls()), ElementsAre(EnumerateText, CreateText, GetCapsText));
    EXPECT_EQ(world_.LiveCaptures(), 1U);
}

TEST_F(RendererAudio_GetLineLevelCallbacks, OpensTheDeviceWithoutPlaybackAndLeavesTheRestToTheThread) {
    Meter once([](float) { return false; });
    EXPECT_TRUE(renderer_->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_EQ(once.GetCalls(), 1U);
    EXPECT_THAT(TakeTexts(), ElementsAre(EnumerateText, CreateText, GetCapsText));
    EXPECT_FALSE(renderer_->IsEnabled());
}

TEST_F(RendererAudio_GetLineLevelCallbacks, OnAnOpenDeviceMakesNoCallOfItsOwn) {
    ASSERT_NE(renderer_->GetCaptureProxy(), nullptr);
    TakeTexts();
    Meter once([](float) { return false; });
    EXPECT_TRUE(renderer_->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(RendererAudio_GetLineLevelCallbacks, WithoutAnyKnownDeviceIsRefusedThoughTheDefaultOneOpens) {
    world_.CaptureDevice().SetDevices({});
    Meter meter;
    EXPECT_FALSE(renderer_->GetLineLevelCallbacks(meter.MakeCallback()));
    EXPECT_EQ(world_.LiveCaptures(), 1U);
    EXPECT_FALSE(renderer_->GetLineLevelCallbacks(meter.MakeCallback()));
    EXPECT_THAT(world_.Journal().Records({Call_t::CaptureEnumerate}), SizeIs(2));
    EXPECT_EQ(meter.GetHeld(), 0U);
}

TEST_F(RendererAudio_GetLineLevelCallbacks, IsAcceptedThoughCaptureCannotBeStarted) {
    // The thread finds out, and ends.
    world_.Faults().FailAlways(Call_t::CaptureCreateCaptureBuffer, DSERR_GENERIC);
    Meter meter;
    EXPECT_TRUE(renderer_->GetLineLevelCallbacks(meter.MakeCallback()));
    EXPECT_TRUE(meter.WaitForEnd());
    EXPECT_EQ(meter.GetCalls(), 0U);
}

TEST_F(RendererAudio_GetLineLevelCallbacks, IsRefusedWhenTheCallbackCannotBeCopied) {
    struct Uncopiable {
        Uncopiable() = default;
        Uncopiable(Uncopiable const&) { throw std::bad_alloc(); }
        Uncopiable(Uncopiable&&) noexcept = default;
        bool operator()(float) const { return false; }
    };
    std::function<bool(float)> const callback{Uncopiable()};
    EXPECT_FALSE(renderer_->GetLineLevelCallbacks(callback));
    // The lock and the device are as they were.
    EXPECT_NE(renderer_->GetCaptureProxy(), nullptr);
}

TEST_F(RendererAudio_GetLineLevelCallbacks, AfterShutdownOpensAgain) {
    ASSERT_EQ(renderer_->Initialize(), 0);
    renderer_->Shutdown();
    TakeTexts();
    Meter once([](float) { return false; });
    EXPECT_TRUE(renderer_->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_THAT(TakeTexts(), ElementsAre(CreateText, GetCapsText));
}

} // namespace
} // namespace Media
