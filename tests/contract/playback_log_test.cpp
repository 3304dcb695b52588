// The playback records of the shipped library, as the host's log manager gets them.

#include "logline.h"
#include "playbackstage.h"

namespace ContractTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;

constexpr char const* Channel = "Media.RendererAudioPlaybackBuffer";

class Library_PlaybackLog : public PlaybackStage {
protected:
    /// A record of the playback buffer, of level 1, which names no place in the sources.
    static LogLine StateChange(std::string message) { return {Channel, 1, std::move(message), "", "", 0}; }

    std::vector<LogLine> TakeLog() { return TakeLines(log); }
};

TEST_F(Library_PlaybackLog, OpeningAndClosingAreNotLogged) {
    Initialize();
    auto const session = pipeline->OpenSession({});
    pipeline->CloseSession(session);
    renderer->Shutdown();
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(Library_PlaybackLog, FirstFrameTellsThatPlaybackHasStartedAndSteadyFramesTellNothing) {
    Session const session = Begin();
    Render(session, Frame(0));
    EXPECT_THAT(TakeLog(), ElementsAre(StateChange("AudioBuffer playback started")));
    for (std::int64_t n = 1; n < 20; ++n) {
        world.Clock().AdvanceMilliSec(20);
        Render(session, Frame(n * FrameNanoSec));
    }
    EXPECT_THAT(TakeLog(), IsEmpty());
}

// Two frames end at position 1920: one at 1930 leaves a gap of 10, the next at 1932 one of 12, for places are
// even. Neither lies far from where the cursor expects it.
TEST_F(Library_PlaybackLog, GapOfTenIsIgnored) {
    Session const session = Begin();
    PlayTwoFrames(session);
    Render(session, FrameAt(1930));
    EXPECT_THAT(TakeLog(), ElementsAre(StateChange("AudioBuffer ignoring small gap (10 samples)")));
}

TEST_F(Library_PlaybackLog, GapOfTwelveIsPacketLoss) {
    Session const session = Begin();
    PlayTwoFrames(session);
    Render(session, FrameAt(1932));
    EXPECT_THAT(TakeLog(), ElementsAre(StateChange("AudioBuffer packet loss, zero'ing 12 samples")));
}

// Half a ring is 120000 positions: at 1920 + 119998 it is still loss, and two further it is the past. The
// cursor stands at 231360, far more than 15000 away from either.
TEST_F(Library_PlaybackLog, GapOfHalfTheRingIsNoLossButFarFromTheCursor) {
    Session const session = Begin();
    PlayTwoFrames(session);
    Render(session, FrameAt(121918));
    EXPECT_THAT(TakeLog(), ElementsAre(StateChange("AudioBuffer packet loss, zero'ing 119998 samples"),
                                       StateChange("AudioBuffer timestamp drift too high, resetting")));
    // The frame ends at 122878; half a ring on is 242878, which is 2878 of the next round.
    Render(session, FrameAt(2878));
    EXPECT_THAT(TakeLog(), ElementsAre(StateChange("AudioBuffer timestamp drift too high, resetting")));
}

TEST_F(Library_PlaybackLog, LateFrameTellsThatItStopsEachTime) {
    Session const session = Begin();
    PlayTwoFrames(session);
    RenderAhead(session, Frame(2 * FrameNanoSec), -1);
    RenderAhead(session, Frame(3 * FrameNanoSec), -1);
    LogLine const stop = StateChange("AudioBuffer presentation requested in the past, stopping");
    EXPECT_THAT(TakeLog(), ElementsAre(stop, stop));
}

TEST_F(Library_PlaybackLog, AnotherRateIsToldBeforeTheStartThatItBrings) {
    Session const session = Begin();
    PlayTwoFrames(session);
    Render(session, UnitTest::RawFrame(Origin + 2 * FrameNanoSec, std::vector<std::int16_t>(882), 44100));
    EXPECT_THAT(TakeLog(), ElementsAre(StateChange("AudioBuffer resetting frequency to 44100"),
                                       StateChange("AudioBuffer playback started")));
}

// Asked for 210 ms ahead and found 200 ms ahead, as in the test of the calls: frame 52 is the first behind a
// window of 1024 ms. The one record that may come with every frame is of the lower level.
TEST_F(Library_PlaybackLog, FrequencyIsToldOnTheLowerLevel) {
    Session const session = Begin();
    Render(session, Frame(0));
    log.Clear();
    for (std::int64_t n = 1; n <= 52; ++n) {
        EXPECT_THAT(TakeLog(), IsEmpty()) << n;
        world.Clock().AdvanceMilliSec(20);
        Render(session, Frame(n * FrameNanoSec), 210);
    }
    EXPECT_THAT(TakeLog(),
                ElementsAre(LogLine{Channel, 0, "Adjusting audio frequency to 47960 Hz", "", "", 0}));
}

TEST_F(Library_PlaybackLog, FrequencyIsNotToldWhenTheHostWantsStateChangesAlone) {
    auto& manager = Kovra::LogManager::Instance();
    manager.SetLevel(Channel, Kovra::LogLevel_t::Info);
    Session const session = Begin();
    for (std::int64_t n = 0; n <= 52; ++n) {
        Render(session, Frame(n * FrameNanoSec), n == 0 ? LeadMilliSec : 210);
        world.Clock().AdvanceMilliSec(20);
    }
    manager.SetLevel(Channel, Kovra::LogLevel_t::Debug);
    EXPECT_THAT(TakeLog(), ElementsAre(StateChange("AudioBuffer playback started")));
    EXPECT_EQ(world.OnlyBuffer().Frequency(), 47960U);
}

TEST_F(Library_PlaybackLog, IdleStopIsToldByThePlaybackThreadWithTheTimeOfIdleness) {
    PlayTwoFrames(Begin());
    world.Clock().AdvanceMilliSec(500);
    PassTimeout();
    world.Clock().AdvanceMilliSec(500);
    PassTimeout();
    EXPECT_THAT(TakeLog(), IsEmpty());
    world.Clock().AdvanceMilliSec(1);
    PassTimeout();
    auto const records = log.GetRecords();
    EXPECT_THAT(TakeLog(), ElementsAre(StateChange("Idle AudioBuffer playback stopped (1001 ms)")));
    EXPECT_EQ(records.at(0).threadName, "Media.RendererAudio.Playback");
    PassTimeout();
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(Library_PlaybackLog, FailuresAreNotLogged) {
    Session const session = Begin();
    world.Faults().Fail(Call_t::SoundCreateSoundBuffer, 1, E_OUTOFMEMORY);
    Render(session, Frame(0));
    EXPECT_THAT(TakeLog(), IsEmpty());
    PlayTwoFrames(session);
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_GENERIC);
    EXPECT_EQ(Render(session, Frame(2 * FrameNanoSec)).outcome, Outcome_t::Uncompleted);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(Library_PlaybackLog, ChannelsAreKnownFromTheLoadingOn) {
    EXPECT_THAT(Kovra::LogManager::Instance().GetChannels(),
                IsSupersetOf({"Kovra.ConfigItem", "Media.RendererAudio", "Media.RendererAudioCaptureBuffer",
                              "Media.RendererAudioCaptureDevice", "Media.RendererAudioCaptureProxy",
                              "Media.RendererAudioPlaybackBuffer", "Media.RendererAudioPlaybackDevice"}));
}

} // namespace
} // namespace ContractTest
