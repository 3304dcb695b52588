#include "play/trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "kovra/thread.h"
#include "support/testerror.h"
#include "support/testfiles.h"
#include "support/testmicrophone.h"
#include "support/testtrace.h"

namespace AudioHost {

using Json = nlohmann::json;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr std::int64_t MilliSec = 1'000'000;

class TraceTest : public testing::Test {
protected:
    TraceTest() : trace(std::make_unique<Trace>(path)) {}

    /// A job that begins `atMilliSec` after the trace, on the calling thread.
    void AddJob(std::int64_t atMilliSec, std::uint32_t session, std::int64_t errorMilliSec = 0,
                std::int64_t renderMilliSec = 1) {
        Media::Pipeline::Report_t report;
        report.session = session;
        report.jobNumber = static_cast<std::uint64_t>(atMilliSec);
        report.outcome = outcome;
        report.started = At(atMilliSec);
        report.renderNanoSec = renderMilliSec * MilliSec;
        report.requested = At(atMilliSec + aheadMilliSec);
        report.achieved = At(atMilliSec + aheadMilliSec + errorMilliSec);
        trace->AddReport(report);
    }

    void AddRecord(std::int64_t atMilliSec, std::string const& text, std::uint64_t session,
                   std::string const& thread = "Some.Thread") {
        Kovra::LogRecord record;
        record.channel = "Media.RendererAudioPlaybackBuffer";
        record.message = text;
        record.time = At(atMilliSec);
        record.threadName = thread;
        record.subject = session;
        trace->AddLog(record);
    }

    /// What a worker of the pipeline does.
    template <class Call>
    static void OnWorker(Call call) {
        std::thread([&] {
            Kovra::SetThreadName("Media.Pipeline.Worker");
            call();
        }).join();
    }

    Kovra::JiffyTime At(std::int64_t milliSec) const {
        return Kovra::JiffyTime(startNanoSec + milliSec * MilliSec);
    }

    /// The events with this member, once all is written.
    std::vector<Json> Find(char const* member, std::string const& value) {
        trace->Close();
        EXPECT_THAT(FindTraceFaults(ReadFile(path)), IsEmpty());
        std::vector<Json> found;
        for (Json const& event : ReadTrace(ReadFile(path))) {
            if (event.value(member, "") == value) {
                found.push_back(event);
            }
        }
        return found;
    }

    TestFolder folder;
    TestClock clock;
    std::string const path = folder.PathOf("trace.json");
    std::int64_t const startNanoSec = clock.nanoSec;
    std::int64_t aheadMilliSec = 200;
    Media::PipelineStageJob::Outcome_t outcome = Media::PipelineStageJob::Outcome_t::Succeeded;
    std::unique_ptr<Trace> trace;
};

using Trace_AddReport = TraceTest;
using Trace_AddLog = TraceTest;
using Trace_Write = TraceTest;

} // namespace

TEST_F(Trace_AddReport, JobIsASpanOnTheThreadThatRenderedIt) {
    trace->AddSession(3, "voice.wav");
    OnWorker([&] {
        AddJob(20, 3, -5, 2);
        // While the other lives: numbers of threads that have ended are given again.
        OnWorker([&] { AddJob(21, 3); });
    });
    auto const jobs = Find("ph", "X");
    ASSERT_EQ(jobs.size(), 2U);
    EXPECT_EQ(jobs[0]["ts"], 20'000.0);
    EXPECT_EQ(jobs[0]["dur"], 2'000.0);
    EXPECT_EQ(jobs[0]["args"], Json::parse(R"({"session": 3, "job": 20, "outcome": "succeeded",
                                               "ahead ms": 200.0, "error ms": -5.0})"));
    EXPECT_NE(jobs[0]["tid"], jobs[1]["tid"]);
    auto const names = Find("name", "thread_name");
    EXPECT_THAT(names, Contains(Json{{"name", "thread_name"},
                                     {"ph", "M"},
                                     {"pid", 1},
                                     {"tid", jobs[1]["tid"]},
                                     {"args", {{"name", "Media.Pipeline.Worker 2"}}}}));
}

// Done 202 ms after it began, of 200: the frame lay 198 ms ahead of the ear, and 5 less as it is early.
TEST_F(Trace_AddReport, ErrorAndLagAreCurvesOfTheSession) {
    trace->AddSession(3, "voice.wav");
    OnWorker([&] { AddJob(20, 3, -5, 2); });
    auto const curves = Find("ph", "C");
    ASSERT_EQ(curves.size(), 2U);
    EXPECT_EQ(curves[0]["name"], "error");
    EXPECT_EQ(curves[0]["args"], Json::parse(R"({"ms": -5.0})"));
    EXPECT_EQ(curves[1]["name"], "lag");
    EXPECT_EQ(curves[1]["args"], Json::parse(R"({"ms": 193.0})"));
    EXPECT_EQ(curves[0]["pid"], curves[1]["pid"]);
    EXPECT_THAT(Find("name", "process_name"), Contains(Json{{"name", "process_name"},
                                                            {"ph", "M"},
                                                            {"pid", curves[0]["pid"]},
                                                            {"tid", 0},
                                                            {"args", {{"name", "session 3: voice.wav"}}}}));
}

TEST_F(Trace_AddReport, FailedAndLateJobsHaveNoError) {
    trace->AddSession(3, "voice.wav");
    aheadMilliSec = -1;
    OnWorker([&] { AddJob(20, 3); });
    aheadMilliSec = 200;
    outcome = Media::PipelineStageJob::Outcome_t::Aborted;
    OnWorker([&] { AddJob(40, 3); });
    EXPECT_THAT(Find("ph", "C"), IsEmpty());
    auto const jobs = Find("ph", "X");
    ASSERT_EQ(jobs.size(), 2U);
    EXPECT_EQ(jobs[0]["args"]["ahead ms"], -1.0);
    EXPECT_EQ(jobs[1]["args"]["outcome"], "aborted");
    EXPECT_FALSE(jobs[1]["args"].contains("error ms"));
}

TEST_F(Trace_AddLog, RecordIsAMarkOnTheTrackOfItsSessionOrItsThread) {
    trace->AddSession(3, "voice.wav");
    AddRecord(10, "AudioBuffer ignoring small gap (2 samples)", 3);
    AddRecord(11, "Idle AudioBuffer playback stopped (1200 ms)", 0, "Media.RendererAudio.Playback");
    auto const marks = Find("ph", "i");
    ASSERT_EQ(marks.size(), 2U);
    EXPECT_EQ(marks[0]["name"], "AudioBuffer ignoring small gap (2 samples)");
    EXPECT_EQ(marks[0]["ts"], 10'000.0);
    EXPECT_EQ(marks[0]["pid"], 4);
    EXPECT_EQ(marks[0]["args"]["thread"], "Some.Thread");
    EXPECT_EQ(marks[1]["pid"], 1);
    EXPECT_THAT(Find("name", "thread_name"),
                Contains(Json{{"name", "thread_name"},
                              {"ph", "M"},
                              {"pid", 1},
                              {"tid", marks[1]["tid"]},
                              {"args", {{"name", "Media.RendererAudio.Playback"}}}}));
}

TEST_F(Trace_AddLog, RecordOfASubjectThatNoSessionCanHaveIsAMarkOfItsThread) {
    trace->AddSession(3, "voice.wav");
    AddRecord(10, "AudioBuffer playback started", (std::uint64_t{1} << 32U) + 3);
    auto const marks = Find("ph", "i");
    ASSERT_EQ(marks.size(), 1U);
    EXPECT_EQ(marks[0]["pid"], 1);
    EXPECT_THAT(Find("ph", "C"), IsEmpty());
}

TEST_F(Trace_AddLog, PlaybackFrequencyIsACurve) {
    trace->AddSession(3, "voice.wav");
    AddRecord(10, "AudioBuffer playback started", 3);
    AddRecord(20, "Adjusting audio frequency to 47960 Hz", 3);
    AddRecord(30, "AudioBuffer presentation requested in the past, stopping", 3);
    std::vector<std::uint32_t> told;
    for (Json const& curve : Find("name", "playback frequency")) {
        told.push_back(curve["args"]["Hz"].get<std::uint32_t>());
    }
    EXPECT_THAT(told, ElementsAre(48000U, 47960U, 0U));
}

// Told when they end; a record 60 ms after it was made.
TEST_F(Trace_Write, PutsInOrderWhatIsToldLate) {
    trace->AddSession(3, "voice.wav");
    trace->AddSession(4, "other.wav");
    OnWorker([&] {
        for (std::int64_t now = 60; now < 5'000; now += 20) {
            clock.nanoSec = startNanoSec + now * MilliSec;
            AddJob(now - 10, now % 40 == 0 ? 3 : 4, 1, 9);
            AddRecord(now - 60, "Adjusting audio frequency to 47960 Hz", 3);
            trace->Write();
        }
    });
    EXPECT_EQ(Find("ph", "X").size(), 247U);
    std::vector<double> times;
    for (Json const& event : ReadTrace(ReadFile(path))) {
        if (event["ph"] != "M") {
            times.push_back(event["ts"].get<double>());
        }
    }
    EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
}

TEST_F(Trace_Write, LeavesTheLastSecondForLaterSoThatMemoryStaysSmall) {
    trace->AddSession(3, "voice.wav");
    OnWorker([&] {
        AddJob(0, 3);
        AddJob(1'000, 3);
    });
    clock.nanoSec = startNanoSec + 1'001 * MilliSec;
    trace->Write();
    std::string const text = ReadFile(path);
    EXPECT_THAT(text, HasSubstr("\"job\":0,"));
    EXPECT_THAT(text, testing::Not(HasSubstr("\"job\":1000,")));
    // As it would be left by a program that dies.
    EXPECT_THAT(FindTraceFaults(text + "]"), IsEmpty());
    EXPECT_EQ(Find("ph", "X").size(), 2U);
}

TEST_F(Trace_Write, TakesAnyText) {
    trace->AddSession(3, "\"quoted\\\n\xFF.wav");
    AddRecord(1, "\x01 \"text\" \xC3", 0, "");
    EXPECT_EQ(Find("ph", "i").size(), 1U);
}

TEST_F(Trace_Write, OfNothingIsATraceToo) {
    trace->Close();
    EXPECT_THAT(FindTraceFaults(ReadFile(path)), IsEmpty());
}

TEST_F(Trace_Write, OfABoundedTraceKeepsTheLatest) {
    trace = std::make_unique<Trace>(path, "soak", 3);
    trace->AddSession(3, "tone 0");
    OnWorker([&] {
        for (std::int64_t job = 1; job <= 4; ++job) {
            AddJob(100 * job, 3);
        }
    });
    AddRecord(250, "AudioBuffer playback started", 3);
    std::vector<Json> const jobs = Find("ph", "X");
    ASSERT_EQ(jobs.size(), 2U);
    EXPECT_EQ(jobs[0]["args"]["job"], 300);
    EXPECT_EQ(jobs[1]["args"]["job"], 400);
    EXPECT_EQ(Find("ph", "i").size(), 1U);
    EXPECT_THAT(ReadFile(path), HasSubstr("\"soak\""));
}

TEST_F(Trace_Write, OfABoundedTraceThatIsNotFullKeepsAll) {
    trace = std::make_unique<Trace>(path, "soak", 3);
    trace->AddSession(3, "tone 0");
    OnWorker([&] {
        AddJob(10, 3);
        AddJob(20, 3);
        AddJob(30, 3);
    });
    EXPECT_EQ(Find("ph", "X").size(), 3U);
}

TEST_F(Trace_Write, OfABoundedTraceWrittenInBetweenGoesOn) {
    trace = std::make_unique<Trace>(path, "soak", 2);
    trace->AddSession(3, "tone 0");
    OnWorker([&] {
        AddJob(0, 3);
        AddJob(10, 3);
        AddJob(20, 3);
        clock.nanoSec = startNanoSec + 1'500 * MilliSec;
        trace->Write();
        AddJob(1'600, 3);
        AddJob(1'610, 3);
    });
    std::vector<int> numbers;
    for (Json const& job : Find("ph", "X")) {
        numbers.push_back(job["args"]["job"].get<int>());
    }
    EXPECT_THAT(numbers, ElementsAre(10, 20, 1'600, 1'610));
}

TEST_F(Trace_Write, OfADiscardedTraceLeavesNoFile) {
    AddRecord(1, "AudioBuffer playback started", 3);
    trace->Discard();
    EXPECT_FALSE(std::filesystem::exists(path));
    // Nothing comes back.
    trace->Close();
    trace.reset();
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(Trace, ThatCannotBeWrittenSaysSoAtOnce) {
    TestFolder folder;
    std::string sentence;
    EXPECT_EQ(CodeOf([&] { Trace(folder.PathOf("no folder/trace.json")); }, &sentence), ExitCode_t::Usage);
    EXPECT_THAT(sentence, HasSubstr("no folder/trace.json' cannot be written"));
}

TEST(FindTraceFaults, KnowsWhatIsNoTrace) {
    auto const faultOf = [](std::string const& event) {
        auto const faults = FindTraceFaults(
            R"([{"name":"process_name","ph":"M","pid":1,"tid":0,"args":{"name":"p"}},
                {"name":"thread_name","ph":"M","pid":1,"tid":1,"args":{"name":"t"}},)" +
            event + "]");
        return faults.empty() ? "" : faults.front();
    };
    std::string const good = R"({"name":"a","ph":"X","ts":5,"dur":3,"pid":1,"tid":1})";
    EXPECT_EQ(faultOf(good), "");
    EXPECT_EQ(faultOf("5"), "event 2 is no object");
    EXPECT_EQ(faultOf(R"({"ph":"X","ts":5,"dur":3,"pid":1,"tid":1})"), "event 2 has no text name");
    EXPECT_EQ(faultOf(R"({"name":"a","ph":"X","ts":5,"pid":1,"tid":1})"), "event 2 has no number dur");
    EXPECT_EQ(faultOf(R"({"name":"a","ph":"X","ts":"5","dur":1,"pid":1,"tid":1})"),
              "event 2 has no number ts");
    EXPECT_EQ(faultOf(R"({"name":"a","ph":"X","ts":5,"dur":1,"pid":"1","tid":1})"),
              "event 2 has no integer pid");
    EXPECT_EQ(faultOf(R"({"name":"a","ph":"?","ts":5,"pid":1,"tid":1})"), "event 2 has the unknown phase ?");
    EXPECT_EQ(faultOf(R"({"name":"a","ph":"i","ts":5,"pid":1,"tid":1})"), "event 2 has no text s");
    EXPECT_EQ(faultOf(R"({"name":"a","ph":"C","ts":5,"pid":1,"tid":1})"),
              "event 2 is a curve without numbers");
    EXPECT_EQ(faultOf(R"({"name":"a","ph":"E","ts":5,"pid":1,"tid":1})"), "event 2 is an end without begin");
    EXPECT_EQ(faultOf(R"({"name":"a","ph":"B","ts":5,"pid":1,"tid":1})"), "a begin on track 1/1 has no end");
    EXPECT_EQ(faultOf(good + R"(,{"name":"a","ph":"X","ts":4,"dur":1,"pid":1,"tid":1})"),
              "event 3 runs back in time on its track");
    EXPECT_EQ(faultOf(good + R"(,{"name":"a","ph":"X","ts":6,"dur":3,"pid":1,"tid":1})"),
              "event 3 ends behind the one around it");
    EXPECT_EQ(faultOf(R"({"name":"a","ph":"X","ts":5,"dur":3,"pid":1,"tid":2})"), "track 1/2 has no name");
    EXPECT_EQ(faultOf(R"({"name":"a","ph":"C","ts":5,"pid":2,"tid":0,"args":{"x":1}})"),
              "process 2 has no name");
    EXPECT_EQ(FindTraceFaults("[{").front(), "is no JSON array");
}

} // namespace AudioHost
