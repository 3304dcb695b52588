#include "verdict/verdict.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

namespace Soak {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// A run of two sessions without anything wrong, of which each test spoils one thing.
class Verdict_ListFailures : public testing::Test {
protected:
    Verdict_ListFailures() {
        options.sessions = 2;
        record.frames = 500;
        record.told.jobs = 1000;
        record.told.succeeded = 1000;
        record.idleStopsInSilence = 2;
        ProcessFigures figures;
        figures.handles = 80;
        figures.threads = 10;
        record.moments = {{10.0, figures}, {20.0, figures}};
        record.captured.emplace();
        record.captured->judge.AddFrame(0, {});
        findings.bursts.expected = 20;
        findings.bursts.found = 20;
    }

    std::vector<std::string> List() const { return ListFailures(options, record, findings); }

    Options options;
    RunRecord record;
    Findings findings;
};

using Json_Format = Verdict_ListFailures;

TEST_F(Json_Format, CountsAreWholeNumbersAndTimesRoundedToMicroseconds) {
    findings.bursts.delayMilliSec = 36.41249;
    auto const json = nlohmann::json::parse(FormatJson(options, record, findings, {}));
    EXPECT_TRUE(json["told"]["jobs"].is_number_integer());
    EXPECT_EQ(json["told"]["jobs"], 1000);
    EXPECT_EQ(json["bursts"]["delayMilliSec"], 36.412);
    EXPECT_EQ(json["captured"]["frames"], 1);
    EXPECT_EQ(json["moments"].size(), 2U);
}

TEST_F(Json_Format, WhatIsUnknownIsNull) {
    findings.strays.push_back({4800, 960, std::nullopt});
    findings.bursts.driftMilliSecPerHour = std::numeric_limits<double>::quiet_NaN();
    auto const json = nlohmann::json::parse(FormatJson(options, record, findings, {}));
    EXPECT_TRUE(json["bursts"]["strays"][0]["session"].is_null());
    EXPECT_TRUE(json["bursts"]["driftMilliSecPerHour"].is_null());
}

TEST_F(Json_Format, FailuresAndRecordsStandInTheirOwnWords) {
    record.told.logged["he said \"no\"\n"] = 3;
    auto const json = nlohmann::json::parse(FormatJson(options, record, findings, {"1 \\ failed"}));
    EXPECT_EQ(json["failures"][0], "1 \\ failed");
    EXPECT_EQ(json["told"]["logged"]["he said \"no\"\n"], 3);
}

TEST_F(Json_Format, RunWithoutMicrophoneTellsNothingOfIt) {
    record.captured.reset();
    auto const json = nlohmann::json::parse(FormatJson(options, record, findings, {}));
    EXPECT_FALSE(json.contains("captured"));
}

TEST_F(Verdict_ListFailures, OfAGoodRunIsEmpty) {
    EXPECT_THAT(List(), IsEmpty());
}

TEST_F(Verdict_ListFailures, TellsAFailedFrame) {
    --record.told.succeeded;
    EXPECT_THAT(List(), ElementsAre(HasSubstr("1 frame failed")));
}

TEST_F(Verdict_ListFailures, TellsAFrameThatDidNotComeBack) {
    --record.told.jobs;
    --record.told.succeeded;
    EXPECT_THAT(List(), ElementsAre(HasSubstr("999 frames of 1000")));
}

TEST_F(Verdict_ListFailures, TellsALossThatWasLogged) {
    record.told.logged["AudioBuffer packet loss, zero'ing # samples"] = 1;
    EXPECT_THAT(List(), ElementsAre(HasSubstr("losses")));
}

TEST_F(Verdict_ListFailures, TellsStopsForThePastBeyondTheFramesThatWereLate) {
    record.told.logged["AudioBuffer presentation requested in the past, stopping"] = 3;
    record.told.overdue = 3;
    EXPECT_THAT(List(), IsEmpty());
    record.told.overdue = 2;
    EXPECT_THAT(List(), ElementsAre(HasSubstr("past")));
}

TEST_F(Verdict_ListFailures, ARunThatWasDisturbedForMostOfItsTimeTellsNothing) {
    findings.calmShare = MinCalmShare;
    EXPECT_FALSE(IsUntold(options, findings));
    findings.calmShare = MinCalmShare - 0.001;
    EXPECT_TRUE(IsUntold(options, findings));
    EXPECT_THAT(List(), IsEmpty());
    EXPECT_THAT(FormatWords(options, record, findings, List()),
                HasSubstr("Verdict:  this machine cannot tell;"));
    --record.told.succeeded;
    EXPECT_THAT(FormatWords(options, record, findings, List()), HasSubstr("Verdict:  failed;"));
}

TEST_F(Verdict_ListFailures, TellsEachKindOfGlitchOfASessionsOwn) {
    findings.bursts.missing.emplace_back();
    findings.bursts.displaced.emplace_back();
    findings.strays.emplace_back();
    findings.faults.own.emplace_back();
    EXPECT_THAT(List(), ElementsAre(HasSubstr("not heard"), HasSubstr("out of time"),
                                    HasSubstr("where none was to be"), HasSubstr("in the sound")));
}

TEST_F(Verdict_ListFailures, PutsAsManyGlitchesAsToldDownToABusyMachine) {
    findings.bursts.missing.emplace_back();
    findings.faults.own.emplace_back();
    options.toleratedGlitches = 2;
    EXPECT_THAT(List(), IsEmpty());
    options.toleratedGlitches = 1;
    EXPECT_THAT(List(), ElementsAre(HasSubstr("not heard"), HasSubstr("in the sound")));
}

TEST_F(Verdict_ListFailures, LeavesOutBreaksAndStepsOfAnOnlySession) {
    options.sessions = 1;
    record.frames = 1000;
    record.idleStopsInSilence = 1;
    findings.faults.own.emplace_back();
    findings.bursts.displaced.emplace_back();
    EXPECT_THAT(List(), IsEmpty());
}

TEST_F(Verdict_ListFailures, LeavesOutWhatIsTheOutputs) {
    findings.bursts.missingDisturbed = 3;
    findings.bursts.displacedDisturbed = 3;
    findings.disturbedStrays.emplace_back();
    findings.faults.common.emplace_back();
    findings.faults.atFrequencyChanges.emplace_back();
    EXPECT_THAT(List(), IsEmpty());
}

TEST_F(Verdict_ListFailures, TellsSoundAfterTheEndAndSessionsThatWereNotStopped) {
    findings.silencePeakLsb = SilencePeakLsb + 1;
    record.idleStopsInSilence = 1;
    EXPECT_THAT(List(), ElementsAre(HasSubstr("after the end"), HasSubstr("1 idle stop of 2")));
}

TEST_F(Verdict_ListFailures, AllowsNoMoreIdleStopsThanLateFramesExplain) {
    record.idleStopsInSilence = 3;
    record.told.overdue = 1;
    EXPECT_THAT(List(), IsEmpty());
    record.told.overdue = 0;
    EXPECT_THAT(List(), ElementsAre(HasSubstr("3 idle stops of 2")));
}

TEST_F(Verdict_ListFailures, ExpectsNoIdleStopsBeyondWhatTheWaitTakes) {
    options.sessions = MaxWaitedSessions + 1;
    record.frames = 10;
    record.told.jobs = 640;
    record.told.succeeded = 640;
    record.idleStopsInSilence = 0;
    findings.silencePeakLsb = 5000;
    EXPECT_THAT(List(), IsEmpty());
}

TEST_F(Verdict_ListFailures, TellsHandlesAndThreadsThatGrowBeyondWhatPasses) {
    record.moments.back().figures.handles = 85;
    record.moments.back().figures.threads = 15;
    EXPECT_THAT(List(), IsEmpty());
    record.moments.back().figures.handles = 86;
    record.moments.back().figures.threads = 16;
    EXPECT_THAT(List(), ElementsAre(HasSubstr("handles grew"), HasSubstr("threads grew")));
}

TEST_F(Verdict_ListFailures, TellsACaptureThatGaveNothingOrFailed) {
    record.captured.emplace();
    record.captured->failures[-120] = 1;
    EXPECT_THAT(List(), ElementsAre(HasSubstr("nothing came"), HasSubstr("reads of the microphone failed")));
}

TEST_F(Verdict_ListFailures, TellsAGapInTheNumbersOfCapturedFrames) {
    record.captured->judge.AddFrame(2, {});
    EXPECT_THAT(List(), ElementsAre(HasSubstr("1 gap")));
}

TEST(Verdict_PlaybackThreadShare, IsCpuTimeOfTheThreadByTheClock) {
    Moment from;
    from.seconds = 10.0;
    from.figures.cpuSecondsOfThreads["Media.RendererAudio.Playback"] = 1.0;
    Moment to;
    to.seconds = 20.0;
    to.figures.cpuSecondsOfThreads["Media.RendererAudio.Playback"] = 6.0;
    to.figures.cpuSecondsOfThreads["another"] = 9.0;
    EXPECT_DOUBLE_EQ(PlaybackThreadShare(from, to), 0.5);
}

class Verdict_FormatWords : public Verdict_ListFailures {};

TEST_F(Verdict_FormatWords, TellsWhatTheOutputsOwnCursorDid) {
    EXPECT_THAT(FormatWords(options, record, findings, {}), Not(HasSubstr("Output:")));
    record.output.isWatched = true;
    record.output.worstMilliSec = 4.2;
    EXPECT_THAT(FormatWords(options, record, findings, {}),
                HasSubstr("\nOutput:   its own cursor stayed within 4.2 ms\n"));
    record.output.glitches.resize(2);
    record.output.glitches[0].startNanoSec = 62'300'000'000;
    record.output.worstMilliSec = 95.0;
    EXPECT_THAT(FormatWords(options, record, findings, {}),
                HasSubstr("its own cursor was out of step 2 times (first at 1:02.3), by at most 95.0 ms\n"));
}

} // namespace
} // namespace Soak
