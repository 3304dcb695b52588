#include "play/playbacklog.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "listening/stats.h"

namespace AudioHost {

namespace {

using Listening::NanoSecPerMilliSec;
constexpr std::int64_t FirstNanoSec = 1'000'000'000;

Media::Pipeline::Report_t Report(Media::Pipeline::SessionId_t session, std::int64_t error,
                                 bool succeeds = true) {
    Media::Pipeline::Report_t report;
    report.session = session;
    report.outcome = succeeds ? Media::PipelineStageJob::Outcome_t::Succeeded
                              : Media::PipelineStageJob::Outcome_t::Uncompleted;
    report.requested = Kovra::JiffyTime(FirstNanoSec);
    report.achieved = Kovra::JiffyTime(FirstNanoSec + error);
    return report;
}

Kovra::LogRecord Log(std::int64_t after, std::string const& message, std::uint64_t subject = 0) {
    Kovra::LogRecord record;
    record.subject = subject;
    record.message = message;
    record.time = Kovra::JiffyTime(FirstNanoSec + after);
    return record;
}

std::vector<std::int64_t> NumbersOf(std::vector<PresentationPoint> const& points) {
    std::vector<std::int64_t> numbers;
    for (PresentationPoint const& point : points) {
        numbers.push_back(point.timeNanoSec);
    }
    return numbers;
}

} // namespace

// Pieces have ten seconds: 480000 samples.
TEST(GrowingSound_Put, GoesOnFromPieceToPiece) {
    Listening::Samples sent(1'000'003);
    for (std::size_t i = 0; i < sent.size(); ++i) {
        sent[i] = static_cast<std::int16_t>(i * 7919);
    }
    GrowingSound sound;
    for (std::size_t at = 0; at < sent.size(); at += 1'001) {
        sound.Put(at, Listening::SampleView(sent).Cut(static_cast<std::int64_t>(at), 1'001));
    }
    EXPECT_TRUE(sound.Take() == sent);
    EXPECT_TRUE(sound.Take().empty());
}

TEST(GrowingSound_Put, LeavesSilenceBeforeAndOverwrites) {
    GrowingSound sound;
    sound.Put(479'999, Listening::Samples{1, 2, 3});
    sound.Put(480'000, Listening::Samples{4});
    Listening::Samples expected(480'002);
    expected[479'999] = 1;
    expected[480'000] = 4;
    expected[480'001] = 3;
    EXPECT_TRUE(sound.Take() == expected);
    // More than a piece at once.
    sound.Put(0, expected);
    EXPECT_TRUE(sound.Take() == expected);
}

TEST(PointKeeper_Add, KeepsAllUpToItsMost) {
    PointKeeper keeper(100);
    std::vector<std::int64_t> numbers;
    for (std::int64_t i = 0; i < 100; ++i) {
        keeper.Add({i, 0.0, 0.0});
        numbers.push_back(i);
    }
    EXPECT_EQ(keeper.GetLatest()->timeNanoSec, 99);
    EXPECT_EQ(NumbersOf(keeper.Take()), numbers);
    EXPECT_EQ(keeper.GetLatest(), nullptr);
    keeper.Add({7, 0.0, 0.0});
    EXPECT_EQ(NumbersOf(keeper.Take()), std::vector<std::int64_t>{7});
}

TEST(PointKeeper_Add, OfALongRunKeepsItsEndsItsExtremesAndAnEvenShareOfTheRest) {
    constexpr std::int64_t Count = 1'000'001;
    constexpr std::int64_t Twentieth = Count / 20;
    PointKeeper keeper(1'000);
    for (std::int64_t i = 0; i < Count; ++i) {
        double const error = i == 123'457 ? 90.0 : i == 765'431 ? -80.0 : static_cast<double>(i % 7);
        keeper.Add({i, error, 0.0});
    }
    std::vector<PresentationPoint> const points = keeper.Take();
    EXPECT_LE(points.size(), 1'000U);
    std::vector<std::int64_t> const numbers = NumbersOf(points);
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    for (std::size_t i = 0; i < PointKeeper::EndPoints; ++i) {
        EXPECT_EQ(numbers[i], static_cast<std::int64_t>(i));
        EXPECT_EQ(numbers[numbers.size() - 1 - i], Count - 1 - static_cast<std::int64_t>(i));
    }
    for (std::int64_t const extreme : {123'457, 765'431}) {
        EXPECT_TRUE(std::binary_search(numbers.begin(), numbers.end(), extreme));
    }
    // As many in each twentieth but for the ends.
    for (std::int64_t from = Twentieth; from < Count - 2 * Twentieth; from += Twentieth) {
        auto const within = std::count_if(numbers.begin(), numbers.end(), [from](std::int64_t number) {
            return number >= from && number < from + Twentieth;
        });
        EXPECT_NEAR(static_cast<double>(within), static_cast<double>(numbers.size()) / 20.0, 4.0);
    }
}

TEST(PlaybackLogKeeper_AddReport, WithoutAllTakesNoMoreMemoryTheLongerItRuns) {
    PlaybackLogKeeper all(true);
    PlaybackLogKeeper some(false);
    for (PlaybackLogKeeper* keeper : {&all, &some}) {
        keeper->SetStart(Kovra::JiffyTime(FirstNanoSec));
        keeper->AddSession(7, {});
        for (int i = 0; i < 40'000; ++i) {
            keeper->AddReport(Report(7, i % 100 * NanoSecPerMilliSec));
            keeper->AddLog(Log(i * 20 * NanoSecPerMilliSec, "AudioBuffer ignoring small gap (2 samples)", 7));
            keeper->AddArrival(0, i);
            keeper->AddStream(0, {});
        }
    }
    SessionLog const whole = all.Take().sessions.at(0);
    SessionLog const bounded = some.Take().sessions.at(0);
    EXPECT_EQ(whole.points.size(), 40'000U);
    EXPECT_EQ(whole.arrivals.size(), 40'000U);
    EXPECT_EQ(whole.streamPoints.size(), 40'000U);
    EXPECT_LE(bounded.points.size(), 16'384U);
    EXPECT_TRUE(bounded.arrivals.empty());
    EXPECT_EQ(bounded.streamPoints.size(), 1U);
    for (SessionLog const& session : {whole, bounded}) {
        EXPECT_EQ(session.jobsSucceeded, 40'000U);
        EXPECT_EQ(session.events.size(), 1U);
        EXPECT_EQ(CountEvents(session, EventKind_t::SmallGap), 40'000U);
        EXPECT_NEAR(Listening::Percentile(ErrorsOf(session), 0.95), 95.0, 1.0);
    }
}

TEST(PlaybackLogKeeper_AddReport, KeepsTheErrorOfWhatSucceededAndCountsTheRest) {
    PlaybackLogKeeper keeper(false);
    keeper.SetStart(Kovra::JiffyTime(FirstNanoSec));
    keeper.AddSession(7, {});
    keeper.AddReport(Report(7, -1'500'000));
    keeper.AddReport(Report(7, 0, false));
    keeper.AddReport(Report(8, 0));
    SessionLog const session = keeper.Take().sessions.at(0);
    EXPECT_EQ(session.jobsSucceeded, 1U);
    EXPECT_EQ(session.jobsFailed, 1U);
    EXPECT_EQ(ErrorsOf(session), std::vector<double>{-1.5});
}

TEST(PlaybackLogKeeper_AddLog, BelongsToTheSessionThatIsItsSubject) {
    PlaybackLogKeeper keeper(false);
    keeper.SetStart(Kovra::JiffyTime(FirstNanoSec));
    keeper.AddSession(1, {});
    keeper.AddSession(2, {});
    keeper.AddLog(Log(3 * NanoSecPerMilliSec, "AudioBuffer playback started", 2));
    keeper.AddLog(Log(4 * NanoSecPerMilliSec, "Adjusting audio frequency to 47960 Hz", 1));
    PlaybackLog const log = keeper.Take();
    ASSERT_EQ(log.sessions[0].steps.size(), 1U);
    EXPECT_EQ(log.sessions[0].steps[0].hz, 47960U);
    EXPECT_EQ(log.sessions[0].steps[0].timeNanoSec, 4 * NanoSecPerMilliSec);
    ASSERT_EQ(log.sessions[1].events.size(), 1U);
    EXPECT_EQ(log.sessions[1].events[0].kind, EventKind_t::Started);
    EXPECT_EQ(log.sessions[1].steps[0].hz, 48000U);
    EXPECT_TRUE(log.otherEvents.empty());
}

TEST(PlaybackLogKeeper_Take, LeavesNoSessionForWhatComesLater) {
    PlaybackLogKeeper keeper(false);
    keeper.AddSession(1, {});
    keeper.Take();
    keeper.AddLog(Log(0, "AudioBuffer playback started", 1));
    keeper.AddReport(Report(1, 0));
    EXPECT_EQ(keeper.Take().otherEvents.size(), 1U);
}

TEST(PlaybackLogKeeper_AddLog, WithoutASubjectBelongsToNoSession) {
    PlaybackLogKeeper keeper(false);
    keeper.AddSession(1, {});
    keeper.AddLog(Log(0, "Idle AudioBuffer playback stopped (1200 ms)"));
    PlaybackLog const log = keeper.Take();
    ASSERT_EQ(log.otherEvents.size(), 1U);
    EXPECT_EQ(log.otherEvents[0].kind, EventKind_t::IdleStop);
}

TEST(PlaybackLogKeeper_AddLog, OfASubjectThatNoSessionCanHaveBelongsToNone) {
    PlaybackLogKeeper keeper(false);
    keeper.AddSession(1, {});
    keeper.AddLog(Log(0, "AudioBuffer playback started", (std::uint64_t{1} << 32U) + 1));
    PlaybackLog const log = keeper.Take();
    EXPECT_TRUE(log.sessions[0].events.empty());
    EXPECT_EQ(log.otherEvents.size(), 1U);
}

TEST(PlaybackLogKeeper_AddSent, PutsSoundAtItsPositionWhenItIsKept) {
    PlaybackLogKeeper keeping(true);
    PlaybackLogKeeper forgetting(false);
    MediaFrame frame;
    frame.positionNanoSec = 20 * NanoSecPerMilliSec;
    frame.durationNanoSec = 20 * NanoSecPerMilliSec;
    frame.sound = {1, 2, 3};
    for (PlaybackLogKeeper* keeper : {&keeping, &forgetting}) {
        keeper->AddSent(keeper->AddSession(1, {}), frame);
    }
    Listening::Samples const sound = keeping.Take().sessions[0].sound;
    ASSERT_EQ(sound.size(), 963U);
    EXPECT_EQ(sound[959], 0);
    EXPECT_EQ(sound[960], 1);
    SessionLog const other = forgetting.Take().sessions[0];
    EXPECT_TRUE(other.sound.empty());
    EXPECT_TRUE(other.handOvers.empty());
    EXPECT_EQ(other.sentNanoSec, 40 * NanoSecPerMilliSec);
}

TEST(PlaybackLogKeeper_GetProgress, TellsTheLatest) {
    PlaybackLogKeeper keeper(false);
    SessionLog session;
    session.durationNanoSec = 9;
    keeper.AddSession(1, session);
    keeper.AddLog(Log(0, "Adjusting audio frequency to 48040 Hz", 1));
    keeper.AddReport(Report(1, 2 * NanoSecPerMilliSec));
    keeper.AddReport(Report(1, 0, false));
    PlaybackLogKeeper::Progress const progress = keeper.GetProgress().at(0);
    EXPECT_EQ(progress.durationNanoSec, 9);
    EXPECT_EQ(progress.errorMilliSec, 2.0);
    EXPECT_EQ(progress.hz, 48040U);
    EXPECT_EQ(progress.jobsFailed, 1U);
}

} // namespace AudioHost
