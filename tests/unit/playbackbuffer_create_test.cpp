#include <cstring>

#include "primitives/primitives.h"
#include "support/deviceview.h"
#include "support/playbackbuffertest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using UnitTest::CodedFrame;
using UnitTest::RawFrame;

class PlaybackBuffer_Construct : public UnitTest::PlaybackBufferTest {};
class PlaybackBuffer_Create : public UnitTest::PlaybackBufferTest {
protected:
    /// Nothing of a frame has been taken over.
    void ExpectAsConstructed() {
        EXPECT_FALSE(buffer->HasSoundBuffer());
        EXPECT_EQ(GetFields().sourceFrequency, 0U);
        EXPECT_EQ(GetFields().ringSamples, 0U);
        EXPECT_EQ(GetFields().nsPerSample, 1);
        EXPECT_EQ(GetFields().baseTimestamp, 0);
        EXPECT_THAT(UnitTest::BuffersOf(device), ElementsAre(nullptr));
    }

    /// What a creation refused by DirectSound leaves: the frame's figures without a sound buffer.
    void ExpectRefusedWithTheFramesFigures() {
        EXPECT_FALSE(buffer->HasSoundBuffer());
        EXPECT_EQ(GetFields().notify, nullptr);
        EXPECT_EQ(GetFields().sourceFrequency, 8000U);
        EXPECT_EQ(GetFields().ringSamples, 240000U);
        EXPECT_EQ(GetFields().nsPerSample, 20833);
        EXPECT_EQ(GetFields().baseTimestamp, Origin);
        EXPECT_THAT(UnitTest::BuffersOf(device), ElementsAre(nullptr));
        EXPECT_THAT(world.LiveBuffers(), IsEmpty());
    }
};
class PlaybackBuffer_Destroy : public UnitTest::PlaybackBufferTest {};

// --- construction

TEST_F(PlaybackBuffer_Construct, StartsWithoutASoundBufferAndCallsNothing) {
    auto const& record = GetFields();
    EXPECT_EQ(record.device, &device);
    EXPECT_EQ(record.soundBuffer, nullptr);
    EXPECT_EQ(record.notify, nullptr);
    EXPECT_NE(record.notifyPosition, nullptr);
    EXPECT_EQ(record.ringSamples, 0U);
    EXPECT_EQ(record.sourceFrequency, 0U);
    EXPECT_EQ(record.playFrequency, 0U);
    EXPECT_EQ(record.bytesPerSample, 2U);
    EXPECT_EQ(record.writePos, 0U);
    EXPECT_EQ(record.writeEnd, 0U);
    EXPECT_EQ(record.clearedEnd, 0U);
    EXPECT_EQ(record.lastServicedWritePos, 0U);
    EXPECT_EQ(record.measuredLagSum, 0U);
    EXPECT_EQ(record.expectedLagSum, 0U);
    EXPECT_EQ(record.nsPerSample, 1);
    EXPECT_EQ(record.baseTimestamp, 0);
    EXPECT_EQ(record.driftWindowStart, Kovra::JiffyTime::Now());
    EXPECT_EQ(record.volume, 1.0F);
    EXPECT_EQ(record.pan, 0.5F);
    EXPECT_EQ(record.lastSample, 0U);
    EXPECT_EQ(record.active, 0U);
    EXPECT_EQ(record.decodedFrame, nullptr);
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_Construct, HoldsAnInitialisedProcessingStateAlignedTo16Bytes) {
    auto const& state = GetFields().dspState;
    ASSERT_NE(state, nullptr);
    ASSERT_EQ(state->GetSize(), 124U);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(state->GetData()) % 16, 0U);
    auto const expected = Kovra::Buffer::Create(124, 16);
    Media::Primitives::InitProcessingState(expected->GetData());
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
    WAVEFORMATEX const format = Sound().Format();
    EXPECT_EQ(format.wFormatTag, 1);
    EXPECT_EQ(format.nChannels, 1);
    EXPECT_EQ(format.nSamplesPerSec, 48000U);
    EXPECT_EQ(format.nAvgBytesPerSec, 96000U);
    EXPECT_EQ(format.nBlockAlign, 2);
    EXPECT_EQ(format.wBitsPerSample, 16);
    EXPECT_EQ(format.cbSize, 0);
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
    EXPECT_EQ(GetFields().ringSamples, 240000U);
    EXPECT_EQ(GetFields().bytesPerSample, 2U);
    // Only the part that the ring addresses is cleared: 240000 positions of two bytes.
    EXPECT_TRUE(Sound().IsSilent(0, 240000));
    EXPECT_NE(Sound().SampleAt(240000), 0);
    EXPECT_THAT(TakeCalls({Call_t::BufferLock}), ElementsAre("Lock(0, 480000)"));
}

TEST_F(PlaybackBuffer_Create, RateOfTheFrameIsKeptButTheBufferRunsAt48Kilohertz) {
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2}, 8000)), 0);
    EXPECT_EQ(Sound().Format().nSamplesPerSec, 48000U);
    EXPECT_EQ(Sound().RingBytes(), 480000U);
    EXPECT_EQ(GetFields().sourceFrequency, 8000U);
}

TEST_F(PlaybackBuffer_Create, SetsTheRingUpWithTheFramesTimestampAsOrigin) {
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_EQ(GetFields().ringSamples, 240000U);
    EXPECT_EQ(GetFields().bytesPerSample, 2U);
    EXPECT_EQ(GetFields().nsPerSample, 20833);
    EXPECT_EQ(GetFields().baseTimestamp, Origin);
    EXPECT_EQ(GetFields().sourceFrequency, 48000U);
    EXPECT_EQ(GetFields().playFrequency, 0U);
    EXPECT_EQ(GetFields().active, 0U);
}

TEST_F(PlaybackBuffer_Create, ClearsTheWholeRingAndDoesNotPlay) {
    GetFields().clearedEnd = 777;
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
    EXPECT_EQ(GetFields().clearedEnd, 0U);
    EXPECT_FALSE(Sound().IsPlaying());
}

TEST_F(PlaybackBuffer_Create, RegistersWithTheDeviceAndKeepsItsEvent) {
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_THAT(UnitTest::BuffersOf(device), ElementsAre(nullptr, buffer.get()));
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
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    // 0.5 ^ (11/32) = 0.787990; 20000 * 0.25 - 10000.
    EXPECT_EQ(Sound().Volume(), -2121);
    EXPECT_EQ(Sound().Pan(), -5000);
    EXPECT_EQ(GetFields().volume, 0.5F);
    EXPECT_EQ(GetFields().pan, 0.25F);
}

TEST_F(PlaybackBuffer_Create, CodedFrameGivesABufferOfItsChannels) {
    EXPECT_EQ(buffer->CreateSoundBuffer(CodedFrame(Media::MediaCoding_t::Aac, Origin, {1}, 44100)), 0);
    EXPECT_EQ(Sound().Format().nChannels, 1);
    EXPECT_EQ(GetFields().sourceFrequency, 44100U);
}

// --- creation: nothing to create with

TEST_F(PlaybackBuffer_Create, GivesMinus27OnAClosedDevice) {
    device.Close();
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), -27);
    ExpectAsConstructed();
}

TEST_F(PlaybackBuffer_Create, GivesMinus27WithoutAKnownOutput) {
    world.Device().SetDevices({});
    Media::RendererAudioPlaybackDevice unlisted;
    Media::RendererAudioPlaybackDevicePeer::OpenWithoutThread(unlisted);
    buffer = std::make_unique<Media::RendererAudioPlaybackBuffer>(unlisted);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), -27);
    ExpectAsConstructed();
    buffer.reset();
    EXPECT_THAT(TakeCalls({Call_t::SoundCreateSoundBuffer}), IsEmpty());
}

TEST_F(PlaybackBuffer_Create, GivesMinus27WithoutAFrame) {
    EXPECT_EQ(buffer->CreateSoundBuffer(nullptr), -27);
    ExpectAsConstructed();
}

// --- creation: refusals

TEST_F(PlaybackBuffer_Create, GivesMinus1ForARateOfZero) {
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2}, 0)), -1);
    ExpectAsConstructed();
    EXPECT_THAT(TakeCalls({Call_t::SoundCreateSoundBuffer}), IsEmpty());
}

TEST_F(PlaybackBuffer_Create, GivesMinus1WhenDirectSoundCreatesNone) {
    world.Faults().Fail(Call_t::SoundCreateSoundBuffer, 1, DSERR_OUTOFMEMORY);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2}, 8000)), -1);
    ExpectRefusedWithTheFramesFigures();
}

TEST_F(PlaybackBuffer_Create, GivesMinus1WhenDirectSoundSucceedsWithoutABuffer) {
    world.Faults().Fail(Call_t::SoundCreateSoundBuffer, 1, DS_OK);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2}, 8000)), -1);
    ExpectRefusedWithTheFramesFigures();
}

TEST_F(PlaybackBuffer_Create, GivesMinus1WithoutTheInterfaceAndReleasesTheBuffer) {
    world.Faults().Fail(Call_t::BufferQueryBuffer8, 1, E_NOINTERFACE);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2}, 8000)), -1);
    ExpectRefusedWithTheFramesFigures();
    EXPECT_THAT(TakeCalls(CallSet::Buffer() | CallSet::Win32()), IsEmpty());
}

TEST_F(PlaybackBuffer_Create, GivesMinus1ForNoChannels) {
    world.AllowMisuse();
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2}, 8000, 0)), -1);
    ExpectRefusedWithTheFramesFigures();
    world.TakeMisuse();
}

TEST_F(PlaybackBuffer_Create, GivesMinus1ForMoreChannelsThanABlockHolds) {
    // 0x8000 channels of two bytes are 0x10000 bytes, of which 16 bits keep none.
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2}, 8000, 0x8000)), -1);
    ExpectRefusedWithTheFramesFigures();
}

TEST_F(PlaybackBuffer_Create, SucceedsAfterARefusal) {
    world.Faults().Fail(Call_t::SoundCreateSoundBuffer, 1, DSERR_OUTOFMEMORY);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2}, 8000)), -1);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin + 5, {1, 2}, 48000)), 0);
    EXPECT_TRUE(buffer->HasSoundBuffer());
    EXPECT_EQ(GetFields().sourceFrequency, 48000U);
    EXPECT_EQ(GetFields().baseTimestamp, Origin + 5);
    EXPECT_THAT(UnitTest::BuffersOf(device), ElementsAre(nullptr, buffer.get()));
}

// --- creation: failures that nobody asks about

TEST_F(PlaybackBuffer_Create, GoesOnWithoutTheNotifyInterface) {
    world.Faults().Fail(Call_t::BufferQueryNotify, 1, E_NOINTERFACE);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_EQ(GetFields().notify, nullptr);
    EXPECT_THAT(UnitTest::BuffersOf(device), ElementsAre(nullptr, buffer.get()));
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
}

TEST_F(PlaybackBuffer_Create, GoesOnWithoutAnEvent) {
    world.Faults().Fail(Call_t::Win32CreateEvent, 1, 0);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_EQ(GetFields().notifyPosition->hEventNotify, nullptr);
    EXPECT_THAT(UnitTest::BuffersOf(device), ElementsAre(nullptr, buffer.get()));
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
}

TEST_F(PlaybackBuffer_Create, GoesOnWhenVolumeIsRefused) {
    world.Faults().Fail(Call_t::BufferSetVolume, 1, DSERR_CONTROLUNAVAIL);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_THAT(TakeCalls(), ElementsAre("SetVolume(0) = 0x8878001e", "SetPan(0)", "SetCurrentPosition(0)",
                                         "Lock(0, 480000)", "Unlock(480000, 0)"));
}

TEST_F(PlaybackBuffer_Create, GoesOnWhenPanIsRefused) {
    world.Faults().Fail(Call_t::BufferSetPan, 1, DSERR_CONTROLUNAVAIL);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_THAT(TakeCalls(), ElementsAre("SetVolume(0)", "SetPan(0) = 0x8878001e", "SetCurrentPosition(0)",
                                         "Lock(0, 480000)", "Unlock(480000, 0)"));
}

TEST_F(PlaybackBuffer_Create, GoesOnWhenTheCursorCannotBeSet) {
    world.Faults().Fail(Call_t::BufferSetCurrentPosition, 1, DSERR_PRIOLEVELNEEDED);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
    EXPECT_THAT(UnitTest::BuffersOf(device), ElementsAre(nullptr, buffer.get()));
}

TEST_F(PlaybackBuffer_Create, GoesOnWhenTheRingCannotBeLocked) {
    GetFields().clearedEnd = 777;
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_GENERIC);
    EXPECT_EQ(buffer->CreateSoundBuffer(RawFrame(Origin, {1, 2})), 0);
    EXPECT_EQ(GetFields().clearedEnd, 777U);
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
    EXPECT_EQ(UnitTest::BuffersOf(device).size(), 1U);
}

TEST_F(PlaybackBuffer_Destroy, ClosesItsOwnEventAndWakesTheDevice) {
    Create();
    buffer.reset();
    EXPECT_THAT(TakeCalls(CallSet::Win32()), ElementsAre("SetEvent(1)", "CloseHandle(2)"));
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

TEST_F(PlaybackBuffer_Destroy, DropsTheProcessingStateAndTheDecodedFrame) {
    Create();
    auto const state = GetFields().dspState;
    auto const frame = RawFrame(Origin, {1, 2});
    GetFields().decodedFrame = frame;
    buffer.reset();
    EXPECT_EQ(frame.use_count(), 1);
    EXPECT_EQ(state->GetSize(), 124U);
}

} // namespace
