#include <memory>
#include <vector>

#include "support/module/capturebuffertest.h"
#include "support/module/logcapture.h"
#include "support/module/renderertest.h"

namespace UnitTest {
namespace {

/// What the renderer asks of the capture side.
CallSet CaptureCalls() {
    return CallSet{Call_t::CaptureEnumerate, Call_t::CaptureCreate8, Call_t::CaptureGetCaps,
                   Call_t::CaptureCreateCaptureBuffer} |
           CallSet::CaptureBuffer();
}

class RendererAudio_CaptureConstruction : public RendererTest {};
class RendererAudio_InitializeCapture : public RendererTest {};
class RendererAudio_ShutdownCapture : public RendererTest {};
class RendererAudio_GetCaptureProxy : public RendererTest {};
class RendererAudio_GetLineLevelCallbacks : public RendererTest {};

// --- construction and destruction

TEST_F(RendererAudio_CaptureConstruction, MakesTheTwoDevicesWakeEventsAndDestructionClosesTheLaterFirst) {
    // The fixture's is replaced by one that comes into the journal.
    renderer = std::make_unique<RendererAudio>();
    EXPECT_FALSE(renderer->IsEnabled());
    EXPECT_THAT(TakeTexts(), ElementsAre("Win32::CreateEventA(0, 0)", "Win32::CreateEventA(0, 0)",
                                         "Win32::CloseHandle(2)", "Win32::CloseHandle(1)"));
    renderer.reset();
    EXPECT_THAT(TakeTexts(), ElementsAre("Win32::CloseHandle(4)", "Win32::CloseHandle(3)"));
}

TEST_F(RendererAudio_CaptureConstruction, DestructionOfAnEnabledRendererFreesProxyPlaybackAndCaptureInOrder) {
    ASSERT_EQ(renderer->Initialize(), 0);
    ASSERT_NE(renderer->GetCaptureProxy(), nullptr);
    TakeTexts();
    renderer.reset();
    // Event 1 wakes the playback device, 2 the capture device, 3 is the capture buffer's.
    EXPECT_THAT(TakeTexts(),
                ElementsAre("CaptureBuffer::Stop()", "Win32::SetEvent(2)", "Win32::CloseHandle(3)",
                            "CaptureBuffer::Release()", "Capture::Release()", "Win32::SetEvent(1)",
                            "Sound::Release()", "Win32::SetEvent(2)", "Capture::Release()",
                            "Win32::CloseHandle(2)", "Win32::CloseHandle(1)"));
}

TEST_F(RendererAudio_CaptureConstruction, DestructionOfADisabledRendererFreesWhatCaptureOpened) {
    ASSERT_NE(renderer->GetCaptureProxy(), nullptr);
    ASSERT_FALSE(renderer->IsEnabled());
    TakeTexts();
    renderer.reset();
    EXPECT_THAT(TakeTexts(),
                ElementsAre("CaptureBuffer::Stop()", "Win32::SetEvent(2)", "Win32::CloseHandle(3)",
                            "CaptureBuffer::Release()", "Capture::Release()", "Win32::SetEvent(2)",
                            "Capture::Release()", "Win32::CloseHandle(2)", "Win32::CloseHandle(1)"));
}

TEST_F(RendererAudio_CaptureConstruction, DestructionLeavesAProxyThatIsHeldReadableAndStoppable) {
    auto proxy = renderer->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    renderer.reset();
    EXPECT_EQ(world.LiveCaptures(), 1U);
    world.Clock().AdvanceMilliSec(40);
    Frames frames;
    EXPECT_EQ(proxy->ReadFrames(frames), 0);
    EXPECT_THAT(frames, SizeIs(2));
    EXPECT_EQ(proxy->SampleLineLevel(), -30);
    EXPECT_GT(proxy->GetLineLevel(), 0.0F);
    // Restarting what captures asks nothing of the device.
    proxy->StartBufferCapture();
    proxy->StopBufferCapture();
    EXPECT_TRUE(proxy->IsInitialized());
    EXPECT_EQ(world.LiveCaptures(), 0U);
    EXPECT_EQ(proxy->ReadFrames(frames), -30);
    proxy.reset();
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
    EXPECT_EQ(world.OpenHandles(), 0U);
}

TEST_F(RendererAudio_CaptureConstruction, DestructionLeavesAProxyThatIsHeldToBeDestroyedWhileItCaptures) {
    auto proxy = renderer->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    renderer.reset();
    proxy.reset();
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
    EXPECT_EQ(world.OpenHandles(), 0U);
}

// --- Initialize

TEST_F(RendererAudio_InitializeCapture, OpensCaptureAfterPlayback) {
    TakeTexts();
    EXPECT_EQ(renderer->Initialize(), 0);
    EXPECT_TRUE(renderer->IsEnabled());
    EXPECT_THAT(TakeTexts(),
                ElementsAre("DirectSound::DirectSoundEnumerateA()", "DirectSound::DirectSoundCreate8()",
                            "Win32::GetDesktopWindow()", "Sound::SetCooperativeLevel(2)", EnumerateText,
                            CreateText, GetCapsText));
    EXPECT_EQ(world.LiveCaptures(), 1U);
    EXPECT_THAT(world.CaptureBuffers(), IsEmpty());
}

TEST_F(RendererAudio_InitializeCapture, WhenEnabledDoesNotTryAMissingMicrophoneAgain) {
    world.Faults().Fail(Call_t::CaptureCreate8, 1, DSERR_NODRIVER);
    ASSERT_EQ(renderer->Initialize(), 0);
    TakeTexts();
    EXPECT_EQ(renderer->Initialize(), 0);
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(RendererAudio_InitializeCapture, DoesNotOpenWhatAProxyHasOpenedAgain) {
    auto const proxy = renderer->GetCaptureProxy();
    TakeTexts();
    EXPECT_EQ(renderer->Initialize(), 0);
    EXPECT_THAT(TakeTexts(CaptureCalls()), IsEmpty());
    EXPECT_EQ(renderer->GetCaptureProxy(), proxy);
}

TEST_F(RendererAudio_InitializeCapture, AfterShutdownCreatesAgainWithoutEnumerating) {
    ASSERT_EQ(renderer->Initialize(), 0);
    renderer->Shutdown();
    TakeTexts();
    EXPECT_EQ(renderer->Initialize(), 0);
    EXPECT_THAT(TakeTexts(CaptureCalls()), ElementsAre(CreateText, GetCapsText));
}

TEST_F(RendererAudio_InitializeCapture, IsLeftToItRatherThanToASession) {
    ASSERT_NE(OpenSession(*renderer), nullptr);
    EXPECT_THAT(TakeTexts(CaptureCalls()), IsEmpty());
    EXPECT_EQ(world.CaptureCount(), 0U);
}

/// A way in which the capture device fails to open.
struct CaptureOpenFailure {
    char const* name;
    Call_t call;
    std::uint32_t result;
};

class RendererAudio_CaptureOpenFailure : public RendererTest,
                                         public testing::WithParamInterface<CaptureOpenFailure> {
protected:
    RendererAudio_CaptureOpenFailure() {
        world.Faults().FailAlways(GetParam().call, static_cast<HRESULT>(GetParam().result));
    }
};

TEST_P(RendererAudio_CaptureOpenFailure, DoesNotDisturbInitialize) {
    EXPECT_EQ(renderer->Initialize(), 0);
    EXPECT_TRUE(renderer->IsEnabled());
    EXPECT_EQ(world.LiveSounds(), 1U);
    EXPECT_EQ(world.LiveCaptures(), 0U);
}

TEST_P(RendererAudio_CaptureOpenFailure, GivesNoProxyAndIsTriedByEachCall) {
    EXPECT_EQ(renderer->GetCaptureProxy(), nullptr);
    EXPECT_EQ(renderer->GetCaptureProxy(), nullptr);
    EXPECT_EQ(CountOf(GetParam().call), 2U);
    EXPECT_THAT(world.Journal().Records({Call_t::CaptureCreateCaptureBuffer}), IsEmpty());
    world.Faults().Clear();
    auto const proxy = renderer->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    EXPECT_TRUE(proxy->IsInitialized());
}

TEST_P(RendererAudio_CaptureOpenFailure, StartsNoLineLevelThreadAndIsTriedByEachCall) {
    LogCapture const log;
    Meter meter;
    EXPECT_FALSE(renderer->GetLineLevelCallbacks(meter.MakeCallback()));
    EXPECT_FALSE(renderer->GetLineLevelCallbacks(meter.MakeCallback()));
    EXPECT_EQ(CountOf(GetParam().call), 2U);
    EXPECT_EQ(meter.GetHeld(), 0U);
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Results, RendererAudio_CaptureOpenFailure,
    testing::Values(CaptureOpenFailure{"Enumeration", Call_t::CaptureEnumerate, 0x80004005},
                    CaptureOpenFailure{"NoDriver", Call_t::CaptureCreate8, 0x88780078},
                    CaptureOpenFailure{"Allocated", Call_t::CaptureCreate8, 0x8878000A},
                    // 0 with the device closed.
                    CaptureOpenFailure{"Unlisted", Call_t::CaptureCreate8, 0x80004005},
                    CaptureOpenFailure{"NullObject", Call_t::CaptureCreate8, 0},
                    CaptureOpenFailure{"Capabilities", Call_t::CaptureGetCaps, 0x80004005}),
    [](auto const& test) { return test.param.name; });

// --- Shutdown

TEST_F(RendererAudio_ShutdownCapture, FreesTheProxyThenClosesPlaybackThenCapture) {
    ASSERT_EQ(renderer->Initialize(), 0);
    ASSERT_NE(renderer->GetCaptureProxy(), nullptr);
    TakeTexts();
    renderer->Shutdown();
    EXPECT_THAT(TakeTexts(),
                ElementsAre("CaptureBuffer::Stop()", "Win32::SetEvent(2)", "Win32::CloseHandle(3)",
                            "CaptureBuffer::Release()", "Capture::Release()", "Win32::SetEvent(1)",
                            "Sound::Release()", "Win32::SetEvent(2)", "Capture::Release()"));
    EXPECT_FALSE(renderer->IsEnabled());
}

TEST_F(RendererAudio_ShutdownCapture, OfADisabledRendererClosesWhatAProxyOpened) {
    ASSERT_NE(renderer->GetCaptureProxy(), nullptr);
    renderer->Shutdown();
    EXPECT_EQ(world.LiveCaptures(), 0U);
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
}

TEST_F(RendererAudio_ShutdownCapture, LeavesTheProxyToItsOtherHolders) {
    auto const proxy = renderer->GetCaptureProxy();
    world.Clock().AdvanceMilliSec(20);
    renderer->Shutdown();
    EXPECT_EQ(proxy.use_count(), 1);
    EXPECT_EQ(world.LiveCaptures(), 1U);
    world.Clock().AdvanceMilliSec(20);
    Frames frames;
    EXPECT_EQ(proxy->ReadFrames(frames), 0);
    EXPECT_THAT(frames, SizeIs(2));
    proxy->StopBufferCapture();
    EXPECT_EQ(world.LiveCaptures(), 0U);
    EXPECT_EQ(world.OpenHandles(), 2U);
}

TEST_F(RendererAudio_ShutdownCapture, IsFollowedByAProxyOfItsOwn) {
    auto const old = renderer->GetCaptureProxy();
    renderer->Shutdown();
    TakeTexts();
    auto const proxy = renderer->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    EXPECT_NE(proxy, old);
    EXPECT_THAT(TakeTexts({Call_t::CaptureEnumerate, Call_t::CaptureCreate8}), ElementsAre(CreateText));
    EXPECT_THAT(world.LiveCaptureBuffers(), SizeIs(2));
}

TEST_F(RendererAudio_ShutdownCapture, ASecondTimeDoesNothing) {
    ASSERT_EQ(renderer->Initialize(), 0);
    ASSERT_NE(renderer->GetCaptureProxy(), nullptr);
    renderer->Shutdown();
    TakeTexts();
    renderer->Shutdown();
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

// --- GetCaptureProxy

TEST_F(RendererAudio_GetCaptureProxy, OpensTheDeviceAndStartsCapture) {
    auto const proxy = renderer->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    EXPECT_TRUE(proxy->IsInitialized());
    EXPECT_THAT(TakeTexts(CaptureCalls()), ElementsAre(EnumerateText, CreateText, GetCapsText,
                                                       CreateBufferText, "CaptureBuffer::Start(1)"));
    EXPECT_TRUE(world.OnlyCaptureBuffer().IsCapturing());
    EXPECT_EQ(world.SoundCount(), 0U);
    EXPECT_FALSE(renderer->IsEnabled());
}

TEST_F(RendererAudio_GetCaptureProxy, OnAnOpenDeviceMakesTheBufferAlone) {
    ASSERT_EQ(renderer->Initialize(), 0);
    TakeTexts();
    EXPECT_NE(renderer->GetCaptureProxy(), nullptr);
    EXPECT_THAT(TakeTexts(CaptureCalls()), ElementsAre(CreateBufferText, "CaptureBuffer::Start(1)"));
}

TEST_F(RendererAudio_GetCaptureProxy, ASecondTimeGivesTheSameObjectWithoutACall) {
    auto const proxy = renderer->GetCaptureProxy();
    TakeTexts();
    EXPECT_EQ(renderer->GetCaptureProxy(), proxy);
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(RendererAudio_GetCaptureProxy, KeepsTheProxyForTheNextCaller) {
    ASSERT_NE(renderer->GetCaptureProxy(), nullptr);
    EXPECT_TRUE(world.OnlyCaptureBuffer().IsCapturing());
    auto const proxy = renderer->GetCaptureProxy();
    EXPECT_EQ(proxy.use_count(), 2);
    EXPECT_THAT(world.CaptureBuffers(), SizeIs(1));
}

TEST_F(RendererAudio_GetCaptureProxy, GivesAStoppedProxyOutAndLeavesItStopped) {
    auto const proxy = renderer->GetCaptureProxy();
    proxy->StopBufferCapture();
    TakeTexts();
    EXPECT_EQ(renderer->GetCaptureProxy(), proxy);
    EXPECT_THAT(TakeTexts(), IsEmpty());
    Frames frames;
    EXPECT_EQ(proxy->ReadFrames(frames), -30);
}

TEST_F(RendererAudio_GetCaptureProxy, NeverGivesOutAProxyThatFailedAndTriesAgain) {
    world.Faults().Fail(Call_t::CaptureCreateCaptureBuffer, 1, DSERR_GENERIC);
    world.Faults().Fail(Call_t::CaptureBufferQueryBuffer8, 1, E_NOINTERFACE);
    EXPECT_EQ(renderer->GetCaptureProxy(), nullptr);
    EXPECT_EQ(renderer->GetCaptureProxy(), nullptr);
    EXPECT_EQ(CountOf(Call_t::CaptureCreateCaptureBuffer), 2U);
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
    auto const proxy = renderer->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    EXPECT_TRUE(proxy->IsInitialized());
    EXPECT_EQ(proxy.use_count(), 2);
    // The device was opened once for all of them.
    EXPECT_EQ(CountOf(Call_t::CaptureCreate8), 1U);
}

TEST_F(RendererAudio_GetCaptureProxy, ReplacesAProxyWhoseRestartFailed) {
    auto const old = renderer->GetCaptureProxy();
    old->StopBufferCapture();
    world.Faults().Fail(Call_t::CaptureCreateCaptureBuffer, 1, DSERR_GENERIC);
    old->StartBufferCapture();
    ASSERT_FALSE(old->IsInitialized());
    auto const proxy = renderer->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    EXPECT_NE(proxy, old);
    EXPECT_EQ(old.use_count(), 1);
    EXPECT_TRUE(proxy->IsInitialized());
}

TEST_F(RendererAudio_GetCaptureProxy, LetsGoOfAProxyWhoseRestartFailedAlsoWhenThereIsNoOther) {
    auto const old = renderer->GetCaptureProxy();
    old->StopBufferCapture();
    world.Faults().FailAlways(Call_t::CaptureCreateCaptureBuffer, DSERR_GENERIC);
    old->StartBufferCapture();
    EXPECT_EQ(renderer->GetCaptureProxy(), nullptr);
    EXPECT_EQ(old.use_count(), 1);
}

TEST_F(RendererAudio_GetCaptureProxy, WithoutAnyKnownDeviceIsEmptyAndEnumeratesEachTime) {
    world.CaptureDevice().SetDevices({});
    EXPECT_EQ(renderer->GetCaptureProxy(), nullptr);
    EXPECT_THAT(TakeTexts(CaptureCalls()), ElementsAre(EnumerateText, CreateText, GetCapsText));
    EXPECT_EQ(renderer->GetCaptureProxy(), nullptr);
    EXPECT_THAT(TakeTexts(CaptureCalls()), ElementsAre(EnumerateText));
    // One is plugged in.
    world.CaptureDevice().SetDevices({{std::nullopt, "Microphone", ""}});
    EXPECT_NE(renderer->GetCaptureProxy(), nullptr);
}

TEST_F(RendererAudio_GetCaptureProxy, IsOnTheDeviceThatTheRendererOpened) {
    auto const proxy = renderer->GetCaptureProxy();
    auto const device = CaptureProxyPeer::GetDevice(*proxy);
    ASSERT_NE(device, nullptr);
    EXPECT_THAT(device->registry.GetBuffers(boost::mutex::scoped_lock(device->lock)),
                ElementsAre(nullptr, CaptureProxyPeer::GetBuffer(*proxy).get()));
    renderer->Shutdown();
    EXPECT_EQ(device->capture, nullptr);
}

TEST_F(RendererAudio_GetCaptureProxy, LogsNothing) {
    LogCapture const log;
    world.Faults().Fail(Call_t::CaptureEnumerate, 1, DSERR_GENERIC);
    world.Faults().Fail(Call_t::CaptureCreateCaptureBuffer, 1, DSERR_GENERIC);
    EXPECT_EQ(renderer->GetCaptureProxy(), nullptr);
    EXPECT_EQ(renderer->GetCaptureProxy(), nullptr);
    EXPECT_NE(renderer->GetCaptureProxy(), nullptr);
    renderer->Shutdown();
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

// --- GetLineLevelCallbacks

TEST_F(RendererAudio_GetLineLevelCallbacks, WithAnEmptyFunctionIsRefusedAfterTheDeviceWasOpened) {
    EXPECT_FALSE(renderer->GetLineLevelCallbacks(nullptr));
    EXPECT_THAT(TakeTexts(CaptureCalls()), ElementsAre(EnumerateText, CreateText, GetCapsText));
    EXPECT_EQ(world.LiveCaptures(), 1U);
}

TEST_F(RendererAudio_GetLineLevelCallbacks, OpensTheDeviceWithoutPlaybackAndLeavesTheRestToTheThread) {
    Meter once([](float) { return false; });
    EXPECT_TRUE(renderer->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_EQ(once.GetCalls(), 1U);
    EXPECT_THAT(TakeTexts(), ElementsAre(EnumerateText, CreateText, GetCapsText));
    EXPECT_FALSE(renderer->IsEnabled());
}

TEST_F(RendererAudio_GetLineLevelCallbacks, OnAnOpenDeviceMakesNoCallOfItsOwn) {
    ASSERT_NE(renderer->GetCaptureProxy(), nullptr);
    TakeTexts();
    Meter once([](float) { return false; });
    EXPECT_TRUE(renderer->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(RendererAudio_GetLineLevelCallbacks, WithoutAnyKnownDeviceIsRefusedThoughTheDefaultOneOpens) {
    world.CaptureDevice().SetDevices({});
    Meter meter;
    EXPECT_FALSE(renderer->GetLineLevelCallbacks(meter.MakeCallback()));
    EXPECT_EQ(world.LiveCaptures(), 1U);
    EXPECT_FALSE(renderer->GetLineLevelCallbacks(meter.MakeCallback()));
    EXPECT_EQ(CountOf(Call_t::CaptureEnumerate), 2U);
    EXPECT_EQ(meter.GetHeld(), 0U);
}

TEST_F(RendererAudio_GetLineLevelCallbacks, IsAcceptedThoughCaptureCannotBeStarted) {
    // The thread finds out, and ends.
    world.Faults().FailAlways(Call_t::CaptureCreateCaptureBuffer, DSERR_GENERIC);
    Meter meter;
    EXPECT_TRUE(renderer->GetLineLevelCallbacks(meter.MakeCallback()));
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
    EXPECT_FALSE(renderer->GetLineLevelCallbacks(callback));
    // The lock and the device are as they were.
    EXPECT_NE(renderer->GetCaptureProxy(), nullptr);
}

TEST_F(RendererAudio_GetLineLevelCallbacks, AfterShutdownOpensAgain) {
    ASSERT_EQ(renderer->Initialize(), 0);
    renderer->Shutdown();
    TakeTexts();
    Meter once([](float) { return false; });
    EXPECT_TRUE(renderer->GetLineLevelCallbacks(once.MakeCallback()));
    EXPECT_TRUE(once.WaitForEnd());
    EXPECT_THAT(TakeTexts(), ElementsAre(CreateText, GetCapsText));
}

} // namespace
} // namespace UnitTest
