#include "report/judgement.h"

#include <gtest/gtest.h>

#include "listening/tests/testsounds.h"
#include "support/testplaybacklog.h"

namespace AudioHost {

namespace {

using Listening::NanoSecPerMilliSec;

/// A second after the first frame: 0.8 s into the sound, with a lead of 200 ms.
constexpr std::int64_t GlitchAt = 1000 * NanoSecPerMilliSec;
constexpr std::int64_t GlitchSample = 38400;

Listening::OutputGlitch StoodStill(double milliSec, double left = 0.0, std::int64_t at = GlitchAt) {
    Listening::OutputGlitch glitch;
    glitch.startNanoSec = at;
    glitch.endNanoSec = at + static_cast<std::int64_t>(milliSec * NanoSecPerMilliSec);
    glitch.lateMilliSec = milliSec;
    glitch.leftMilliSec = left;
    return glitch;
}

Listening::OutputGlitch Leapt(double milliSec, std::int64_t at = GlitchAt) {
    Listening::OutputGlitch glitch;
    glitch.startNanoSec = at;
    glitch.endNanoSec = at + 10 * NanoSecPerMilliSec;
    glitch.earlyMilliSec = milliSec;
    glitch.leftMilliSec = -milliSec;
    return glitch;
}

Listening::OutputGlitch NotSeen(double milliSec) {
    Listening::OutputGlitch glitch = StoodStill(milliSec);
    std::swap(glitch.lateMilliSec, glitch.blindMilliSec);
    return glitch;
}

Listening::SoundSpan Hole(double milliSec, std::int64_t at = GlitchSample) {
    return {at, static_cast<std::int64_t>(milliSec * 48.0)};
}

/// Somewhere in the two quarter seconds round `at`.
Listening::TimelineJump Jump(Listening::TimelineJump::Kind_t kind, double milliSec,
                             std::int64_t at = GlitchSample) {
    std::int64_t const before = at / Listening::CompareWindowSamples * Listening::CompareWindowSamples;
    return {kind, before + Listening::CompareWindowSamples, static_cast<std::int64_t>(milliSec * 48.0),
            Listening::SoundSpan{before, 2 * Listening::CompareWindowSamples}};
}

PlayEvent Event(EventKind_t kind, std::int64_t atMilliSec) {
    return {kind, atMilliSec * NanoSecPerMilliSec, ""};
}

/// What went wrong, what the output's cursor was seen to do, and whose doing that makes it.
struct Case {
    std::string name;
    std::vector<Listening::OutputGlitch> glitches;
    std::vector<Listening::SoundSpan> holes;
    std::vector<Listening::TimelineJump> jumps;
    Outcome_t outcome;
};

void PrintTo(Case const& one, std::ostream* out) {
    *out << one.name;
}

class JudgeHeard : public testing::TestWithParam<Case> {};

PlaybackLog LogOf(Case const& one) {
    // Comparing takes its time.
    static PlaybackLog const heard = MakeHeardLog();
    PlaybackLog log = heard;
    log.output.isWatched = true;
    log.output.glitches = one.glitches;
    log.comparison->holes = one.holes;
    log.comparison->jumps = one.jumps;
    return log;
}

using Kind = Listening::TimelineJump::Kind_t;

} // namespace

TEST_P(JudgeHeard, PutsItDownToWhoseDoingItWas) {
    EXPECT_EQ(Judge(LogOf(GetParam())).outcome, GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(
    Table, JudgeHeard,
    testing::Values(
        Case{"NothingWrong", {}, {}, {}, Outcome_t::Good},
        Case{"AStallThatNobodyHears", {StoodStill(40)}, {}, {}, Outcome_t::Good},
        Case{"AHoleTooShortToHear", {}, {Hole(9.9)}, {}, Outcome_t::Good},
        Case{"AHoleAndNoStall", {}, {Hole(60)}, {}, Outcome_t::Bad},
        Case{"AHoleAtAStall", {StoodStill(95)}, {Hole(60)}, {}, Outcome_t::OutputGlitch},
        Case{"AHoleAsLongAsTheStall", {StoodStill(95)}, {Hole(109)}, {}, Outcome_t::OutputGlitch},
        Case{"AHoleLongerThanTheStall", {StoodStill(95)}, {Hole(111)}, {}, Outcome_t::Bad},
        Case{"TooSmallAStall", {StoodStill(16)}, {Hole(60)}, {}, Outcome_t::Bad},
        // Half a second before and after.
        Case{"AStallBeforeTheHole",
             {StoodStill(95, 0, GlitchAt - 500 * NanoSecPerMilliSec)},
             {Hole(60)},
             {},
             Outcome_t::Bad},
        Case{"AStallBehindTheHole",
             {StoodStill(95, 0, GlitchAt + 500 * NanoSecPerMilliSec)},
             {Hole(60)},
             {},
             Outcome_t::Bad},
        Case{"AHoleAtTheStallAndOneElsewhere",
             {StoodStill(95)},
             {Hole(60), Hole(60, GlitchSample + 48000)},
             {},
             Outcome_t::Bad},
        Case{"SilencePutInAtAStall",
             {StoodStill(60, 60)},
             {},
             {Jump(Kind::SilenceInserted, 60)},
             Outcome_t::OutputGlitch},
        Case{"SilencePutInAndNoStall", {}, {}, {Jump(Kind::SilenceInserted, 60)}, Outcome_t::Bad},
        Case{"MissingAtALeap", {Leapt(40)}, {}, {Jump(Kind::Missing, 40)}, Outcome_t::OutputGlitch},
        Case{"MissingAtTooSmallALeap", {Leapt(20)}, {}, {Jump(Kind::Missing, 40)}, Outcome_t::Bad},
        Case{"MissingAndTheLeapElsewhere",
             {Leapt(40, GlitchAt + 2000 * NanoSecPerMilliSec)},
             {},
             {Jump(Kind::Missing, 40)},
             Outcome_t::Bad},
        Case{"RepeatedAndNoGlitch", {}, {}, {Jump(Kind::Repeated, 40)}, Outcome_t::Bad},
        Case{"AHoleWhileTheWatchDidNotRun", {NotSeen(80)}, {Hole(60)}, {}, Outcome_t::OutputGlitch},
        Case{"TwoStallsTogether",
             {StoodStill(40), StoodStill(40, 0, GlitchAt + 200 * NanoSecPerMilliSec)},
             {},
             {Jump(Kind::SilenceInserted, 80)},
             Outcome_t::OutputGlitch}),
    [](testing::TestParamInfo<Case> const& tested) { return tested.param.name; });

TEST(Judge, OfWindowsLostExcusesOnlyThoseAtAStall) {
    PlaybackLog log = MakeHeardLog();
    log.output.isWatched = true;
    log.output.glitches = {StoodStill(95)};
    // The fourth quarter second: 0.75 to 1.0 s into the sound.
    log.comparison->windows.at(3).correlation = 0.0F;
    log.comparison->windowsMatched = 7;
    EXPECT_EQ(Judge(log).outcome, Outcome_t::OutputGlitch);
    log.comparison->windows.at(6).correlation = 0.0F;
    log.comparison->windowsMatched = 6;
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
}

TEST(Judge, OfASessionThatTheOutputHasDisplacedLooksWhereItReallyWas) {
    // 80 ms late since 0.1 s: what was due 0.8 s into the sound was played when a stall of 20 ms came by.
    PlaybackLog log = LogOf({"",
                             {StoodStill(80, 80, 100 * NanoSecPerMilliSec),
                              StoodStill(20, 20, GlitchAt + 140 * NanoSecPerMilliSec)},
                             {Hole(15)},
                             {},
                             Outcome_t::OutputGlitch});
    EXPECT_EQ(Judge(log).outcome, Outcome_t::OutputGlitch);
    log.output.glitches[0].leftMilliSec = 0.0;
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
}

TEST(Judge, OfACursorMovedLaterExcusesWhatTheOutputStillOwed) {
    // Two stalls of 60 ms stay; the renderer moves its cursor a second after the second one.
    PlaybackLog log =
        LogOf({"",
               {StoodStill(60, 60, 100 * NanoSecPerMilliSec), StoodStill(60, 60, 300 * NanoSecPerMilliSec)},
               {},
               {Jump(Kind::Missing, 120, 62400)},
               Outcome_t::OutputGlitch});
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad) << "nobody moved a cursor there";
    log.sessions[0].events.push_back(Event(EventKind_t::DriftReset, 1500));
    EXPECT_EQ(Judge(log).outcome, Outcome_t::OutputGlitch);
    log.comparison->jumps = {Jump(Kind::Missing, 160, 62400)};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad) << "more than was owed";
    // Moved before: nothing is owed any more.
    log.comparison->jumps = {Jump(Kind::Missing, 120, 62400)};
    log.sessions[0].events.insert(log.sessions[0].events.end() - 1, Event(EventKind_t::DriftReset, 900));
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
}

namespace {

/// Every frame from `from` to `to` ms this much out of time.
PlaybackLog OutOfTime(double errorMilliSec, std::int64_t from = 0, std::int64_t to = 2000) {
    PlaybackLog log = MakeLog();
    log.output.isWatched = true;
    for (PresentationPoint& point : log.sessions[0].points) {
        bool const isOut =
            point.timeNanoSec >= from * NanoSecPerMilliSec && point.timeNanoSec < to * NanoSecPerMilliSec;
        point.errorMilliSec = isOut ? errorMilliSec : 0.0;
    }
    return log;
}

} // namespace

TEST(Judge, OfAnEarlyStartWithoutAGlitchIsBad) {
    PlaybackLog log = OutOfTime(-50.0);
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
    EXPECT_EQ(Judge(log).text, "Played, but up to 50 ms out of time");
    // Nor does one that comes later excuse it.
    log.output.glitches = {Leapt(60)};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
}

TEST(Judge, OfAnEarlyStartAtALeapIsTheOutputs) {
    PlaybackLog log = OutOfTime(-50.0, 20);
    log.output.glitches = {Leapt(50, 10 * NanoSecPerMilliSec)};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::OutputGlitch);
    EXPECT_EQ(Judge(log).text,
              "The output leapt ahead by 50 ms at 0:00.0; the renderer was still catching up");
}

TEST(Judge, OfFramesOutOfTimeBehindAStallIsTheOutputs) {
    PlaybackLog log = OutOfTime(95.0, 1000);
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
    log.output.glitches = {StoodStill(95.0, 95.0)};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::OutputGlitch);
    log.output.glitches = {StoodStill(95.0, 30.0)};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad) << "the output made most of it good";
    log.output.glitches = {StoodStill(40.0, 40.0)};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad) << "55 ms are the renderer's own";
}

TEST(Judge, OfARendererThatDoesNotMakeItGoodIsBad) {
    // 95 ms late for ten minutes: half a minute would have been enough for the first 12.
    PlaybackLog log = OutOfTime(95.0);
    for (std::int64_t at = 2; at < 600; ++at) {
        log.sessions[0].points.push_back({at * 1000 * NanoSecPerMilliSec, 95.0});
    }
    log.output.glitches = {StoodStill(95.0, 95.0, 0)};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
}

TEST(Judge, OfACursorMovedWhileTheOutputStoodExcusesTheOppositeError) {
    // The renderer moves ahead by 95 ms at once, and then the output makes good what it had lost.
    PlaybackLog log = OutOfTime(-95.0, 1300);
    log.output.glitches = {StoodStill(95.0, 0.0)};
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
    log.sessions[0].events.push_back(Event(EventKind_t::DriftReset, 1090));
    EXPECT_EQ(Judge(log).outcome, Outcome_t::OutputGlitch);
    log.sessions[0].events.push_back(Event(EventKind_t::DriftReset, 1299));
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad) << "moved again when it was over";
}

TEST(Judge, TellsTheLongestGlitchAndThatTheRendererCaughtUp) {
    PlaybackLog log =
        LogOf({"", {StoodStill(95), StoodStill(20, 0, 1600 * NanoSecPerMilliSec)}, {Hole(60)}, {}, {}});
    EXPECT_EQ(Judge(log).text,
              "The output stood still for 95 ms at 0:00.8 (and was out of step 1 time more); the renderer "
              "caught up");
    log.isInterrupted = true;
    log.output.glitches.pop_back();
    EXPECT_EQ(Judge(log).text,
              "The output stood still for 95 ms at 0:00.8; the renderer caught up, until interrupted");
}

TEST(Judge, PutsFailedFramesAndAnotherSoundDownToTheRendererWhateverTheOutputDid) {
    PlaybackLog log = LogOf({"", {StoodStill(95)}, {}, {}, {}});
    log.sessions[0].jobsFailed = 1;
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
    log.sessions[0].jobsFailed = 0;
    log.comparison = Listening::CompareSounds(log.sessions[0].sound, Listening::Samples(96000, 0));
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
}

TEST(BeginErrorMilliSec, IsTheMiddleOfTheFirstTenFrames) {
    SessionLog session;
    EXPECT_FALSE(BeginErrorMilliSec(session));
    for (int i = 0; i < 20; ++i) {
        session.points.push_back({0, i < 4 ? 9.0 : i < 10 ? -2.0 : 30.0});
    }
    EXPECT_EQ(BeginErrorMilliSec(session), -2.0);
}

TEST(Judge, OfABadPlaybackThatWasInterruptedSaysBoth) {
    PlaybackLog log = MakeLog();
    log.isInterrupted = true;
    log.sessions[0].jobsFailed = 2;
    EXPECT_EQ(Judge(log).text, "2 frames failed, until interrupted");
}

} // namespace AudioHost
