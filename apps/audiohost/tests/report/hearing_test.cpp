#include "report/hearing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "listening/tests/testsounds.h"
#include "report/judgement.h"
#include "support/testplaybacklog.h"

namespace AudioHost {

using testing::Contains;
using testing::EndsWith;
using testing::StartsWith;

namespace {

/// Two seconds into the run the output stood still for 25 ms.
Listening::OutputGlitch Stumble() {
    Listening::OutputGlitch glitch;
    glitch.startNanoSec = 2'000 * Listening::NanoSecPerMilliSec;
    glitch.endNanoSec = 2'025 * Listening::NanoSecPerMilliSec;
    glitch.lateMilliSec = 25.0;
    return glitch;
}

} // namespace

TEST(JudgeSound, TellsAWrongLevelAndJudgesItByItself) {
    PlaybackLog log = MakeHeardLog();
    EXPECT_EQ(JudgeLevel(log), Outcome_t::Good);
    EXPECT_THAT(DescribeHearing(log), Contains("It was as loud as asked for."));
    log.comparison->gain = 0.5;
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Good);
    EXPECT_EQ(Judge(log).text, "Played and heard as sent, but 6.0 dB fainter than asked for");
    EXPECT_EQ(JudgeLevel(log), Outcome_t::Bad);
    // As volume and balance ask for.
    log.askedGain = 0.5;
    EXPECT_EQ(JudgeLevel(log), Outcome_t::Good);
    EXPECT_EQ(Judge(log).text, "Played and heard as sent");
}

TEST(JudgeSound, OfDriftBlamesThePlayerUnlessDriftControlDidIt) {
    PlaybackLog log = MakeHeardLog();
    log.sessions[0].events.clear();
    log.comparison->steadyDriftPpm = 300.0;
    EXPECT_EQ(Judge(log).text, "Played 300 ppm too slowly");
    log.sessions[0].events.push_back({EventKind_t::FrequencyChange, 0, ""});
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Good);
}

TEST(JudgeSound, OfDriftBesideAnOutputThatStoodStillTellsNothing) {
    PlaybackLog log = MakeHeardLog();
    log.sessions[0].events.clear();
    log.comparison->steadyDriftPpm = -300.0;
    EXPECT_EQ(Judge(log).text, "Played 300 ppm too fast");
    log.output.glitches = {Stumble()};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Good);
}

TEST(JudgeSound, OfPartsOfAnotherLevelIsBadUnlessTheOutputStoodStill) {
    PlaybackLog log = MakeHeardLog();
    log.comparison->uneven = {{12000, 24000}};
    EXPECT_EQ(Judge(log).text, "Parts of the sound were louder or fainter than the rest");
    log.output.glitches = {Stumble()};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Good);
}

TEST(JudgeSound, TellsAWrongLevelBesideTheOutputsFaultToo) {
    PlaybackLog log = MakeHeardLog();
    log.output.glitches = {Stumble()};
    // 25 ms of silence where it stood still: 1.8 s into the sound with a lead of 200 ms.
    log.comparison->holes = {{86400, 1200}};
    log.comparison->gain = 2.0;
    EXPECT_EQ(Judge(log).outcome, Outcome_t::OutputGlitch);
    EXPECT_THAT(Judge(log).text, EndsWith(", but 6.0 dB louder than asked for"));
}

TEST(JudgeSound, OfALostBeginningForgivesTheFirstFrames) {
    PlaybackLog log = MakeHeardLog();
    log.comparison->silentStartSamples = 4800;
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Good);
    log.comparison->silentStartSamples = 5040;
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
}

TEST(JudgeSound, OfPeaksCutOffIsBad) {
    PlaybackLog log = MakeHeardLog();
    log.comparison->isCutOff = true;
    EXPECT_EQ(Judge(log).text, "The loudest parts were cut off");
}

TEST(JudgeSound, SaysWhatNobodyCanTell) {
    PlaybackLog log = MakeHeardLog();
    log.comparison->ambiguity = Listening::Ambiguity{218, true};
    Verdict const verdict = Judge(log);
    EXPECT_EQ(verdict.outcome, Outcome_t::Good);
    EXPECT_EQ(verdict.text,
              "Played and heard as sent; the sound repeats itself every 4.5 ms, so nobody can tell whether "
              "whole repetitions are missing or came twice");
    EXPECT_THAT(DescribeHearing(log), Contains(StartsWith("The sound repeats itself every 4.5 ms")));
}

TEST(JudgeSound, TooFaintToBeComparedIsByItsTimeAlone) {
    PlaybackLog log = MakeHeardLog();
    Listening::Samples const faint(96000, 3);
    log.comparison = Listening::CompareSounds(faint, faint);
    Verdict const verdict = Judge(log);
    EXPECT_EQ(verdict.outcome, Outcome_t::Good);
    EXPECT_EQ(verdict.text, "Played in time; the sound is too faint to be compared");
    EXPECT_FALSE(JudgeLevel(log));
}

} // namespace AudioHost
