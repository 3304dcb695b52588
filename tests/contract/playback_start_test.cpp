// What the shipped library asks of DirectSound, call by call: from its opening to a session's first sound,
// and at the end.

#include "codedframes.h"
#include "playbackstage.h"

namespace ContractTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class Library_Opening : public PlaybackStage {};
class Library_FirstFrame : public PlaybackStage {};
class Library_End : public PlaybackStage {};

constexpr std::size_t WakeEvents = 2;

// Output first, of which nothing but the default device is opened, by priority on the desktop; then the
// input, which alone is asked what it can do.
TEST_F(Library_Opening, EnumeratesAndCreatesOutputThenInput) {
    Initialize();
    EXPECT_THAT(TakeCalls(),
                ElementsAre("DirectSoundEnumerateA()", "DirectSoundCreate8()", "SetCooperativeLevel(2)",
                            "DirectSoundCaptureEnumerateA()", "DirectSoundCaptureCreate8()", "GetCaps()"));
    EXPECT_EQ(world.CooperativeWindow(), GetDesktopWindow());
    EXPECT_TRUE(renderer->IsEnabled());
}

TEST_F(Library_Opening, ComesAfterAConstructionThatMakesOneWakeEventForEachDevice) {
    EXPECT_EQ(calls.CreatedEvents(), WakeEvents);
    EXPECT_EQ(calls.OpenEvents(), WakeEvents);
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

// Priority before name; then it waits without limit for the wake event alone, which `Initialize` sees to.
TEST_F(Library_Opening, StartsThePlaybackThread) {
    Initialize();
    EXPECT_THAT(calls.ThreadTexts(),
                ElementsAre("SetThreadPriority(6)", "SetThreadName(Media.RendererAudio.Playback)"));
}

TEST_F(Library_Opening, OfASessionOnAnOpenDeviceAsksNothing) {
    Begin();
    std::size_t const events = calls.CreatedEvents();
    EXPECT_NE(pipeline->OpenSession({}), Media::Pipeline::InvalidSession);
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_EQ(calls.CreatedEvents(), events);
}

TEST_F(Library_Opening, WithoutADriverSucceedsAndOpensTheInputAlone) {
    world.Faults().FailAlways(Call_t::SoundCreate8, DSERR_NODRIVER);
    EXPECT_EQ(renderer->Initialize(), 0);
    EXPECT_TRUE(renderer->IsEnabled());
    EXPECT_THAT(TakeCalls(),
                ElementsAre("DirectSoundEnumerateA()", "DirectSoundCreate8() = 0x88780078",
                            "DirectSoundCaptureEnumerateA()", "DirectSoundCaptureCreate8()", "GetCaps()"));

    // The outputs are known, so a session only tries to create, and is refused.
    EXPECT_EQ(pipeline->OpenSession({}), Media::Pipeline::InvalidSession);
    EXPECT_THAT(TakeCalls(), ElementsAre("DirectSoundCreate8() = 0x88780078"));
    EXPECT_THAT(calls.ThreadTexts(), IsEmpty());

    // Nothing of an output was there to be closed: only the input goes.
    renderer->Shutdown();
    EXPECT_THAT(TakeNames(CallSet::All()), ElementsAre("Capture::Release"));
    EXPECT_FALSE(renderer->IsEnabled());
}

TEST_F(Library_Opening, WithoutEnumerationFailsAndLeavesTheInputAlone) {
    world.Faults().Fail(Call_t::SoundEnumerate, 1, DSERR_GENERIC);
    EXPECT_EQ(renderer->Initialize(), -26);
    EXPECT_FALSE(renderer->IsEnabled());
    EXPECT_THAT(TakeCalls(), ElementsAre("DirectSoundEnumerateA() = 0x80004005"));
}

TEST_F(Library_Opening, WithoutPriorityGivesDirectSoundBackAndFails) {
    world.Faults().Fail(Call_t::SoundSetCooperativeLevel, 1, DSERR_ALLOCATED);
    EXPECT_EQ(renderer->Initialize(), -1);
    EXPECT_EQ(world.LiveSounds(), 0U);
    EXPECT_THAT(TakeNames(CallSet::All()),
                ElementsAre("DirectSound::DirectSoundEnumerateA", "DirectSound::DirectSoundCreate8",
                            "Sound::SetCooperativeLevel", "Sound::Release"));
}

// Five seconds of mono at 48000 Hz and two bytes are 480000 bytes. Flags: global focus 0x8000, position
// notification 0x100, volume 0x80, pan 0x40, frequency 0x20, software 0x8; together 0x81E8 = 33256.
// The frame's 960 samples are 1920 bytes from position 0 on. It is to be heard in 200 ms, which are
// 200,000,000 / 20833 = 9600 positions: the cursor starts at 0 - 9600 + 240000 = 230400, byte 460800. The
// notification point stands behind the frame, at byte 1920; the event behind it is the kernel's and has no
// number here.
TEST_F(Library_FirstFrame, MakesFillsAndStartsTheSoundBuffer) {
    Session const session = Begin();
    auto const report = Render(session, Frame(0));
    EXPECT_EQ(report.outcome, Outcome_t::Succeeded);
    EXPECT_EQ(report.achieved, report.requested);
    EXPECT_THAT(TakeCalls(), ElementsAre("CreateSoundBuffer(33256, 480000)",
                                         "QueryInterface(IDirectSoundBuffer8)", "SetVolume(0)", "SetPan(0)",
                                         "SetCurrentPosition(0)", "QueryInterface(IDirectSoundNotify)",
                                         "Lock(0, 480000)", "Unlock(480000, 0)",      // silence
                                         "Lock(0, 1920)", "Unlock(1920, 0)",          // the frame
                                         "GetStatus()", "SetCurrentPosition(460800)", // its start
                                         "SetFrequency(48000)", "SetNotificationPositions(1, 1920, 0)",
                                         "SetVolume(0)", "Play(1)"));
}

// AAC has 1024 samples in a frame: 2048 bytes, which is also where the notification point stands.
TEST_F(Library_FirstFrame, OfAacIsDecodedAndWritten) {
    Session const session = Begin();
    EXPECT_EQ(Render(session, AacFrame(Origin)).outcome, Outcome_t::Succeeded);
    auto const made = TakeCalls();
    ASSERT_THAT(made, SizeIs(16));
    EXPECT_EQ(made[8], "Lock(0, 2048)");
    EXPECT_EQ(made[9], "Unlock(2048, 0)");
    EXPECT_EQ(made[13], "SetNotificationPositions(1, 2048, 0)");
}

// mu-law 0x80 is the greatest positive value; 8000 Hz become 48000 Hz, yet the rate that counts
// is the frame's.
TEST_F(Library_FirstFrame, OfTelephoneSoundIsDecodedTranscodedAndWritten) {
    Session const session = Begin();
    EXPECT_EQ(Render(session, TelephoneFrame(Origin)).outcome, Outcome_t::Succeeded);
    EXPECT_GT(world.OnlyBuffer().SampleAt(480), 30000);
    world.Clock().AdvanceMilliSec(20);
    world.Journal().Clear();
    EXPECT_EQ(Render(session, TelephoneFrame(Origin + FrameNanoSec)).outcome, Outcome_t::Succeeded);
    EXPECT_THAT(world.Journal().Texts({Call_t::SoundCreateSoundBuffer}), IsEmpty());
}

TEST_F(Library_FirstFrame, GivesTheSoundBufferItsFormat) {
    Session const session = Begin();
    Render(session, UnitTest::RawFrame(Origin, std::vector<std::int16_t>(2 * FrameSamples), 44100, 2));
    // Two channels whose ring is five seconds of both; 48000 Hz whatever the frame's rate.
    WAVEFORMATEX const format = world.OnlyBuffer().Format();
    EXPECT_EQ(format.wFormatTag, WAVE_FORMAT_PCM);
    EXPECT_EQ(format.nChannels, 2);
    EXPECT_EQ(format.nSamplesPerSec, 48000U);
    EXPECT_EQ(format.nAvgBytesPerSec, 192000U);
    EXPECT_EQ(format.nBlockAlign, 4);
    EXPECT_EQ(format.wBitsPerSample, 16);
    EXPECT_EQ(format.cbSize, 0);
    EXPECT_EQ(world.OnlyBuffer().RingBytes(), 960000U);
}

TEST_F(Library_FirstFrame, GivesThePlaybackThreadASecondEventAndATimeout) {
    Session const session = Begin();
    Render(session, Frame(0));
    calls.AwaitWait(2, ServiceTimeoutMilliSec);
    auto const points = world.OnlyBuffer().NotificationPoints();
    ASSERT_THAT(points, SizeIs(1));
    EXPECT_EQ(points[0].dwOffset, 1920U);
}

TEST_F(Library_FirstFrame, TakesOverWhatTheClientHasAskedForBefore) {
    Session const session = Begin();
    Media::PipelineClientState_t client;
    client.volume = 0.5F;
    client.balance = 0.25F;
    EXPECT_TRUE(pipeline->SetClientState(session, client));
    pipeline->Drain();
    EXPECT_THAT(TakeCalls(), IsEmpty());
    Render(session, Frame(0));
    // 0.5 ^ 0.34375 = 0.78799: -10000 + 7879 = -2121. 0.25 x -20000 = -5000: -10000 + 5000 = -5000.
    auto const made = TakeCalls();
    ASSERT_THAT(made, SizeIs(16));
    EXPECT_EQ(made[2], "SetVolume(-2121)");
    EXPECT_EQ(made[3], "SetPan(-5000)");
    EXPECT_EQ(made[14], "SetVolume(-2121)");
}

TEST_F(Library_FirstFrame, IsLostWhenDirectSoundRefusesTheBufferAndTheNextTriesAgain) {
    Session const session = Begin();
    world.Faults().Fail(Call_t::SoundCreateSoundBuffer, 1, E_OUTOFMEMORY);
    EXPECT_EQ(Render(session, Frame(0)).outcome, Outcome_t::Uncompleted);
    EXPECT_THAT(TakeCalls(), ElementsAre("CreateSoundBuffer(33256, 480000) = 0x8007000e"));
    EXPECT_EQ(Render(session, Frame(0)).outcome, Outcome_t::Succeeded);
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
}

TEST_F(Library_End, OfASessionReleasesNotificationThenBuffer) {
    Session const session = Begin();
    PlayTwoFrames(session);
    HANDLE const event = EventOf(world.OnlyBuffer());
    pipeline->CloseSession(session);
    EXPECT_THAT(TakeNames(CallSet::All() - CallSet{Call_t::SoundRelease}),
                ElementsAre("SoundNotify::Release", "SoundBuffer::Release"));
    EXPECT_THAT(world.LiveBuffers(), IsEmpty());
    // DirectSound stays open, and the thread waits for the wake event alone.
    EXPECT_EQ(world.LiveSounds(), 1U);
    EXPECT_TRUE(calls.HasClosed(event));
    calls.AwaitWait(1, INFINITE);
}

TEST_F(Library_End, ShutdownReleasesOutputThenInput) {
    Session const session = Begin();
    PlayTwoFrames(session);
    pipeline->CloseSession(session);
    world.Journal().Clear();
    renderer->Shutdown();
    EXPECT_THAT(TakeNames(CallSet::All()), ElementsAre("Sound::Release", "Capture::Release"));
    EXPECT_EQ(world.LiveSounds(), 0U);
    EXPECT_EQ(world.LiveCaptures(), 0U);
    EXPECT_FALSE(renderer->IsEnabled());
    renderer->Shutdown();
    EXPECT_THAT(TakeNames(CallSet::All()), IsEmpty());
}

TEST_F(Library_End, AfterShutdownOpeningEnumeratesNothingAgain) {
    Begin();
    renderer->Shutdown();
    world.Journal().Clear();
    Initialize();
    EXPECT_THAT(TakeCalls(), ElementsAre("DirectSoundCreate8()", "SetCooperativeLevel(2)",
                                         "DirectSoundCaptureCreate8()", "GetCaps()"));
}

} // namespace
} // namespace ContractTest
