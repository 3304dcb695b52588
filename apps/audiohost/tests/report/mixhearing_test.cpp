#include "report/mixhearing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "commands/findings.h"
#include "report/hearing.h"
#include "report/judgement.h"
#include "support/testplaybacklog.h"

namespace AudioHost {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

using Hearing_t = Listening::SoundInMix::Hearing_t;

/// Two sessions, both heard as they should be.
PlaybackLog MakeMixLog() {
    PlaybackLog log = MakeHeardLog();
    log.sessions.push_back(MakeSession("music.mp3"));
    log.mix.resize(2);
    for (Listening::SoundInMix& sound : log.mix) {
        sound.hearing = Hearing_t::Heard;
        sound.gain = 1.0;
        sound.lateSamples = 0.0;
    }
    return log;
}

/// So long a stand of the output, where the sound begins and from there on.
Listening::OutputGlitch StandOf(double milliSec) {
    Listening::OutputGlitch glitch;
    glitch.startNanoSec = 200 * Listening::NanoSecPerMilliSec;
    glitch.endNanoSec = 1'500 * Listening::NanoSecPerMilliSec;
    glitch.lateMilliSec = milliSec;
    return glitch;
}

} // namespace

TEST(JudgeMix, OfSoundsHeardAsSentIsGood) {
    PlaybackLog const log = MakeMixLog();
    EXPECT_TRUE(FindMixFaults(log).empty());
    EXPECT_EQ(Judge(log).text, "Played and heard as sent");
    EXPECT_THAT(DescribeMix(log),
                ElementsAre("voice.wav: was as loud as asked for.", "music.mp3: was as loud as asked for."));
    EXPECT_TRUE(DescribeMix(MakeHeardLog()).empty());
}

TEST(JudgeMix, OfASoundThatWasNotHeardNamesItAndCountsAsSound) {
    PlaybackLog log = MakeMixLog();
    log.mix[1] = {};
    log.mix[1].hearing = Hearing_t::NotHeard;
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
    EXPECT_EQ(Judge(log).text, "music.mp3 was not heard");
    EXPECT_THAT(DescribeHearing(log), Contains("music.mp3: was not heard."));
    Findings const findings = FindWhatFailed(log);
    EXPECT_EQ(findings.sound, Outcome_t::Bad);
    EXPECT_EQ(findings.time, Outcome_t::Good);
    // Nothing of the output excuses that.
    log.output.glitches = {StandOf(1000.0)};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
}

TEST(JudgeMix, OfASoundThatCameLateNamesItAndCountsAsTime) {
    PlaybackLog log = MakeMixLog();
    log.mix[1].lateSamples = 1440.0;
    EXPECT_EQ(Judge(log).text, "music.mp3 came 30 ms later than the others");
    Findings const findings = FindWhatFailed(log);
    EXPECT_EQ(findings.sound, Outcome_t::Good);
    EXPECT_EQ(findings.time, Outcome_t::Bad);
    EXPECT_THAT(DescribeMix(log),
                Contains("music.mp3: was as loud as asked for; came 30 ms later than the others."));
    log.mix[1].lateSamples = -1440.0;
    EXPECT_EQ(Judge(log).text, "music.mp3 came 30 ms earlier than the others");
}

TEST(JudgeMix, OfASoundThatLacksSomeOrWasHeldUpSaysWhere) {
    PlaybackLog log = MakeMixLog();
    log.mix[0].steps = {{{48000, 24000}, -12000.0}};
    EXPECT_EQ(Judge(log).text, "voice.wav lacks 250 ms at 0:01.0");
    EXPECT_EQ(FindWhatFailed(log).sound, Outcome_t::Bad);
    log.mix[0].steps[0].samples = 1440.0;
    EXPECT_EQ(Judge(log).text, "voice.wav was held up for 30 ms at 0:01.0");
    EXPECT_EQ(FindWhatFailed(log).sound, Outcome_t::Bad);
    log.mix[0].steps.clear();
    log.mix[0].missing = {{24000, 12000}};
    EXPECT_EQ(Judge(log).text, "voice.wav was not heard for about 250 ms at 0:00.5");
    EXPECT_EQ(FindWhatFailed(log).sound, Outcome_t::Bad);
}

TEST(JudgeMix, OfWhatTheOutputsCursorExplainsIsTheOutputs) {
    PlaybackLog log = MakeMixLog();
    log.mix[1].lateSamples = 1440.0;
    // What it stood still for, and 15 ms that cursors leave open.
    log.output.glitches = {StandOf(15.0)};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::OutputGlitch);
    EXPECT_EQ(FindWhatFailed(log).time, Outcome_t::OutputGlitch);
    log.output.glitches = {StandOf(14.9)};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
}

// The window in which the output made all sounds jump, a quarter second, may tell nothing of one.
TEST(JudgeMix, OfAHoleWhereTheOutputJumpedIsTheOutputs) {
    PlaybackLog log = MakeMixLog();
    log.output.glitches = {StandOf(20.0)};
    log.mix[0].missing = {{24000, 12000 + (20 + 15) * 48}};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::OutputGlitch);
    EXPECT_EQ(FindWhatFailed(log).sound, Outcome_t::OutputGlitch);
    log.mix[0].missing = {{24000, 12000 + (20 + 15) * 48 + 1}};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
    log.mix[0].missing = {{24000, 4800}};
    log.output.glitches.clear();
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
}

TEST(JudgeMix, OfLevelsTellsTheOneThatIsFurthestOff) {
    PlaybackLog log = MakeMixLog();
    log.askedGain = 0.5;
    log.mix[0].gain = 0.5;
    log.mix[1].gain = 0.25;
    EXPECT_EQ(JudgeLevel(log), Outcome_t::Bad);
    EXPECT_EQ(Judge(log).text, "Played and heard as sent, but music.mp3 6.0 dB fainter than asked for");
    EXPECT_THAT(DescribeMix(log), ElementsAre("voice.wav: was as loud as asked for.",
                                              "music.mp3: was 6.0 dB fainter than asked for."));
    log.mix[1].gain = 0.5 * std::pow(10.0, -2.99 / 20.0);
    EXPECT_EQ(JudgeLevel(log), Outcome_t::Good);
    log.mix[1].gain = 0.5 * std::pow(10.0, 3.01 / 20.0);
    EXPECT_EQ(JudgeLevel(log), Outcome_t::Bad);
}

TEST(JudgeMix, OfASoundThatCannotBeToldSaysSoAndBlamesNobody) {
    PlaybackLog log = MakeMixLog();
    log.mix[1] = {};
    Verdict const verdict = Judge(log);
    EXPECT_EQ(verdict.outcome, Outcome_t::Good);
    EXPECT_EQ(verdict.text, "Played and heard as sent; nobody can tell what became of music.mp3");
    EXPECT_THAT(DescribeHearing(log), Contains("music.mp3: cannot be told from the other sounds."));
    log.mix.assign(6, {});
    log.sessions.resize(6);
    EXPECT_THAT(Judge(log).text, HasSubstr("nobody can tell what became of 6 sounds"));
}

TEST(JudgeMix, OfSoundsThatCannotBeToldTheSumIsNeitherBlamedNorPraised) {
    PlaybackLog log = MakeMixLog();
    log.comparison->windowsMatched = log.comparison->windowsWithSignal / 2;
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
    EXPECT_EQ(FindWhatFailed(log).sound, Outcome_t::Bad);
    log.mix.assign(2, {});
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Good);
    EXPECT_EQ(Judge(log).text, "Played in time; nobody can tell what became of voice.wav and music.mp3");
    EXPECT_EQ(FindWhatFailed(log).sound, Outcome_t::Good);
    // What is not there is not there, whosever it was.
    log.comparison->holes = {{48'000, 12'000}};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
    EXPECT_EQ(FindWhatFailed(log).sound, Outcome_t::Bad);
}

TEST(JudgeMix, OfASoundWhoseTimeCannotBeToldSaysSo) {
    PlaybackLog log = MakeMixLog();
    log.mix[0].lateSamples.reset();
    EXPECT_THAT(DescribeMix(log),
                Contains("voice.wav: was as loud as asked for; whether it was heard when the others "
                         "were cannot be told."));
}

} // namespace AudioHost
