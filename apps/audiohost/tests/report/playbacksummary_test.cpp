#include "report/playbacksummary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "listening/tests/testsounds.h"
#include "report/judgement.h"
#include "support/testplaybacklog.h"

namespace AudioHost {

using testing::Contains;
using testing::HasSubstr;

TEST(Judge, OfAPlaybackInTimeIsGood) {
    Verdict const verdict = Judge(MakeLog());
    EXPECT_EQ(verdict.outcome, Outcome_t::Good);
    EXPECT_EQ(verdict.text, "Played in time");
}

TEST(Judge, OfAPlaybackHeardAsSentSaysSo) {
    EXPECT_EQ(Judge(MakeHeardLog()).text, "Played and heard as sent");
}

TEST(Judge, NamesFailedFramesFirst) {
    PlaybackLog log = MakeLog();
    log.sessions[0].jobsFailed = 3;
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
    EXPECT_EQ(Judge(log).text, "3 frames failed");
}

TEST(Judge, OfFramesThatArePresentedTooLateIsBad) {
    PlaybackLog log = MakeLog();
    for (PresentationPoint& point : log.sessions[0].points) {
        point.errorMilliSec = 46.0;
    }
    EXPECT_EQ(Judge(log).text, "Played, but up to 46 ms out of time");
}

TEST(Judge, OfAHoleIsBad) {
    PlaybackLog log = MakeHeardLog();
    log.comparison->holes = {{48000, 480}};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
    log.comparison->holes = {{48000, 479}};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Good);
}

TEST(Judge, OfAJumpIsBad) {
    PlaybackLog log = MakeHeardLog();
    log.comparison->jumps = {{Listening::TimelineJump::Kind_t::Repeated, 48000, 480}};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
    log.comparison->jumps[0].samples = 479;
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Good);
}

TEST(Judge, OfSilenceOrAnotherSoundHeardIsBad) {
    PlaybackLog log = MakeHeardLog();
    log.comparison = Listening::CompareSounds(log.sessions[0].sound, Listening::Samples(96000, 0));
    EXPECT_EQ(Judge(log).text, "Nothing of the sound was heard");
    log.comparison = Listening::CompareSounds(log.sessions[0].sound, Listening::MakeVoice(96000, 7));
    EXPECT_EQ(Judge(log).text, "What was heard is not what was sent");
}

TEST(Judge, OfAnInterruptionSaysSo) {
    PlaybackLog log = MakeLog();
    log.isInterrupted = true;
    EXPECT_EQ(Judge(log).text, "Played in time, until interrupted");
    log.sessions[0] = SessionLog();
    EXPECT_EQ(Judge(log).text, "Interrupted before anything was played");
}

TEST(DescribeSession, TellsFramesErrorsFrequenciesAndLog) {
    std::vector<std::string> const sentences = DescribeSession(MakeSession("voice.wav"));
    EXPECT_THAT(sentences, Contains("2.0 s in 100 frames, none of them failed."));
    // Magnitudes: 90 of 1 and 10 of 4; the 95th percentile lies among the latter.
    EXPECT_THAT(sentences, Contains("Presentation error: median 1.0 ms, 95 % of the frames within 4.0 ms."));
    EXPECT_THAT(sentences, Contains("Playback frequency: 2 changes, between 47960 and 48000 Hz."));
    EXPECT_THAT(sentences, Contains("From the log: playback started; small gap closed (30 times)."));
}

TEST(DescribeSession, OfAPartTellsTheWholeToo) {
    SessionLog session = MakeSession("voice.wav");
    session.durationNanoSec = 12 * Listening::NanoSecPerSec;
    EXPECT_THAT(DescribeSession(session), Contains("2.0 s of 12.0 s in 100 frames, none of them failed."));
}

TEST(DescribeSession, WithoutAnyPresentationHasNoErrorToTell) {
    SessionLog session;
    session.jobsFailed = 7;
    EXPECT_THAT(DescribeSession(session), Contains(HasSubstr("No frame was presented")));
    EXPECT_THAT(DescribeSession(session), Contains("Playback did not start."));
}

TEST(DescribeComparison, TellsShareDelayLevelAndThatNothingIsWrong) {
    std::vector<std::string> const sentences = DescribeComparison(*MakeHeardLog().comparison);
    EXPECT_THAT(sentences,
                Contains("100.0 % of the quarter seconds with sound in them were heard as sent (8 of 8)."));
    EXPECT_THAT(sentences, Contains(HasSubstr("The first sample was heard 0.500 s into the recording")));
    EXPECT_THAT(sentences, Contains(HasSubstr("difference 0.0 dB")));
    EXPECT_THAT(sentences, Contains("No silent hole."));
    EXPECT_THAT(sentences, Contains("Nothing is missing and nothing was heard twice."));
}

TEST(DescribeComparison, TellsHolesJumpsAndLosses) {
    Listening::SoundComparison comparison = *MakeHeardLog().comparison;
    comparison.silentStartSamples = 1920;
    comparison.longestHole = {48000, 960};
    comparison.jumps = {{Listening::TimelineJump::Kind_t::Missing, 96000, 1920},
                        {Listening::TimelineJump::Kind_t::Repeated, 0, 480}};
    comparison.lost = {{24000, 12000}};
    std::vector<std::string> const sentences = DescribeComparison(comparison);
    EXPECT_THAT(sentences, Contains("The first 40.0 ms were not heard."));
    EXPECT_THAT(sentences, Contains("Longest silent hole: 20.0 ms at 0:01.0."));
    EXPECT_THAT(sentences, Contains("Out of step: 40.0 ms missing at 0:02.0; 10.0 ms repeated at 0:00.0."));
    EXPECT_THAT(sentences, Contains("Not heard as sent: 1 part, together 0.25 s (first at 0:00.5)."));
}

TEST(DescribeComparison, OfManyJumpsTellsFiveAndCountsTheRest) {
    Listening::SoundComparison comparison = *MakeHeardLog().comparison;
    comparison.jumps.assign(7, {Listening::TimelineJump::Kind_t::Missing, 0, 480});
    EXPECT_THAT(DescribeComparison(comparison),
                Contains(HasSubstr("10.0 ms missing at 0:00.0; and 2 more.")));
}

TEST(DescribeComparison, OfARecorderThatStartedLateSaysSo) {
    PlaybackLog log = MakeHeardLog();
    Listening::SampleView const late = Listening::SampleView(log.heard).Cut(24000 + 12000, 96000);
    std::vector<std::string> const sentences =
        DescribeComparison(Listening::CompareSounds(log.sessions[0].sound, late));
    EXPECT_THAT(sentences, Contains(HasSubstr("The recording starts 0.250 s into the sound;")));
    EXPECT_THAT(sentences, Contains("0.25 s of the sound lie outside the recording."));
    EXPECT_THAT(sentences, Contains(HasSubstr("100.0 %")));
}

TEST(DescribeSession, TellsHowItBegan) {
    SessionLog session = MakeSession("voice.wav");
    EXPECT_THAT(DescribeSession(session), Contains("Began 1.0 ms late."));
    for (PresentationPoint& point : session.points) {
        point.errorMilliSec = -2.3;
    }
    EXPECT_THAT(DescribeSession(session), Contains("Began 2.3 ms early."));
}

TEST(DescribeOutput, TellsGlitchesOrThatThereWasNone) {
    Listening::OutputLog output;
    EXPECT_THAT(DescribeOutput(output, 200), Contains(HasSubstr("Nobody watched it")));
    output.isWatched = true;
    output.worstMilliSec = 3.2;
    EXPECT_THAT(DescribeOutput(output, 200),
                Contains("Its own cursor stayed within 3.2 ms of where it should have been."));
    output.glitches.resize(7);
    output.glitches[0].startNanoSec = 100'000'000;
    output.glitches[0].lateMilliSec = 95.0;
    output.glitches[1].startNanoSec = 1'200'000'000;
    output.glitches[1].earlyMilliSec = 40.0;
    output.glitches[2].startNanoSec = 2'200'000'000;
    output.glitches[2].blindMilliSec = 60.0;
    std::string const text = DescribeOutput(output, 200).at(0);
    // Places in the sound, which begins 200 ms later than the handing over.
    EXPECT_THAT(text, HasSubstr("It stood still for 95 ms at 0:00.0; leapt ahead by 40 ms at 0:01.0; "
                                "could not be watched for 60 ms at 0:02.0; "));
    EXPECT_THAT(text, HasSubstr("; and 2 more, whatever the renderer did."));
}

TEST(FormatSummary, NamesEveryFileAndTheLead) {
    PlaybackLog log = MakeHeardLog();
    log.sessions.push_back(MakeSession("music.mp3"));
    log.otherEvents.push_back({EventKind_t::IdleStop, 0, "Idle AudioBuffer playback stopped (1200 ms)"});
    std::string const text = FormatSummary(log);
    EXPECT_EQ(text.rfind("Played and heard as sent (lead 200 ms).\nvoice.wav\n", 0), 0U);
    EXPECT_THAT(text, HasSubstr("\nmusic.mp3\n"));
    EXPECT_THAT(text, HasSubstr("\nAll sessions\n  From the log: stopped as idle.\n"));
    EXPECT_THAT(text, HasSubstr("\nHeard\n"));
    EXPECT_THAT(text, HasSubstr("\nThe output\n"));
}

} // namespace AudioHost
