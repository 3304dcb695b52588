#include "simulation/faultplan.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "helpers.h"
#include "simulation/testworld.h"

namespace Simulation {
namespace {

using FaultPlan_FailAlways = PlayableTest;
using FaultPlan_FailAllTheSame = PlayableTest;

TEST(FaultPlan_Fail, FailsTheNthCallFromNowAlone) {
    TestWorld world;
    Playable playable;
    playable->SetVolume(-1);
    world.Faults().Fail(Call_t::BufferSetVolume, 2, DSERR_GENERIC);
    EXPECT_EQ(playable->SetVolume(-2), DS_OK);
    EXPECT_EQ(playable->SetVolume(-3), DSERR_GENERIC);
    EXPECT_EQ(world.OnlyBuffer().Volume(), -2);
    EXPECT_EQ(playable->SetVolume(-4), DS_OK);
}

TEST_F(FaultPlan_FailAlways, HoldsUntilCleared) {
    world.Faults().FailAlways(Call_t::BufferStop, DSERR_GENERIC);
    world.Faults().Fail(Call_t::BufferStop, 2, DSERR_INVALIDCALL);
    EXPECT_EQ(playable->Stop(), DSERR_GENERIC);
    EXPECT_EQ(playable->Stop(), DSERR_INVALIDCALL);
    EXPECT_EQ(playable->Stop(), DSERR_GENERIC);
    world.Faults().Clear(Call_t::BufferStop);
    EXPECT_EQ(playable->Stop(), DS_OK);
    world.Faults().FailAlways(Call_t::BufferStop, DSERR_GENERIC);
    world.Faults().Clear();
    EXPECT_EQ(playable->Stop(), DS_OK);
}

TEST(FaultPlan_Fail, LeavesOutPointersNull) {
    TestWorld world;
    world.Faults().Fail(Call_t::SoundCreate8, 1, DSERR_ALLOCATED);
    auto* sound = reinterpret_cast<IDirectSound8*>(&world);
    EXPECT_EQ(DirectSoundCreate8(nullptr, &sound, nullptr), DSERR_ALLOCATED);
    EXPECT_EQ(sound, nullptr);

    Playable playable;
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_BUFFERLOST);
    void* address = &world;
    DWORD bytes = 1;
    EXPECT_EQ(playable->Lock(0, 4, &address, &bytes, nullptr, nullptr, 0), DSERR_BUFFERLOST);
    EXPECT_EQ(address, nullptr);
    EXPECT_EQ(bytes, 0U);
    EXPECT_EQ(world.OnlyBuffer().OpenLocks(), 0U);
}

TEST(FaultPlan_Fail, WithASuccessGivesANullObject) {
    TestWorld world;
    world.Faults().Fail(Call_t::SoundCreate8, 1, DS_OK);
    auto* sound = reinterpret_cast<IDirectSound8*>(&world);
    EXPECT_EQ(DirectSoundCreate8(nullptr, &sound, nullptr), DS_OK);
    EXPECT_EQ(sound, nullptr);
    EXPECT_EQ(world.SoundCount(), 0U);
}

TEST(FaultPlan_Fail, TellsTheInterfacesAskedForApart) {
    TestWorld world;
    Playable playable;
    world.Faults().Fail(Call_t::BufferQueryNotify, 1, E_NOINTERFACE);
    void* object = nullptr;
    EXPECT_EQ(playable->QueryInterface(IID_IDirectSoundBuffer8, &object), S_OK);
    playable->Release();
    EXPECT_EQ(playable->QueryInterface(IID_IDirectSoundNotify, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
}

TEST(FaultPlan_Fail, CoversEnumerationAndWin32) {
    TestWorld world;
    world.Faults().Fail(Call_t::SoundEnumerate, 1, DSERR_GENERIC);
    EXPECT_EQ(DirectSoundEnumerateA(nullptr, nullptr), DSERR_GENERIC);
    world.Faults().Fail(Call_t::Win32CreateEvent, 1, 0);
    EXPECT_EQ(CreateEventA(nullptr, FALSE, FALSE, nullptr), nullptr);
    TestEvent const event;
    world.Faults().Fail(Call_t::Win32SetEvent, 1, 0);
    EXPECT_FALSE(SetEvent(event.handle));
    EXPECT_FALSE(world.IsSignalled(event.handle));
    EXPECT_TRUE(SetEvent(event.handle));
    EXPECT_TRUE(world.IsSignalled(event.handle));
    world.Faults().Fail(Call_t::Win32CloseHandle, 1, 0);
    EXPECT_FALSE(CloseHandle(event.handle));
    world.Faults().Fail(Call_t::Win32DesktopWindow, 1, 0);
    EXPECT_EQ(GetDesktopWindow(), nullptr);
    EXPECT_EQ(GetDesktopWindow(), World::DesktopWindow());
}

TEST_F(FaultPlan_FailAllTheSame, LeavesNothingOpen) {
    world.Faults().FailAllTheSame(Call_t::BufferUnlock, 1, DSERR_BUFFERLOST);
    Locked const locked = LockOf(playable, 0, 100);
    EXPECT_EQ(Unlock(playable, locked), DSERR_BUFFERLOST);
    EXPECT_EQ(world.OnlyBuffer().OpenLocks(), 0U);
    HANDLE const event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    world.Faults().FailAllTheSame(Call_t::Win32CloseHandle, 1, FALSE);
    EXPECT_EQ(CloseHandle(event), FALSE);
    EXPECT_EQ(world.OpenHandles(), 0U);
}

struct CaptureFault {
    char const* name;
    Call_t call;
    std::function<HRESULT(Microphone&)> make;
};

class FaultPlan_FailOnCapture : public testing::TestWithParam<CaptureFault> {};

TEST_P(FaultPlan_FailOnCapture, GivesTheResultOnceAndThenTheCallsOwn) {
    TestWorld world;
    Microphone microphone;
    HRESULT const own = GetParam().make(microphone);
    world.Faults().Fail(GetParam().call, 1, DSERR_NODRIVER);
    ASSERT_NE(own, DSERR_NODRIVER);
    EXPECT_EQ(GetParam().make(microphone), DSERR_NODRIVER);
    EXPECT_EQ(GetParam().make(microphone), own);
}

/// QueryInterface, with the reference given back.
HRESULT Query(IUnknown* object, REFIID riid) {
    void* found = nullptr;
    HRESULT const result = object->QueryInterface(riid, &found);
    if (found != nullptr) {
        object->Release();
    }
    return result;
}

HRESULT CreateCapture() {
    IDirectSoundCapture* capture = nullptr;
    HRESULT const result = DirectSoundCaptureCreate8(nullptr, &capture, nullptr);
    if (capture != nullptr) {
        capture->Release();
    }
    return result;
}

HRESULT CreateBuffer(Microphone& microphone) {
    WAVEFORMATEX format = MakeFormat();
    DSCBUFFERDESC const description = MakeCaptureDescription(format);
    IDirectSoundCaptureBuffer* buffer = nullptr;
    HRESULT const result = microphone.capture->CreateCaptureBuffer(&description, &buffer, nullptr);
    if (buffer != nullptr) {
        buffer->Release();
    }
    return result;
}

INSTANTIATE_TEST_SUITE_P(
    All, FaultPlan_FailOnCapture,
    testing::Values(
        CaptureFault{"Enumerate", Call_t::CaptureEnumerate,
                     [](Microphone&) { return DirectSoundCaptureEnumerateA(nullptr, nullptr); }},
        CaptureFault{"Create", Call_t::CaptureCreate8, [](Microphone&) { return CreateCapture(); }},
        CaptureFault{"Query", Call_t::CaptureQueryInterface,
                     [](Microphone& m) { return Query(m.capture, IID_IDirectSoundCapture); }},
        CaptureFault{"CreateBuffer", Call_t::CaptureCreateCaptureBuffer,
                     [](Microphone& m) { return CreateBuffer(m); }},
        CaptureFault{"GetCaps", Call_t::CaptureGetCaps,
                     [](Microphone& m) { return m.capture->GetCaps(nullptr); }},
        CaptureFault{"Initialize", Call_t::CaptureInitialize,
                     [](Microphone& m) { return m.capture->Initialize(nullptr); }},
        CaptureFault{"BufferQuery", Call_t::CaptureBufferQueryBuffer,
                     [](Microphone& m) { return Query(m.buffer, IID_IDirectSoundCaptureBuffer); }},
        CaptureFault{"BufferQuery8", Call_t::CaptureBufferQueryBuffer8,
                     [](Microphone& m) { return Query(m.buffer, IID_IDirectSoundCaptureBuffer8); }},
        CaptureFault{"BufferQueryOther", Call_t::CaptureBufferQueryOther,
                     [](Microphone& m) { return Query(m.buffer, IID_IUnknown); }},
        CaptureFault{"BufferGetCaps", Call_t::CaptureBufferGetCaps,
                     [](Microphone& m) { return m->GetCaps(nullptr); }},
        CaptureFault{"BufferGetCurrentPosition", Call_t::CaptureBufferGetCurrentPosition,
                     [](Microphone& m) {
                         DWORD byte = 0;
                         return m->GetCurrentPosition(nullptr, &byte);
                     }},
        CaptureFault{"BufferGetFormat", Call_t::CaptureBufferGetFormat,
                     [](Microphone& m) { return m->GetFormat(nullptr, 0, nullptr); }},
        CaptureFault{"BufferGetStatus", Call_t::CaptureBufferGetStatus,
                     [](Microphone& m) { return m->GetStatus(nullptr); }},
        CaptureFault{"BufferInitialize", Call_t::CaptureBufferInitialize,
                     [](Microphone& m) { return m->Initialize(nullptr, nullptr); }},
        CaptureFault{"BufferLock", Call_t::CaptureBufferLock,
                     [](Microphone& m) { return m->Lock(0, 0, nullptr, nullptr, nullptr, nullptr, 0); }},
        CaptureFault{"BufferStart", Call_t::CaptureBufferStart,
                     [](Microphone& m) { return m->Start(DSCBSTART_LOOPING); }},
        CaptureFault{"BufferStop", Call_t::CaptureBufferStop, [](Microphone& m) { return m->Stop(); }},
        CaptureFault{"BufferUnlock", Call_t::CaptureBufferUnlock,
                     [](Microphone& m) {
                         m->Start(DSCBSTART_LOOPING);
                         World::Current("BufferUnlock").OnlyCaptureBuffer().CaptureAtOnce(1);
                         Locked const locked = LockOf(m, 0, 2);
                         HRESULT const result = Unlock(m, locked);
                         if (FAILED(result)) {
                             Unlock(m, locked);
                         }
                         return result;
                     }},
        CaptureFault{"BufferGetObjectInPath", Call_t::CaptureBufferGetObjectInPath,
                     [](Microphone& m) { return m->GetObjectInPath(GUID{}, 0, GUID{}, nullptr); }},
        CaptureFault{"BufferGetFXStatus", Call_t::CaptureBufferGetFXStatus,
                     [](Microphone& m) { return m->GetFXStatus(0, nullptr); }}),
    [](testing::TestParamInfo<CaptureFault> const& tested) { return std::string(tested.param.name); });

TEST(FaultPlan_Fail, OfACaptureCallHasNoEffectAndGivesNothing) {
    TestWorld world;
    Microphone microphone;
    world.Faults().Fail(Call_t::CaptureBufferStart, 1, DSERR_GENERIC);
    EXPECT_EQ(microphone->Start(DSCBSTART_LOOPING), DSERR_GENERIC);
    EXPECT_FALSE(world.OnlyCaptureBuffer().IsCapturing());
    world.Faults().Fail(Call_t::CaptureCreate8, 1, DS_OK);
    auto* capture = reinterpret_cast<IDirectSoundCapture*>(&world);
    EXPECT_EQ(DirectSoundCaptureCreate8(nullptr, &capture, nullptr), DS_OK);
    EXPECT_EQ(capture, nullptr);
    world.Faults().Fail(Call_t::CaptureBufferLock, 1, DS_OK);
    Locked const locked = LockOf(microphone, 0, 2);
    EXPECT_EQ(locked.result, DS_OK);
    EXPECT_EQ(locked.address1, nullptr);
    EXPECT_EQ(locked.bytes1, 0U);
    EXPECT_EQ(world.OnlyCaptureBuffer().OpenLocks(), 0U);
}

TEST(FaultPlanDeathTest, RefusesWhatCannotFail) {
    TestWorld world;
    for (Call_t const call : {Call_t::BufferRelease, Call_t::CaptureAddRef, Call_t::CaptureRelease,
                              Call_t::CaptureBufferAddRef, Call_t::CaptureBufferRelease}) {
        EXPECT_DEATH(world.Faults().Fail(call, 1, E_FAIL), "no way to fail");
    }
    EXPECT_DEATH(world.Faults().Fail(Call_t::BufferLock, 0, E_FAIL), "number 1");
    EXPECT_DEATH(world.Faults().FailAllTheSame(Call_t::BufferLock, 1, E_FAIL), "no effect when it fails");
}

} // namespace
} // namespace Simulation
