#include "support/module/deviceview.h"
#include "support/module/playbackbuffertest.h"

namespace UnitTest {
namespace {

class PlaybackBuffer_WriteFrameOfAnotherRate : public PlaybackBufferTest {
protected:
    static std::shared_ptr<FrameAudRaw> FrameOf(std::uint32_t frequencyHz, std::int64_t offsetNanoSec = 0,
                                                std::uint32_t channels = 1) {
        return RawFrame(Origin + offsetNanoSec, {11, 12}, frequencyHz, channels);
    }
};

TEST_F(PlaybackBuffer_WriteFrameOfAnotherRate, RebuildsTheSoundBufferBeforeWriting) {
    Create();
    EXPECT_TRUE(buffer->WriteFrame(FrameOf(44100, 777)));
    EXPECT_THAT(
        TakeFullNames(CallSet::Buffer() | CallSet::Win32() |
                      CallSet{Call_t::NotifyRelease, Call_t::BufferRelease, Call_t::BufferQueryBuffer8,
                              Call_t::BufferQueryNotify, Call_t::SoundCreateSoundBuffer}),
        ElementsAre("SoundNotify::Release", "Win32::SetEvent", "Win32::CloseHandle", "SoundBuffer::Release",
                    "Sound::CreateSoundBuffer", "SoundBuffer::QueryInterface(IDirectSoundBuffer8)",
                    "SoundBuffer::Release", "SoundBuffer::SetVolume", "SoundBuffer::SetPan",
                    "SoundBuffer::SetCurrentPosition", "SoundBuffer::QueryInterface(IDirectSoundNotify)",
                    "Win32::CreateEventA", "Win32::SetEvent", "SoundBuffer::Lock", "SoundBuffer::Unlock",
                    "SoundBuffer::Lock", "SoundBuffer::Unlock"));
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer resetting frequency to 44100")));
}

TEST_F(PlaybackBuffer_WriteFrameOfAnotherRate, StartsTheTimelineAtThatFrame) {
    Create();
    EXPECT_TRUE(Write(0, 480, 7));
    EXPECT_TRUE(buffer->WriteFrame(FrameOf(44100, 3'000'000'000)));
    EXPECT_EQ(world.Buffers().size(), 2U);
    EXPECT_EQ(Sound().Samples(0, 2), (std::vector<std::int16_t>{11, 12}));
    EXPECT_TRUE(Sound().IsSilent(2, RingSamples - 2));
    EXPECT_EQ(Sound().Format().nSamplesPerSec, 48000U);
}

TEST_F(PlaybackBuffer_WriteFrameOfAnotherRate, TakesTheNewEventAndItsPlaceInTheRegistry) {
    Create();
    EXPECT_TRUE(buffer->WriteFrame(FrameOf(44100)));
    EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr, buffer.get()));
    EXPECT_EQ(world.EventNumber(GetFields().notifyPosition->hEventNotify), 3U);
    EXPECT_EQ(world.OpenHandles(), 2U);
}

TEST_F(PlaybackBuffer_WriteFrameOfAnotherRate, StopsWhatWasPlaying) {
    Create();
    Play();
    EXPECT_TRUE(buffer->WriteFrame(FrameOf(44100)));
    EXPECT_FALSE(Sound().IsPlaying());
}

TEST_F(PlaybackBuffer_WriteFrameOfAnotherRate, TheNextFrameOfThatRateRebuildsNothing) {
    Create();
    EXPECT_TRUE(buffer->WriteFrame(FrameOf(44100)));
    TakeLog();
    EXPECT_TRUE(buffer->WriteFrame(FrameOf(44100)));
    EXPECT_EQ(world.Buffers().size(), 2U);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_WriteFrameOfAnotherRate, CodedFramesCountByTheirOwnRate) {
    codec.decode = [](Frames const&) { return Frames{ConstantFrame(0, 480, 7)}; };
    Create();
    EXPECT_TRUE(buffer->WriteFrame(CodedFrame(MediaCoding_t::G711, Origin, {1}, 8000)));
    EXPECT_EQ(Sound().Samples(0, 480), Repeat(480, 7));
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer resetting frequency to 8000")));
}

TEST_F(PlaybackBuffer_WriteFrameOfAnotherRate, RateBeyondThirtyOneBitsIsLoggedSigned) {
    Create();
    EXPECT_TRUE(buffer->WriteFrame(FrameOf(UINT32_MAX)));
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer resetting frequency to -1")));
}

TEST_F(PlaybackBuffer_WriteFrameOfAnotherRate, FirstFrameWithoutASoundBufferMakesOne) {
    EXPECT_TRUE(buffer->WriteFrame(FrameOf(48000)));
    EXPECT_TRUE(buffer->HasSoundBuffer());
    EXPECT_EQ(Sound().Samples(0, 2), (std::vector<std::int16_t>{11, 12}));
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer resetting frequency to 48000")));
    EXPECT_THAT(TakeCalls({Call_t::Win32SetEvent, Call_t::Win32CloseHandle}), ElementsAre("SetEvent(1)"));
}

TEST_F(PlaybackBuffer_WriteFrameOfAnotherRate, WithoutTheNotifyInterfaceIsRebuiltAlike) {
    world.Faults().Fail(Call_t::BufferQueryNotify, 1, E_NOINTERFACE);
    Create();
    EXPECT_TRUE(buffer->WriteFrame(FrameOf(44100)));
    EXPECT_EQ(Sound().NotifyReferences(), 1U);
}

// --- the new sound buffer cannot be created

TEST_F(PlaybackBuffer_WriteFrameOfAnotherRate, DropsTheFrameWhenDirectSoundRefuses) {
    Create();
    EXPECT_TRUE(Write(0, 480, 7));
    world.Faults().Fail(Call_t::SoundCreateSoundBuffer, 1, DSERR_OUTOFMEMORY);
    EXPECT_FALSE(buffer->WriteFrame(FrameOf(44100, 777)));
    EXPECT_FALSE(buffer->HasSoundBuffer());
    EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr));
    EXPECT_THAT(world.LiveBuffers(), IsEmpty());
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer resetting frequency to 44100")));
    // Nothing of DirectSound is held any more.
    device.Close();
    EXPECT_EQ(world.LiveSounds(), 0U);
}

TEST_F(PlaybackBuffer_WriteFrameOfAnotherRate, OfNoChannelsIsDropped) {
    Create();
    world.AllowMisuse();
    EXPECT_FALSE(buffer->WriteFrame(FrameOf(44100, 0, 0)));
    world.TakeMisuse();
    EXPECT_FALSE(buffer->HasSoundBuffer());
}

TEST_F(PlaybackBuffer_WriteFrameOfAnotherRate, OfNoRateLosesTheSoundBufferUntilTheNextFrame) {
    Create();
    EXPECT_FALSE(buffer->WriteFrame(FrameOf(0)));
    EXPECT_FALSE(buffer->HasSoundBuffer());
    EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr));
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer resetting frequency to 0")));
    EXPECT_TRUE(buffer->WriteFrame(FrameOf(48000)));
    EXPECT_TRUE(buffer->HasSoundBuffer());
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer resetting frequency to 48000")));
}

TEST_F(PlaybackBuffer_WriteFrameOfAnotherRate, OfNoRateAsTheFirstFrameIsDropped) {
    EXPECT_FALSE(buffer->WriteFrame(FrameOf(0)));
    EXPECT_FALSE(buffer->HasSoundBuffer());
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_WriteFrameOfAnotherRate, OnAClosedDeviceLosesTheSoundBufferAndKeepsTheOldRate) {
    Create();
    device.Close();
    EXPECT_FALSE(buffer->WriteFrame(FrameOf(44100)));
    EXPECT_FALSE(buffer->HasSoundBuffer());
    EXPECT_THAT(world.LiveBuffers(), IsEmpty());
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer resetting frequency to 48000")));
}

TEST_F(PlaybackBuffer_WriteFrameOfAnotherRate, OnADeviceNeverOpenedIsDropped) {
    device.Close();
    EXPECT_FALSE(buffer->WriteFrame(FrameOf(48000)));
    EXPECT_FALSE(buffer->HasSoundBuffer());
}

} // namespace
} // namespace UnitTest
