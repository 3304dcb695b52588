#include "judgement.h"

#include <gtest/gtest.h>

#include "testrecord.h"
#include "testsounds.h"

namespace AudioHost {

namespace {

constexpr std::int64_t MilliSec = 1'000'000;

/// A second after the first frame: 0.8 s into the sound, with a lead of 200 ms.
constexpr std::int64_t GlitchAt = 1000 * MilliSec;
constexpr std::int64_t GlitchSample = 38400;

OutputGlitch StoodStill(double milliSec, double left = 0.0, std::int64_t at = GlitchAt) {
    OutputGlitch glitch;
    glitch.startNanoSec = at;
    glitch.endNanoSec = at + static_cast<std::int64_t>(milliSec * MilliSec);
    glitch.lateMilliSec = milliSec;
    glitch.leftMilliSec = left;
    return glitch;
}

OutputGlitch Leapt(double milliSec, std::int64_t at = GlitchAt) {
    OutputGlitch glitch;
    glitch.startNanoSec = at;
    glitch.endNanoSec = at + 10 * MilliSec;
    glitch.earlyMilliSec = milliSec;
    glitch.leftMilliSec = -milliSec;
    return glitch;
}

OutputGlitch NotSeen(double milliSec) {
    OutputGlitch glitch = StoodStill(milliSec);
    std::swap(glitch.lateMilliSec, glitch.blindMilliSec);
    return glitch;
}

SoundSpan Hole(double milliSec, std::int64_t at = GlitchSample) {
    return {at, static_cast<std::int64_t>(milliSec * 48.0)};
}

/// Somewhere in the two quarter seconds round `at`.
TimelineJump Jump(TimelineJump::Kind_t kind, double milliSec, std::int64_t at = GlitchSample) {
    std::int64_t const before = at / CompareWindowSamples * CompareWindowSamples;
    return {kind, before + CompareWindowSamples, static_cast<std::int64_t>(milliSec * 48.0),
            SoundSpan{before, 2 * CompareWindowSamples}};
}

PlayEvent Event(EventKind_t kind, std::int64_t atMilliSec) {
    return {kind, atMilliSec * MilliSec, ""};
}

/// What went wrong, what the output's cursor was seen to do, and whose doing that makes it.
struct Case {
    std::string name;
    std::vector<OutputGlitch> glitches;
    std::vector<SoundSpan> holes;
    std::vector<TimelineJump> jumps;
    Outcome_t outcome;
};

void PrintTo(Case const& one, std::ostream* out) {
    *out << one.name;
}

class JudgeHeard : public testing::TestWithParam<Case> {};

PlayRecord RecordOf(Case const& one) {
    // Comparing takes its time.
    static PlayRecord const heard = MakeHeardRecord();
    PlayRecord record = heard;
    record.output.isWatched = true;
    record.output.glitches = one.glitches;
    record.comparison->holes = one.holes;
    record.comparison->jumps = one.jumps;
    return record;
}

using Kind = TimelineJump::Kind_t;

} // namespace

TEST_P(JudgeHeard, PutsItDownToWhoseDoingItWas) {
    EXPECT_EQ(Judge(RecordOf(GetParam())).outcome, GetParam().outcome);
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
             {StoodStill(95, 0, GlitchAt - 500 * MilliSec)},
             {Hole(60)},
             {},
             Outcome_t::Bad},
        Case{"AStallBehindTheHole",
             {StoodStill(95, 0, GlitchAt + 500 * MilliSec)},
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
             {Leapt(40, GlitchAt + 2000 * MilliSec)},
             {},
             {Jump(Kind::Missing, 40)},
             Outcome_t::Bad},
        Case{"RepeatedAndNoGlitch", {}, {}, {Jump(Kind::Repeated, 40)}, Outcome_t::Bad},
        Case{"AHoleWhileTheWatchDidNotRun", {NotSeen(80)}, {Hole(60)}, {}, Outcome_t::OutputGlitch},
        Case{"TwoStallsTogether",
             {StoodStill(40), StoodStill(40, 0, GlitchAt + 200 * MilliSec)},
             {},
             {Jump(Kind::SilenceInserted, 80)},
             Outcome_t::OutputGlitch}),
    [](testing::TestParamInfo<Case> const& tested) { return tested.param.name; });

TEST(Judge, OfWindowsLostExcusesOnlyThoseAtAStall) {
    PlayRecord record = MakeHeardRecord();
    record.output.isWatched = true;
    record.output.glitches = {StoodStill(95)};
    // The fourth quarter second: 0.75 to 1.0 s into the sound.
    record.comparison->windows.at(3).correlation = 0.0F;
    record.comparison->windowsMatched = 7;
    EXPECT_EQ(Judge(record).outcome, Outcome_t::OutputGlitch);
    record.comparison->windows.at(6).correlation = 0.0F;
    record.comparison->windowsMatched = 6;
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad);
}

TEST(Judge, OfASessionThatTheOutputHasDisplacedLooksWhereItReallyWas) {
    // 80 ms late since 0.1 s: what was due 0.8 s into the sound was played when a stall of 20 ms came by.
    PlayRecord record =
        RecordOf({"",
                  {StoodStill(80, 80, 100 * MilliSec), StoodStill(20, 20, GlitchAt + 140 * MilliSec)},
                  {Hole(15)},
                  {},
                  Outcome_t::OutputGlitch});
    EXPECT_EQ(Judge(record).outcome, Outcome_t::OutputGlitch);
    record.output.glitches[0].leftMilliSec = 0.0;
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad);
}

TEST(Judge, OfACursorMovedLaterExcusesWhatTheOutputStillOwed) {
    // Two stalls of 60 ms stay; the renderer moves its cursor a second after the second one.
    PlayRecord record = RecordOf({"",
                                  {StoodStill(60, 60, 100 * MilliSec), StoodStill(60, 60, 300 * MilliSec)},
                                  {},
                                  {Jump(Kind::Missing, 120, 62400)},
                                  Outcome_t::OutputGlitch});
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad) << "nobody moved a cursor there";
    record.sessions[0].events.push_back(Event(EventKind_t::DriftReset, 1500));
    EXPECT_EQ(Judge(record).outcome, Outcome_t::OutputGlitch);
    record.comparison->jumps = {Jump(Kind::Missing, 160, 62400)};
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad) << "more than was owed";
    // Moved before: nothing is owed any more.
    record.comparison->jumps = {Jump(Kind::Missing, 120, 62400)};
    record.sessions[0].events.insert(record.sessions[0].events.end() - 1,
                                     Event(EventKind_t::DriftReset, 900));
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad);
}

namespace {

/// Every frame from `from` to `to` ms this much out of time.
PlayRecord OutOfTime(double errorMilliSec, std::int64_t from = 0, std::int64_t to = 2000) {
    PlayRecord record = MakeRecord();
    record.output.isWatched = true;
    for (PresentationPoint& point : record.sessions[0].points) {
        bool const isOut = point.timeNanoSec >= from * MilliSec && point.timeNanoSec < to * MilliSec;
        point.errorMilliSec = isOut ? errorMilliSec : 0.0;
    }
    return record;
}

} // namespace

TEST(Judge, OfAnEarlyStartWithoutAGlitchIsBad) {
    PlayRecord record = OutOfTime(-50.0);
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad);
    EXPECT_EQ(Judge(record).text, "Played, but up to 50 ms out of time");
    // Nor does one that comes later excuse it.
    record.output.glitches = {Leapt(60)};
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad);
}

TEST(Judge, OfAnEarlyStartAtALeapIsTheOutputs) {
    PlayRecord record = OutOfTime(-50.0, 20);
    record.output.glitches = {Leapt(50, 10 * MilliSec)};
    EXPECT_EQ(Judge(record).outcome, Outcome_t::OutputGlitch);
    EXPECT_EQ(Judge(record).text,
              "The output leapt ahead by 50 ms at 0:00.0; the renderer was still catching up");
}

TEST(Judge, OfFramesOutOfTimeBehindAStallIsTheOutputs) {
    PlayRecord record = OutOfTime(95.0, 1000);
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad);
    record.output.glitches = {StoodStill(95.0, 95.0)};
    EXPECT_EQ(Judge(record).outcome, Outcome_t::OutputGlitch);
    record.output.glitches = {StoodStill(95.0, 30.0)};
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad) << "the output made most of it good";
    record.output.glitches = {StoodStill(40.0, 40.0)};
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad) << "55 ms are the renderer's own";
}

TEST(Judge, OfARendererThatDoesNotMakeItGoodIsBad) {
    // 95 ms late for ten minutes: half a minute would have been enough for the first 12.
    PlayRecord record = OutOfTime(95.0);
    for (std::int64_t at = 2; at < 600; ++at) {
        record.sessions[0].points.push_back({at * 1000 * MilliSec, 95.0});
    }
    record.output.glitches = {StoodStill(95.0, 95.0, 0)};
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad);
}

TEST(Judge, OfACursorMovedWhileTheOutputStoodExcusesTheOppositeError) {
    // The renderer moves ahead by 95 ms at once, and then the output makes good what it had lost.
    PlayRecord record = OutOfTime(-95.0, 1300);
    record.output.glitches = {StoodStill(95.0, 0.0)};
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad);
    record.sessions[0].events.push_back(Event(EventKind_t::DriftReset, 1090));
    EXPECT_EQ(Judge(record).outcome, Outcome_t::OutputGlitch);
    record.sessions[0].events.push_back(Event(EventKind_t::DriftReset, 1299));
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad) << "moved again when it was over";
}

TEST(Judge, TellsTheLongestGlitchAndThatTheRendererCaughtUp) {
    PlayRecord record =
        RecordOf({"", {StoodStill(95), StoodStill(20, 0, 1600 * MilliSec)}, {Hole(60)}, {}, {}});
    EXPECT_EQ(Judge(record).text,
              "The output stood still for 95 ms at 0:00.8 (and was out of step 1 time more); the renderer "
              "caught up");
    record.isInterrupted = true;
    record.output.glitches.pop_back();
    EXPECT_EQ(Judge(record).text,
              "The output stood still for 95 ms at 0:00.8; the renderer caught up, until interrupted");
}

TEST(Judge, PutsFailedFramesAndAnotherSoundDownToTheRendererWhateverTheOutputDid) {
    PlayRecord record = RecordOf({"", {StoodStill(95)}, {}, {}, {}});
    record.sessions[0].jobsFailed = 1;
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad);
    record.sessions[0].jobsFailed = 0;
    record.comparison = CompareSounds(record.sessions[0].sound, Samples(96000, 0));
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad);
}

TEST(BeginErrorMilliSec, IsTheMiddleOfTheFirstTenFrames) {
    SessionRecord session;
    EXPECT_FALSE(BeginErrorMilliSec(session));
    for (int i = 0; i < 20; ++i) {
        session.points.push_back({0, i < 4 ? 9.0 : i < 10 ? -2.0 : 30.0});
    }
    EXPECT_EQ(BeginErrorMilliSec(session), -2.0);
}

} // namespace AudioHost
