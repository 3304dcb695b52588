#include "playrecord.h"

#include <gtest/gtest.h>

namespace AudioHost {

namespace {

constexpr std::int64_t MilliSec = 1'000'000;
constexpr std::int64_t StartNanoSec = 1'000'000'000;

Media::Pipeline::Report_t Report(Media::Pipeline::SessionId_t session, std::int64_t error,
                                 bool succeeds = true) {
    Media::Pipeline::Report_t report;
    report.session = session;
    report.outcome = succeeds ? Media::PipelineStageJob::Outcome_t::Succeeded
                              : Media::PipelineStageJob::Outcome_t::Uncompleted;
    report.requested = Kovra::JiffyTime(StartNanoSec);
    report.achieved = Kovra::JiffyTime(StartNanoSec + error);
    return report;
}

Kovra::LogRecord Log(std::int64_t after, std::string const& message, std::uint64_t subject = 0) {
    Kovra::LogRecord log;
    log.subject = subject;
    log.message = message;
    log.time = Kovra::JiffyTime(StartNanoSec + after);
    return log;
}

} // namespace

TEST(PlayRecorder_AddReport, KeepsTheErrorOfWhatSucceededAndCountsTheRest) {
    PlayRecorder recorder(false);
    recorder.SetStart(Kovra::JiffyTime(StartNanoSec));
    recorder.AddSession(7, {});
    recorder.AddReport(Report(7, -1'500'000));
    recorder.AddReport(Report(7, 0, false));
    recorder.AddReport(Report(8, 0));
    SessionRecord const session = recorder.Take().sessions.at(0);
    EXPECT_EQ(session.jobsSucceeded, 1U);
    EXPECT_EQ(session.jobsFailed, 1U);
    EXPECT_EQ(ErrorsOf(session), std::vector<double>{-1.5});
}

TEST(PlayRecorder_AddLog, BelongsToTheSessionThatIsItsSubject) {
    PlayRecorder recorder(false);
    recorder.SetStart(Kovra::JiffyTime(StartNanoSec));
    recorder.AddSession(1, {});
    recorder.AddSession(2, {});
    recorder.AddLog(Log(3 * MilliSec, "AudioBuffer playback started", 2));
    recorder.AddLog(Log(4 * MilliSec, "Adjusting audio frequency to 47960 Hz", 1));
    PlayRecord const record = recorder.Take();
    ASSERT_EQ(record.sessions[0].steps.size(), 1U);
    EXPECT_EQ(record.sessions[0].steps[0].hz, 47960U);
    EXPECT_EQ(record.sessions[0].steps[0].timeNanoSec, 4 * MilliSec);
    ASSERT_EQ(record.sessions[1].events.size(), 1U);
    EXPECT_EQ(record.sessions[1].events[0].kind, EventKind_t::Started);
    EXPECT_EQ(record.sessions[1].steps[0].hz, 48000U);
    EXPECT_TRUE(record.otherEvents.empty());
}

TEST(PlayRecorder_AddLog, WithoutASubjectBelongsToNoSession) {
    PlayRecorder recorder(false);
    recorder.AddSession(1, {});
    recorder.AddLog(Log(0, "Idle AudioBuffer playback stopped (1200 ms)"));
    PlayRecord const record = recorder.Take();
    ASSERT_EQ(record.otherEvents.size(), 1U);
    EXPECT_EQ(record.otherEvents[0].kind, EventKind_t::IdleStop);
}

TEST(PlayRecorder_AddSent, PutsSoundAtItsPositionWhenItIsKept) {
    PlayRecorder keeping(true);
    PlayRecorder forgetting(false);
    MediaFrame frame;
    frame.positionNanoSec = 20 * MilliSec;
    frame.durationNanoSec = 20 * MilliSec;
    frame.sound = {1, 2, 3};
    for (PlayRecorder* recorder : {&keeping, &forgetting}) {
        recorder->AddSent(recorder->AddSession(1, {}), frame);
    }
    Samples const sound = keeping.Take().sessions[0].sound;
    ASSERT_EQ(sound.size(), 963U);
    EXPECT_EQ(sound[959], 0);
    EXPECT_EQ(sound[960], 1);
    SessionRecord const other = forgetting.Take().sessions[0];
    EXPECT_TRUE(other.sound.empty());
    EXPECT_EQ(other.sentNanoSec, 40 * MilliSec);
}

TEST(PlayRecorder_GetProgress, TellsTheLatest) {
    PlayRecorder recorder(false);
    SessionRecord session;
    session.durationNanoSec = 9;
    recorder.AddSession(1, session);
    recorder.AddLog(Log(0, "Adjusting audio frequency to 48040 Hz", 1));
    recorder.AddReport(Report(1, 2 * MilliSec));
    recorder.AddReport(Report(1, 0, false));
    PlayRecorder::Progress const progress = recorder.GetProgress().at(0);
    EXPECT_EQ(progress.durationNanoSec, 9);
    EXPECT_EQ(progress.errorMilliSec, 2.0);
    EXPECT_EQ(progress.hz, 48040U);
    EXPECT_EQ(progress.jobsFailed, 1U);
}

} // namespace AudioHost
