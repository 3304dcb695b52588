#include <gmock/gmock.h>

#include "helpers.h"
#include "simulation/testworld.h"

// References, state and smaller answers of a capture buffer.

namespace Simulation {
namespace {

using CaptureBuffer_QueryInterface = MicrophoneTest;
using CaptureBuffer_GetStatus = MicrophoneTest;
using CaptureBuffer_GetCaps = MicrophoneTest;
using CaptureBuffer_Unused = MicrophoneTest;

TEST_F(CaptureBuffer_QueryInterface, GivesBothInterfacesOfOneObject) {
    EXPECT_EQ(buffer.References(), 1U);
    for (GUID const& riid : {IID_IUnknown, IID_IDirectSoundCaptureBuffer, IID_IDirectSoundCaptureBuffer8}) {
        void* object = nullptr;
        EXPECT_EQ(microphone->QueryInterface(riid, &object), S_OK);
        EXPECT_EQ(object, microphone.buffer);
        EXPECT_EQ(buffer.References(), 2U);
        EXPECT_EQ(microphone->Release(), 1U);
    }
    void* object = microphone.buffer;
    EXPECT_EQ(microphone->QueryInterface(IID_IDirectSoundNotify, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(microphone->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST(CaptureBuffer_Release, OfTheLastReferenceEndsCapturing) {
    TestWorld world;
    {
        Microphone const microphone;
        microphone->Start(DSCBSTART_LOOPING);
        EXPECT_EQ(world.LiveCaptureBuffers().size(), 1U);
    }
    EXPECT_TRUE(world.LiveCaptureBuffers().empty());
    EXPECT_EQ(world.CaptureBuffers().size(), 1U);
    CaptureBuffer& buffer = world.LatestCaptureBuffer();
    EXPECT_FALSE(buffer.IsCapturing());
    world.Clock().AdvanceMilliSec(20);
    EXPECT_EQ(buffer.ReadSample(), 0U);
}

TEST(CaptureBuffer_Release, ReportsUseAfterTheLast) {
    TestWorld world;
    IDirectSoundCaptureBuffer8* buffer = nullptr;
    {
        Microphone const microphone;
        buffer = microphone.buffer;
    }
    world.AllowMisuse();
    EXPECT_EQ(buffer->Start(DSCBSTART_LOOPING), E_FAIL);
    EXPECT_EQ(buffer->Release(), 0U);
    EXPECT_THAT(world.TakeMisuse(),
                testing::ElementsAre("CaptureBuffer::Start on capture buffer 1 after its last release",
                                     "CaptureBuffer::Release on capture buffer 1 after its last release"));
    EXPECT_EQ(world.LatestCaptureBuffer().References(), 0U);
}

TEST(CaptureBuffer_Start, AndStopMayBeRepeated) {
    TestWorld world;
    Microphone const microphone;
    CaptureBuffer& buffer = world.OnlyCaptureBuffer();
    EXPECT_EQ(microphone->Stop(), DS_OK);
    EXPECT_EQ(microphone->Start(2), DSERR_INVALIDPARAM);
    EXPECT_EQ(microphone->Start(DSCBSTART_LOOPING), DS_OK);
    world.Clock().AdvanceMilliSec(1);
    // The second start changes nothing, not even looping.
    EXPECT_EQ(microphone->Start(0), DS_OK);
    EXPECT_TRUE(buffer.IsLooping());
    EXPECT_EQ(buffer.ReadSample(), 48U);
    EXPECT_EQ(microphone->Stop(), DS_OK);
    EXPECT_EQ(microphone->Stop(), DS_OK);
    EXPECT_FALSE(buffer.IsCapturing());
    EXPECT_FALSE(buffer.IsLooping());
}

TEST(CaptureBuffer_Start, GoesOnWhereTheBufferWasStopped) {
    TestWorld world;
    Microphone const microphone;
    CaptureBuffer& buffer = world.OnlyCaptureBuffer();
    microphone->Start(DSCBSTART_LOOPING);
    world.Clock().AdvanceMilliSec(1);
    microphone->Stop();
    world.Clock().AdvanceMilliSec(100);
    EXPECT_EQ(buffer.ReadSample(), 48U);
    microphone->Start(DSCBSTART_LOOPING);
    EXPECT_EQ(buffer.ReadSample(), 48U);
    world.Clock().AdvanceMilliSec(1);
    EXPECT_EQ(buffer.ReadSample(), 96U);
    EXPECT_EQ(buffer.SampleAt(48), CaptureSettings::Pattern(48));
}

TEST(CaptureBuffer_Start, WithoutLoopingEndsBehindTheLastSample) {
    TestWorld world;
    Microphone const microphone(200);
    CaptureBuffer& buffer = world.OnlyCaptureBuffer();
    microphone->Start(0);
    // 100 samples take 2,083,333.3 ns.
    world.Clock().Advance(2'083'333);
    EXPECT_TRUE(buffer.IsCapturing());
    EXPECT_FALSE(buffer.IsLooping());
    EXPECT_EQ(buffer.ReadSample(), 99U);
    world.Clock().Advance(1);
    EXPECT_FALSE(buffer.IsCapturing());
    world.Clock().AdvanceMilliSec(100);
    EXPECT_EQ(buffer.ReadSample(), 0U);
    EXPECT_EQ(buffer.CapturedSamples(), 100U);
    EXPECT_EQ(buffer.SampleAt(0), CaptureSettings::Pattern(0));
    EXPECT_EQ(buffer.SampleAt(99), CaptureSettings::Pattern(99));
    // All of it may be read now.
    EXPECT_EQ(Unlock(microphone, LockOf(microphone, 0, 200)), DS_OK);
}

TEST_F(CaptureBuffer_GetStatus, TellsCapturingAndLooping) {
    DWORD status = 7;
    EXPECT_EQ(microphone->GetStatus(&status), DS_OK);
    EXPECT_EQ(status, 0U);
    microphone->Start(DSCBSTART_LOOPING);
    microphone->GetStatus(&status);
    EXPECT_EQ(status, static_cast<DWORD>(DSCBSTATUS_CAPTURING | DSCBSTATUS_LOOPING));
    microphone->Stop();
    microphone->Start(0);
    microphone->GetStatus(&status);
    EXPECT_EQ(status, static_cast<DWORD>(DSCBSTATUS_CAPTURING));
    EXPECT_EQ(microphone->GetStatus(nullptr), DSERR_INVALIDPARAM);
}

TEST_F(CaptureBuffer_GetCaps, TellsFlagsAndSize) {
    DSCBCAPS caps{};
    EXPECT_EQ(microphone->GetCaps(&caps), DSERR_INVALIDPARAM);
    caps.dwSize = sizeof caps;
    EXPECT_EQ(microphone->GetCaps(&caps), DS_OK);
    EXPECT_EQ(caps.dwBufferBytes, RingBytes);
    EXPECT_EQ(caps.dwFlags, DSCBCAPS_WAVEMAPPED);
    EXPECT_EQ(buffer.Flags(), DSCBCAPS_WAVEMAPPED);
    EXPECT_EQ(buffer.RingBytes(), RingBytes);
}

TEST(CaptureBuffer_GetFormat, GivesWhatTheDescriptionSaid) {
    TestWorld const world;
    Microphone const microphone(RingBytes, MakeFormat(2));
    WAVEFORMATEX format{};
    DWORD bytes = 0;
    EXPECT_EQ(microphone->GetFormat(&format, sizeof format, &bytes), DS_OK);
    EXPECT_EQ(bytes, sizeof format);
    EXPECT_EQ(format.nChannels, 2);
    EXPECT_EQ(format.nSamplesPerSec, 48'000U);
    EXPECT_EQ(world.OnlyCaptureBuffer().Format().nBlockAlign, 4);
    EXPECT_EQ(microphone->GetFormat(nullptr, 0, nullptr), DSERR_INVALIDPARAM);
}

TEST_F(CaptureBuffer_Unused, OperationsAnswerSensibly) {
    void* object = microphone.buffer;
    EXPECT_EQ(microphone->GetObjectInPath(GUID{}, 0, GUID{}, &object), DSERR_OBJECTNOTFOUND);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(microphone->GetFXStatus(0, nullptr), DSERR_CONTROLUNAVAIL);
    EXPECT_EQ(microphone->Initialize(microphone.capture, nullptr), DSERR_ALREADYINITIALIZED);
}

} // namespace
} // namespace Simulation
