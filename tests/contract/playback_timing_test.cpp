// What the shipped library asks of DirectSound, call by call, while a session plays.

#include "playbackstage.h"

namespace ContractTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Library_Playing : public PlaybackStage {};
class Library_Pause : public PlaybackStage {};

// All of these sessions start their cursor 9600 positions (200 ms) before position 0, at 230400; it
// moves by 48 positions each millisecond.

// Frame 1 comes 20 ms after frame 0. Its place is 20,000,000 / 20833 = 960, byte 1920. The cursor stands at
// 230400 + 960 = 231360, which counts as that many positions played since the clearing at 0: whole granules
// of 128 make 1807 x 128 = 231296, byte 462592. The frame lies 960 - 231360 + 240000 = 9600 positions ahead,
// as asked for, and will be heard in 9600 x 20833 ns = 199.99 ms, told as 199.
TEST_F(Library_Playing, SecondFrameIsWrittenMeasuredAndPlayedSoundCleared) {
    Session const session = Begin();
    Render(session, Frame(0));
    world.Journal().Clear();
    world.Clock().AdvanceMilliSec(20);
    auto const report = Render(session, Frame(FrameNanoSec));
    EXPECT_EQ(report.outcome, Outcome_t::Succeeded);
    EXPECT_EQ(report.achieved, Kovra::JiffyTime::Now().AddMilliSec(199));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(1920, 1920)", "Unlock(1920, 0)", "GetStatus()",
                                         "GetCurrentPosition()", "Lock(0, 462592)", "Unlock(462592, 0)"));
}

// Frame n is asked for at 960 n. The cursor is 230400 + 960 n - 231296 = 960 n - 896 positions past the
// clearing; 15000 are reached with n = 17: 15424, in whole granules 120 x 128 = 15360, bytes 30720. From byte
// 462592 on 480000 - 462592 = 17408 of them lie before the end of the ring and 13312 behind it.
TEST_F(Library_Playing, LaterFramesAreWrittenAndMeasuredUntil15000PositionsAreThereToClear) {
    Session const session = Begin();
    PlayTwoFrames(session);
    for (std::int64_t n = 2; n <= 17; ++n) {
        world.Clock().AdvanceMilliSec(20);
        EXPECT_EQ(Render(session, Frame(n * FrameNanoSec)).outcome, Outcome_t::Succeeded);
        std::string const write = "Lock(" + std::to_string(n * 1920) + ", 1920)";
        if (n < 17) {
            EXPECT_THAT(TakeCalls(),
                        ElementsAre(write, "Unlock(1920, 0)", "GetStatus()", "GetCurrentPosition()"));
        } else {
            EXPECT_THAT(TakeCalls(),
                        ElementsAre(write, "Unlock(1920, 0)", "GetStatus()", "GetCurrentPosition()",
                                    "Lock(462592, 30720)", "Unlock(17408, 13312)"));
        }
    }
}

// Position 239520 is byte 479040: 960 bytes are left of the ring, the other 960 go to its start. From 20 ms,
// the cursor is at 231360, 8160 positions before the frame.
TEST_F(Library_Playing, FrameAcrossTheEndOfTheRingIsSplitThere) {
    Session const session = Begin();
    PlayTwoFrames(session);
    std::vector<std::int16_t> samples(FrameSamples);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<std::int16_t>(i + 1);
    }
    Render(session, UnitTest::RawFrame(Origin + 239520 * SampleNanoSec, samples), 170);
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Lock(479040, 1920)", "Unlock(960, 960)", "GetStatus()", "GetCurrentPosition()"));
    EXPECT_EQ(world.OnlyBuffer().Samples(239520, 960), samples);
}

// The next frame lies 420 ms behind the first, at 420,000,000 / 20833 = 20160, byte 40320. The cursor is
// still at 231360, 28800 positions before it: more than 15000. To be heard in 200 ms it calls for a cursor at
// 20160 - 9600 = 10560, byte 21120. What is told is where it was measured: 28800 x 20833 ns = 599.99 ms.
TEST_F(Library_Playing, FrameTooFarAheadOfTheCursorMovesTheCursor) {
    Session const session = Begin();
    PlayTwoFrames(session);
    auto const report = Render(session, Frame(21 * FrameNanoSec));
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Lock(40320, 1920)", "Unlock(1920, 0)", "GetStatus()", "GetCurrentPosition()",
                            "SetCurrentPosition(21120)", "SetFrequency(48000)"));
    EXPECT_EQ(report.achieved, Kovra::JiffyTime::Now().AddMilliSec(599));
    EXPECT_EQ(report.outcome, Outcome_t::Succeeded);
}

// Position 1920 is byte 3840. One nanosecond late is late; the frame is written all the same and the job
// succeeds. In time again, the start is that of a new buffer: the frame stands at 2880 (byte 5760, its end at
// 7680), the cursor goes to 2880 - 9600 + 240000 = 233280, byte 466560.
TEST_F(Library_Playing, LateFrameStopsTheSoundAndTheNextOneInTimeStartsItAgain) {
    Session const session = Begin();
    PlayTwoFrames(session);
    auto const late = RenderAhead(session, Frame(2 * FrameNanoSec), -1);
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(3840, 1920)", "Unlock(1920, 0)", "Stop()"));
    EXPECT_EQ(late.outcome, Outcome_t::Succeeded);
    EXPECT_EQ(late.achieved, late.requested);

    Render(session, Frame(3 * FrameNanoSec));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(5760, 1920)", "Unlock(1920, 0)", "GetStatus()",
                                         "SetCurrentPosition(466560)", "SetFrequency(48000)",
                                         "SetNotificationPositions(1, 7680, 0)", "SetVolume(0)", "Play(1)"));
}

// 882 samples of 44100 Hz are 1764 bytes, written as they are. The new sound buffer's timeline begins with
// them.
TEST_F(Library_Playing, FrameOfAnotherRateGetsANewSoundBuffer) {
    Session const session = Begin();
    PlayTwoFrames(session);
    HANDLE const event = EventOf(world.OnlyBuffer());
    auto const frame = UnitTest::RawFrame(Origin + 2 * FrameNanoSec, std::vector<std::int16_t>(882), 44100);
    EXPECT_EQ(Render(session, frame).outcome, Outcome_t::Succeeded);
    EXPECT_THAT(world.Journal().Texts(
                    CallSet{Call_t::NotifyRelease, Call_t::BufferRelease, Call_t::SoundCreateSoundBuffer}),
                // Notification, buffer; the new one, of which the first of two interfaces goes at once.
                ElementsAre("Release()", "Release()", "CreateSoundBuffer(33256, 480000)", "Release()"));
    EXPECT_THAT(
        TakeCalls(),
        ElementsAre("CreateSoundBuffer(33256, 480000)", "QueryInterface(IDirectSoundBuffer8)", "SetVolume(0)",
                    "SetPan(0)", "SetCurrentPosition(0)", "QueryInterface(IDirectSoundNotify)",
                    "Lock(0, 480000)", "Unlock(480000, 0)", "Lock(0, 1764)", "Unlock(1764, 0)", "GetStatus()",
                    "SetCurrentPosition(460800)", "SetFrequency(48000)",
                    "SetNotificationPositions(1, 1764, 0)", "SetVolume(0)", "Play(1)"));
    EXPECT_EQ(world.OnlyBuffer().Number(), 2U);
    EXPECT_EQ(world.OnlyBuffer().Format().nSamplesPerSec, 48000U);
    EXPECT_TRUE(calls.HasClosed(event));
    calls.AwaitWait(2, ServiceTimeoutMilliSec);
}

// Asked for 210 ms ahead, that is 10080 positions, and found 9600 ahead: 0.952 of it, so the sound is slowed.
// A window is 1024 ms: frame 51 comes at 1020 ms, frame 52 at 1040 ms.
TEST_F(Library_Playing, SoundThatComesEarlyIsSlowedDownAtTheWindowsEnd) {
    Session const session = Begin();
    Render(session, Frame(0));
    for (std::int64_t n = 1; n <= 51; ++n) {
        world.Clock().AdvanceMilliSec(20);
        world.Journal().Clear();
        Render(session, Frame(n * FrameNanoSec), 210);
        EXPECT_THAT(world.Journal().Texts({Call_t::BufferSetFrequency}), IsEmpty()) << n;
    }
    world.Clock().AdvanceMilliSec(20);
    world.Journal().Clear();
    Render(session, Frame(52 * FrameNanoSec), 210);
    // Frame 52 stands at 52 x 960 = 49920, byte 99840.
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(99840, 1920)", "Unlock(1920, 0)", "GetStatus()",
                                         "GetCurrentPosition()", "SetFrequency(47960)"));
}

TEST_F(Library_Playing, ClientStateIsAppliedBalanceFirstAndOnce) {
    Session const session = Begin();
    PlayTwoFrames(session);
    Media::PipelineClientState_t client;
    client.balance = 1.0F;
    client.volume = 0.5F;
    EXPECT_TRUE(pipeline->SetClientState(session, client));
    pipeline->Drain();
    EXPECT_THAT(TakeCalls(), ElementsAre("SetPan(10000)", "SetVolume(-2121)"));
    EXPECT_TRUE(pipeline->SetClientState(session, client));
    pipeline->Drain();
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(Library_Playing, LostMemoryIsRestoredAndTheFrameWritten) {
    Session const session = Begin();
    PlayTwoFrames(session);
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_BUFFERLOST);
    EXPECT_EQ(Render(session, Frame(2 * FrameNanoSec)).outcome, Outcome_t::Succeeded);
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(3840, 1920) = 0x88780096", "Restore()", "Lock(3840, 1920)",
                                         "Unlock(1920, 0)", "GetStatus()", "GetCurrentPosition()"));
}

// The last presentation was at 20 ms. The point behind frame 0 is passed after 9600 + 960 positions, at 220
// ms; up to 500 ms without a presentation, at 520 ms, the passes ask nothing.
TEST_F(Library_Pause, OfHalfASecondIsNone) {
    PlayTwoFrames(Begin());
    auto& buffer = world.OnlyBuffer();
    world.Clock().AdvanceMilliSec(500);
    EXPECT_EQ(buffer.FiredNotifications(), 1U);
    PassTimeout();
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_TRUE(buffer.IsPlaying());
}

// At 521 ms the cursor is at 230400 + 521 x 48 - 240000 = 15408, which is 15408 + 240000 - 231296 = 24112
// past the clearing: whole granules make 188 x 128 = 24064, bytes 48128, of which 17408 before the end of the
// ring. A second pass has less than 15000 positions to clear.
TEST_F(Library_Pause, LongerThanHalfASecondHasItsPlayedSoundClearedByThePlaybackThread) {
    PlayTwoFrames(Begin());
    world.Clock().AdvanceMilliSec(500);
    PassTimeout();
    world.Clock().AdvanceMilliSec(1);
    PassTimeout();
    auto const records = world.Journal().Records();
    EXPECT_THAT(TakeCalls(),
                ElementsAre("GetCurrentPosition()", "Lock(462592, 48128)", "Unlock(17408, 30720)"));
    for (auto const& record : records) {
        EXPECT_EQ(record.threadName, "Media.RendererAudio.Playback");
    }
    PassTimeout();
    EXPECT_THAT(TakeCalls(), ElementsAre("GetCurrentPosition()"));
}

// The pass at 1020 ms finds the last presentation 1000 ms ago, the one at 1021 ms finds it 1001 ms ago.
TEST_F(Library_Pause, LongerThanASecondEndsInSilenceAndStop) {
    Session const session = Begin();
    PlayTwoFrames(session);
    world.Clock().AdvanceMilliSec(500);
    PassTimeout();
    world.Clock().AdvanceMilliSec(500);
    PassTimeout();
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
    world.Journal().Clear();
    world.Clock().AdvanceMilliSec(1);
    PassTimeout();
    EXPECT_THAT(TakeCalls(),
                ElementsAre("SetVolume(-10000)", "Stop()", "Lock(0, 480000)", "Unlock(480000, 0)"));
    PassTimeout();
    EXPECT_THAT(TakeCalls(), IsEmpty());

    // Whatever its timestamp, the next frame begins the timeline anew, at full volume.
    EXPECT_EQ(Render(session, Frame(77 * FrameNanoSec)).outcome, Outcome_t::Succeeded);
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 1920)", "Unlock(1920, 0)", "GetStatus()",
                                         "SetCurrentPosition(460800)", "SetFrequency(48000)",
                                         "SetNotificationPositions(1, 1920, 0)", "SetVolume(0)", "Play(1)"));
}

} // namespace
} // namespace ContractTest
