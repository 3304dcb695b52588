#include <cstring>

#include "primitives/primitives.h"
#include "support/module/deviceview.h"
#include "support/module/playbackbuffertest.h"

namespace UnitTest {
namespace {

class PlaybackBuffer_Construct : public PlaybackBufferTest {};
class PlaybackBuffer_Create : public PlaybackBufferTest {
protected:
    /// There is no sound buffer, and none is registered.
    void ExpectNone() {
        EXPECT_FALSE(buffer->HasSoundBuffer());
        EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr));
    }

    /// DirectSound has kept nothing either.
    void ExpectRefused() {
        ExpectNone();
        EXPECT_THAT(world.LiveBuffers(), IsEmpty());
    }
};
class PlaybackBuffer_Destroy : public PlaybackBufferTest {};

// --- construction

TEST_F(PlaybackBuffer_Construct, CallsNothing) {
    EXPECT_FALSE(buffer->HasSoundBuffer());
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_Construct, HoldsAnInitialisedProcessingStateAlignedTo16Bytes) {
    auto const& state = GetFields().dspState;
    ASSERT_NE(state, nullptr);
    ASSERT_EQ(state->GetSize(), 124U);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(state->GetData()) % 16, 0U);
    auto const expected = Kovra::Buffer::Create(124, 16);
    Primitives::InitProcessingState(expected->GetData());
    EXPECT_EQ(std::memcmp(state->GetData(), expected->GetData(), 124), 0);
}

// --- creation

TEST_F(PlaybackBuffer_Create, CallsTheDeviceAndTheNewBufferInOrder) {
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    // The wake event is number 1, the buffer's is number 2; 33256 is 0x81E8.
    EXPECT_THAT(
        TakeCalls(CallSet::Buffer() | CallSet::Win32() |
                  CallSet{Call_t::SoundCreateSoundBuffer, Call_t::BufferQueryBuffer,
                          Call_t::BufferQueryBuffer8, Call_t::BufferQueryNotify, Call_t::BufferQueryOther}),
        ElementsAre("CreateSoundBuffer(33256, 480000)", "QueryInterface(IDirectSoundBuffer8)", "SetVolume(0)",
                    "SetPan(0)", "SetCurrentPosition(0)", "QueryInterface(IDirectSoundNotify)",
                    "CreateEventA(0, 0)", "SetEvent(1)", "Lock(0, 480000)", "Unlock(480000, 0)"));
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_Create, MonoFrameGivesFiveSecondsOf16BitMonoAt48Kilohertz) {
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_TRUE(buffer->HasSoundBuffer());
    ExpectSixteenBitMono(Sound().Format());
    EXPECT_EQ(Sound().RingBytes(), 480000U);
    EXPECT_EQ(Sound().Flags(), 0x81E8U);
}

TEST_F(PlaybackBuffer_Create, StereoFrameGivesABufferTwiceAsLongWithTheSameRing) {
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2}, 48000, 2)), 0);
    WAVEFORMATEX const format = Sound().Format();
    EXPECT_EQ(format.nChannels, 2);
    EXPECT_EQ(format.nSamplesPerSec, 48000U);
    EXPECT_EQ(format.nAvgBytesPerSec, 192000U);
    EXPECT_EQ(format.nBlockAlign, 4);
    EXPECT_EQ(Sound().RingBytes(), 960000U);
    // Only the part that the ring addresses is cleared: 240000 positions of two bytes.
    EXPECT_TRUE(Sound().IsSilent(0, 240000));
    EXPECT_NE(Sound().SampleAt(240000), 0);
    EXPECT_THAT(TakeCalls({Call_t::BufferLock}), ElementsAre("Lock(0, 480000)"));
}

TEST_F(PlaybackBuffer_Create, ClearsTheWholeRingAndDoesNotPlay) {
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
    EXPECT_FALSE(Sound().IsPlaying());
}

TEST_F(PlaybackBuffer_Create, RegistersWithTheDeviceAndKeepsItsEvent) {
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr, buffer.get()));
    EXPECT_EQ(world.EventNumber(GetFields().notifyPosition->hEventNotify), 2U);
    EXPECT_EQ(world.OpenHandles(), 2U);
}

TEST_F(PlaybackBuffer_Create, HoldsOneReferenceOnEachInterface) {
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_EQ(Sound().References(), 1U);
    EXPECT_EQ(Sound().NotifyReferences(), 1U);
}

TEST_F(PlaybackBuffer_Create, KeepsDirectSoundThoughTheDeviceIsClosed) {
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    device.Close();
    // Its buffers go with DirectSound's object, which the device does not hold any more.
    EXPECT_EQ(world.LiveSounds(), 1U);
    EXPECT_TRUE(Write(0, 2, 7));
    buffer.reset();
    EXPECT_EQ(world.LiveSounds(), 0U);
}

TEST_F(PlaybackBuffer_Create, AppliesTheVolumeAndTheBalanceStoredBefore) {
    buffer->SetVolume(0.5F, false);
    buffer->SetPan(0.25F);
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    // 0.5 ^ (11/32) = 0.787990; 20000 * 0.25 - 10000.
    EXPECT_EQ(Sound().Volume(), -2121);
    EXPECT_EQ(Sound().Pan(), -5000);
}

TEST_F(PlaybackBuffer_Create, CodedFrameGivesABufferOfItsChannels) {
    EXPECT_EQ(buffer->CreateSoundBuffer(CodedFrame(MediaCoding_t::Aac, Origin, {1}, 44100)), 0);
    EXPECT_EQ(Sound().Format().nChannels, 1);
}

// --- creation: nothing to create with

TEST_F(PlaybackBuffer_Create, GivesMinus27OnAClosedDevice) {
    device.Close();
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), -27);
    ExpectNone();
}

TEST_F(PlaybackBuffer_Create, GivesMinus27WithoutAKnownOutput) {
    world.Device().SetDevices({});
    RendererAudioPlaybackDevice unlisted;
    DevicePeer::OpenWithoutThread(unlisted);
    buffer = std::make_unique<RendererAudioPlaybackBuffer>(unlisted);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), -27);
    ExpectNone();
    buffer.reset();
    EXPECT_THAT(TakeCalls({Call_t::SoundCreateSoundBuffer}), IsEmpty());
}

TEST_F(PlaybackBuffer_Create, GivesMinus27WithoutAFrame) {
    EXPECT_EQ(buffer->CreateSoundBuffer(nullptr), -27);
    ExpectNone();
}

// --- creation: refusals

TEST_F(PlaybackBuffer_Create, GivesMinus1WithoutABufferFromDirectSoundUntilTheNextTry) {
    for (HRESULT const result : {HRESULT{DSERR_OUTOFMEMORY}, HRESULT{DS_OK}}) {
        world.Faults().Fail(Call_t::SoundCreateSoundBuffer, 1, result);
        EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2}, 8000)), -1);
        ExpectRefused();
    }
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin + 5, {1, 2}, 48000)), 0);
    EXPECT_TRUE(buffer->HasSoundBuffer());
    EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr, buffer.get()));
    // At the timestamp and the rate of the frame of that try.
    EXPECT_TRUE(Write(5, 480, 7));
    EXPECT_EQ(Sound().Samples(0, 480), Repeat(480, 7));
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_Create, GivesMinus1ForARateOfZero) {
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2}, 0)), -1);
    ExpectNone();
    EXPECT_THAT(TakeCalls({Call_t::SoundCreateSoundBuffer}), IsEmpty());
}

TEST_F(PlaybackBuffer_Create, GivesMinus1WithoutTheInterfaceAndReleasesTheBuffer) {
    world.Faults().Fail(Call_t::BufferQueryBuffer8, 1, E_NOINTERFACE);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2}, 8000)), -1);
    ExpectRefused();
    EXPECT_THAT(TakeCalls(CallSet::Buffer() | CallSet::Win32()), IsEmpty());
}

TEST_F(PlaybackBuffer_Create, GivesMinus1ForNoChannels) {
    world.AllowMisuse();
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2}, 8000, 0)), -1);
    ExpectRefused();
    world.TakeMisuse();
}

TEST_F(PlaybackBuffer_Create, GivesMinus1ForMoreChannelsThanABlockHolds) {
    // 0x8000 channels of two bytes are 0x10000 bytes, of which 16 bits keep none.
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2}, 8000, 0x8000)), -1);
    ExpectRefused();
}

// --- creation: failures that nobody asks about

TEST_F(PlaybackBuffer_Create, GoesOnWhenVolumeBalanceOrCursorAreRefused) {
    for (Call_t const call :
         {Call_t::BufferSetVolume, Call_t::BufferSetPan, Call_t::BufferSetCurrentPosition}) {
        buffer = std::make_unique<RendererAudioPlaybackBuffer>(device);
        TakeCalls();
        world.Faults().Fail(call, 1, DSERR_CONTROLUNAVAIL);
        EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
        EXPECT_THAT(
            TakeFullNames(CallSet::Buffer()),
            ElementsAre("SoundBuffer::SetVolume", "SoundBuffer::SetPan", "SoundBuffer::SetCurrentPosition",
                        "SoundBuffer::Lock", "SoundBuffer::Unlock"));
        EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr, buffer.get()));
    }
}

TEST_F(PlaybackBuffer_Create, GoesOnWithoutTheNotifyInterface) {
    world.Faults().Fail(Call_t::BufferQueryNotify, 1, E_NOINTERFACE);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr, buffer.get()));
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
}

TEST_F(PlaybackBuffer_Create, GoesOnWithoutAnEvent) {
    world.Faults().Fail(Call_t::Win32CreateEvent, 1, 0);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_EQ(GetFields().notifyPosition->hEventNotify, nullptr);
    EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr, buffer.get()));
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
}

TEST_F(PlaybackBuffer_Create, GoesOnWhenTheRingCannotBeLocked) {
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_GENERIC);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_NE(Sound().SampleAt(0), 0);
}

// --- destruction

TEST_F(PlaybackBuffer_Destroy, ReleasesTheNotificationUnregistersThenReleasesTheBuffer) {
    Create();
    buffer.reset();
    EXPECT_THAT(
        TakeFullNames(CallSet::Buffer() | CallSet::Win32() |
                      CallSet{Call_t::NotifyRelease, Call_t::BufferRelease}),
        ElementsAre("SoundNotify::Release", "Win32::SetEvent", "Win32::CloseHandle", "SoundBuffer::Release"));
    EXPECT_THAT(world.LiveBuffers(), IsEmpty());
    EXPECT_EQ(world.OpenHandles(), 1U);
    EXPECT_EQ(BuffersOf(device).size(), 1U);
}

TEST_F(PlaybackBuffer_Destroy, CallsNothingWithoutASoundBuffer) {
    buffer.reset();
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
}

TEST_F(PlaybackBuffer_Destroy, ReleasesABufferWithoutTheNotifyInterface) {
    world.Faults().Fail(Call_t::BufferQueryNotify, 1, E_NOINTERFACE);
    Create();
    buffer.reset();
    EXPECT_THAT(TakeFullNames(CallSet::Buffer() | CallSet::Win32() |
                              CallSet{Call_t::NotifyRelease, Call_t::BufferRelease}),
                ElementsAre("Win32::SetEvent", "Win32::CloseHandle", "SoundBuffer::Release"));
}

TEST_F(PlaybackBuffer_Destroy, ClosesNoHandleWithoutAnEvent) {
    world.Faults().Fail(Call_t::Win32CreateEvent, 1, 0);
    Create();
    buffer.reset();
    EXPECT_THAT(TakeCalls(CallSet::Win32()), ElementsAre("SetEvent(1)"));
    EXPECT_THAT(world.LiveBuffers(), IsEmpty());
}

} // namespace
} // namespace UnitTest
