#include <gmock/gmock.h>

#include "helpers.h"
#include "simulation/testworld.h"

// Controls, status, loss and references of a sound buffer.

namespace Simulation {
namespace {

using SoundBuffer_SetVolume = PlayableTest;
using SoundBuffer_SetPan = PlayableTest;
using SoundBuffer_SetFrequency = PlayableTest;
using SoundBuffer_GetStatus = PlayableTest;
using SoundBuffer_Play = PlayableTest;
using SoundBuffer_Lose = PlayableTest;
using SoundBuffer_Unlock = PlayableTest;
using SoundBuffer_Describe = PlayableTest;
using SoundBuffer_QueryInterface = PlayableTest;
using SoundBuffer_Unused = PlayableTest;

TEST_F(SoundBuffer_SetVolume, TakesTheRangeOfTheApi) {
    EXPECT_EQ(playable->SetVolume(1), DSERR_INVALIDPARAM);
    EXPECT_EQ(playable->SetVolume(0), DS_OK);
    EXPECT_EQ(playable->SetVolume(-10'001), DSERR_INVALIDPARAM);
    EXPECT_EQ(playable->SetVolume(-10'000), DS_OK);
    LONG volume = 1;
    EXPECT_EQ(playable->GetVolume(&volume), DS_OK);
    EXPECT_EQ(volume, -10'000);
    EXPECT_EQ(world.OnlyBuffer().Volume(), -10'000);
    EXPECT_EQ(playable->GetVolume(nullptr), DSERR_INVALIDPARAM);
}

TEST_F(SoundBuffer_SetPan, TakesTheRangeOfTheApi) {
    EXPECT_EQ(playable->SetPan(10'001), DSERR_INVALIDPARAM);
    EXPECT_EQ(playable->SetPan(10'000), DS_OK);
    EXPECT_EQ(playable->SetPan(-10'001), DSERR_INVALIDPARAM);
    EXPECT_EQ(playable->SetPan(-10'000), DS_OK);
    LONG pan = 1;
    EXPECT_EQ(playable->GetPan(&pan), DS_OK);
    EXPECT_EQ(pan, -10'000);
    EXPECT_EQ(world.OnlyBuffer().Pan(), -10'000);
}

TEST_F(SoundBuffer_SetFrequency, TakesTheRangeOfTheApiAndZeroForTheFormatsOwn) {
    EXPECT_EQ(playable->SetFrequency(99), DSERR_INVALIDPARAM);
    EXPECT_EQ(playable->SetFrequency(100), DS_OK);
    EXPECT_EQ(playable->SetFrequency(200'001), DSERR_INVALIDPARAM);
    EXPECT_EQ(playable->SetFrequency(200'000), DS_OK);
    EXPECT_EQ(world.OnlyBuffer().Frequency(), 200'000U);
    EXPECT_EQ(playable->SetFrequency(DSBFREQUENCY_ORIGINAL), DS_OK);
    DWORD frequency = 0;
    EXPECT_EQ(playable->GetFrequency(&frequency), DS_OK);
    EXPECT_EQ(frequency, 48'000U);
}

TEST(SoundBuffer_Controls, AreRefusedWhenTheDescriptionDidNotAskForThem) {
    TestWorld const world;
    Playable playable(RingBytes, MakeFormat(), DSBCAPS_GLOBALFOCUS);
    LONG value = 0;
    EXPECT_EQ(playable->SetVolume(0), DSERR_CONTROLUNAVAIL);
    EXPECT_EQ(playable->GetVolume(&value), DSERR_CONTROLUNAVAIL);
    EXPECT_EQ(playable->SetPan(0), DSERR_CONTROLUNAVAIL);
    EXPECT_EQ(playable->GetPan(&value), DSERR_CONTROLUNAVAIL);
    EXPECT_EQ(playable->SetFrequency(48'000), DSERR_CONTROLUNAVAIL);
    EXPECT_EQ(playable.notify, nullptr);
}

TEST_F(SoundBuffer_GetStatus, TellsPlayingAndLooping) {
    DWORD status = 99;
    EXPECT_EQ(playable->GetStatus(&status), DS_OK);
    EXPECT_EQ(status, 0U);
    playable->Play(0, 0, 0);
    playable->GetStatus(&status);
    EXPECT_EQ(status, static_cast<DWORD>(DSBSTATUS_PLAYING));
    playable->Play(0, 0, DSBPLAY_LOOPING);
    playable->GetStatus(&status);
    EXPECT_EQ(status, static_cast<DWORD>(DSBSTATUS_PLAYING | DSBSTATUS_LOOPING));
    EXPECT_TRUE(world.OnlyBuffer().IsLooping());
    playable->Stop();
    playable->GetStatus(&status);
    EXPECT_EQ(status, 0U);
    EXPECT_EQ(playable->GetStatus(nullptr), DSERR_INVALIDPARAM);
}

TEST_F(SoundBuffer_Play, RefusesWhatTheApiReserves) {
    EXPECT_EQ(playable->Play(1, 0, 0), DSERR_INVALIDPARAM);
    EXPECT_EQ(playable->Play(0, 1, 0), DSERR_INVALIDPARAM);
    EXPECT_EQ(playable->Play(0, 0, DSBPLAY_LOCHARDWARE), DSERR_INVALIDPARAM);
    EXPECT_FALSE(world.OnlyBuffer().IsPlaying());
}

TEST_F(SoundBuffer_Lose, RefusesLockAndPlayUntilRestore) {
    playable.Fill(0, 4, 7);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    SoundBuffer& buffer = world.OnlyBuffer();
    buffer.Lose();
    EXPECT_TRUE(buffer.IsLost());
    EXPECT_FALSE(buffer.IsPlaying());
    void* address = &buffer;
    DWORD bytes = 1;
    EXPECT_EQ(playable->Lock(0, 4, &address, &bytes, nullptr, nullptr, 0), DSERR_BUFFERLOST);
    EXPECT_EQ(address, nullptr);
    EXPECT_EQ(bytes, 0U);
    EXPECT_EQ(playable->Play(0, 0, DSBPLAY_LOOPING), DSERR_BUFFERLOST);
    DWORD status = 0;
    EXPECT_EQ(playable->GetStatus(&status), DS_OK);
    EXPECT_EQ(status, static_cast<DWORD>(DSBSTATUS_BUFFERLOST));
    EXPECT_EQ(playable->Restore(), DS_OK);
    EXPECT_EQ(playable->Play(0, 0, DSBPLAY_LOOPING), DS_OK);
    EXPECT_EQ(buffer.SampleAt(1), 7);
}

TEST_F(SoundBuffer_Unlock, OfALostBufferClosesTheLock) {
    void* address = nullptr;
    DWORD bytes = 0;
    playable->Lock(0, 4, &address, &bytes, nullptr, nullptr, 0);
    world.OnlyBuffer().Lose();
    EXPECT_EQ(playable->Unlock(address, bytes, nullptr, 0), DSERR_BUFFERLOST);
    EXPECT_EQ(world.OnlyBuffer().OpenLocks(), 0U);
}

TEST_F(SoundBuffer_Describe, GivesCapsAndFormat) {
    DSBCAPS caps{};
    EXPECT_EQ(playable->GetCaps(&caps), DSERR_INVALIDPARAM);
    caps.dwSize = sizeof caps;
    EXPECT_EQ(playable->GetCaps(&caps), DS_OK);
    EXPECT_EQ(caps.dwFlags, 0x81E8U);
    EXPECT_EQ(caps.dwBufferBytes, 480'000U);
    WAVEFORMATEX format{};
    DWORD written = 0;
    EXPECT_EQ(playable->GetFormat(&format, sizeof format, &written), DS_OK);
    EXPECT_EQ(written, sizeof format);
    EXPECT_EQ(format.nSamplesPerSec, 48'000U);
    EXPECT_EQ(world.OnlyBuffer().Format().nBlockAlign, 2);
    EXPECT_EQ(world.OnlyBuffer().Flags(), 0x81E8U);
    EXPECT_EQ(world.OnlyBuffer().RingBytes(), 480'000U);
}

TEST(SoundBuffer_References, AreCountedForTheBufferAndItsNotifyInterface) {
    TestWorld world;
    SoundBuffer* buffer = nullptr;
    {
        Playable playable;
        buffer = &world.OnlyBuffer();
        EXPECT_EQ(buffer->References(), 2U);
        EXPECT_EQ(buffer->NotifyReferences(), 1U);
        EXPECT_EQ(playable->AddRef(), 3U);
        EXPECT_EQ(playable->Release(), 2U);
        EXPECT_EQ(playable.notify->AddRef(), 2U);
        EXPECT_EQ(playable.notify->Release(), 1U);
        void* unknown = nullptr;
        EXPECT_EQ(playable.notify->QueryInterface(IID_IUnknown, &unknown), S_OK);
        EXPECT_EQ(buffer->References(), 3U);
        // The identity of the object is one, whichever interface is asked.
        EXPECT_EQ(unknown, static_cast<IUnknown*>(playable.first));
        playable->Release();
    }
    EXPECT_EQ(buffer->References(), 0U);
    EXPECT_EQ(buffer->NotifyReferences(), 0U);
    EXPECT_TRUE(world.LiveBuffers().empty());
    EXPECT_EQ(world.Buffers().size(), 1U);
}

TEST_F(SoundBuffer_QueryInterface, KnowsNoOtherInterface) {
    void* object = &playable;
    EXPECT_EQ(playable->QueryInterface(IID_IDirectSound8, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(playable->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST(SoundBuffer_Release, ReportsUseAndReleaseAfterTheLast) {
    TestWorld world;
    IDirectSoundBuffer8* buffer = nullptr;
    IDirectSoundNotify* notify = nullptr;
    {
        Playable const playable;
        buffer = playable.buffer;
        notify = playable.notify;
    }
    world.AllowMisuse();
    EXPECT_EQ(buffer->Stop(), E_FAIL);
    EXPECT_EQ(buffer->Release(), 0U);
    EXPECT_EQ(notify->Release(), 0U);
    EXPECT_EQ(notify->SetNotificationPositions(0, nullptr), E_FAIL);
    EXPECT_THAT(world.TakeMisuse(),
                testing::ElementsAre(
                    "SoundBuffer::Stop on sound buffer 1 after its last release",
                    "SoundBuffer::Release on sound buffer 1 after its last release",
                    "SoundNotify::Release on sound buffer 1 after its last release",
                    "SoundNotify::SetNotificationPositions on sound buffer 1 after its last release"));
}

TEST(SoundBuffer_Release, TheLastOneEndsPlayingAndNotifications) {
    TestWorld world;
    TestEvent const event;
    {
        Playable playable;
        DSBPOSITIONNOTIFY point{};
        point.dwOffset = 100;
        point.hEventNotify = event.handle;
        playable.notify->SetNotificationPositions(1, &point);
        playable->Play(0, 0, DSBPLAY_LOOPING);
    }
    world.Clock().AdvanceMilliSec(1'000);
    EXPECT_FALSE(event.IsSignalled());
    EXPECT_FALSE(world.LatestBuffer().IsPlaying());
}

TEST_F(SoundBuffer_Unused, OperationsAnswerSensibly) {
    EXPECT_EQ(playable->Initialize(nullptr, nullptr), DSERR_ALREADYINITIALIZED);
    EXPECT_EQ(playable->SetFormat(nullptr), DSERR_INVALIDCALL);
    EXPECT_EQ(playable->SetFX(0, nullptr, nullptr), DSERR_CONTROLUNAVAIL);
    EXPECT_EQ(playable->AcquireResources(0, 0, nullptr), DS_OK);
    void* object = &playable;
    EXPECT_EQ(playable->GetObjectInPath(IID_IUnknown, 0, IID_IUnknown, &object), DSERR_OBJECTNOTFOUND);
    EXPECT_EQ(object, nullptr);
}

} // namespace
} // namespace Simulation
