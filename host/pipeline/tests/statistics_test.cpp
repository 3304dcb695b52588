#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "pipelinetest.h"

// ThreadSanitizer's own operators cannot be replaced: nothing is counted there.
#ifndef UNDER_THREAD_SANITIZER
namespace {

thread_local bool isCounting = false;
static_assert(std::is_trivially_destructible_v<decltype(isCounting)>);
thread_local std::uint64_t allocations = 0;
static_assert(std::is_trivially_destructible_v<decltype(allocations)>);

} // namespace

// Of the whole program; they count on threads that ask for it.
void* operator new(std::size_t size) {
    allocations += isCounting ? 1 : 0;
    if (void* const block = std::malloc(size == 0 ? 1 : size)) {
        return block;
    }
    throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
    std::free(block);
}
#endif

namespace {

using Kovra::JiffyTime;
using Media::Pipeline;
using Media::PipelineStageRenderJob;
using Media::SessionStatistics_t;
using PipelineTests::NumberOf;
using testing::ElementsAre;

constexpr std::int64_t MicroSec = 1'000;
constexpr std::int64_t MilliSec = 1'000'000;
constexpr std::int64_t Sec = 1'000'000'000;
constexpr std::int64_t FrameNanoSec = 20 * MilliSec;
constexpr std::int64_t LeadNanoSec = 200 * MilliSec;

constexpr char const* Started = "AudioBuffer playback started";
constexpr char const* Stopped = "AudioBuffer presentation requested in the past, stopping";
constexpr char const* Jumped = "AudioBuffer timestamp drift too high, resetting";

class ManualClock : public Kovra::ClockSource {
public:
    std::int64_t SystemNanoSec() const override { return 0; }
    std::int64_t MonotonicNanoSec() const override { return nanoSec; }

    std::atomic<std::int64_t> nanoSec{1'000 * Sec};
};

/// What a job of the session of a test does.
struct Plan {
    std::int64_t errorNanoSec = 0;
    std::int64_t renderNanoSec = 0;
    std::int64_t leadNanoSec = LeadNanoSec;
    bool succeeds = true;
};

class StatisticsTest : public PipelineTests::PipelineTest {
protected:
    StatisticsTest() {
        Kovra::SetClockSource(&clock);
        renderer.divide = [this](PipelineStageRenderJob& job) {
            clock.nanoSec += plan.renderNanoSec;
            job.GetPresentationTimestamp() = JiffyTime(NumberOf(job) + plan.errorNanoSec);
            if (plan.succeeds) {
                job.Success();
            }
        };
        session = pipeline.OpenSession({});
    }
    ~StatisticsTest() override { Kovra::SetClockSource(nullptr); }

    /// One job, and the time until the next.
    void Play(Plan const& next, Pipeline::SessionId_t id) {
        plan = next;
        std::int64_t const begin = clock.nanoSec;
        pipeline.Submit(id, nullptr, JiffyTime(begin + plan.leadNanoSec));
        pipeline.Drain();
        clock.nanoSec = begin + FrameNanoSec;
    }
    void Play(Plan const& next = {}, int jobs = 1) {
        for (int job = 0; job < jobs; ++job) {
            Play(next, session);
        }
    }

    /// The renderer logs `text` for `subject`, `agoNanoSec` before now.
    void Log(std::string const& text, std::int64_t agoNanoSec = 0) { LogFor(session, text, agoNanoSec); }
    void LogFor(std::uint64_t subject, std::string const& text, std::int64_t agoNanoSec = 0) {
        Kovra::LogRecord record;
        record.channel = "Media.RendererAudio.PlaybackBuffer";
        record.message = text;
        record.subject = subject;
        record.time = JiffyTime(clock.nanoSec - agoNanoSec);
        pipeline.AddLog(record);
    }

    SessionStatistics_t Get() const { return pipeline.GetStatistics().sessions.at(0); }

    /// Of the frequencies that have a time: Hz and milliseconds.
    std::vector<std::pair<std::uint32_t, std::int64_t>> GetFrequencyTimes() const {
        std::vector<std::pair<std::uint32_t, std::int64_t>> times;
        for (Media::FrequencyTime_t const& time : Get().frequencyTimes) {
            if (time.nanoSec != 0) {
                times.emplace_back(time.hz, time.nanoSec / MilliSec);
            }
        }
        return times;
    }

    ManualClock clock;
    Plan plan;
    Pipeline pipeline{renderer, 1};
    Pipeline::SessionId_t session = Pipeline::InvalidSession;
};

using Pipeline_GetStatistics = StatisticsTest;
using Pipeline_AddLog = StatisticsTest;

std::pair<std::uint64_t, std::uint64_t> CountsOf(Media::Episodes_t const& episodes) {
    return {episodes.episodes, episodes.times};
}

using Counts = std::pair<std::uint64_t, std::uint64_t>;

} // namespace

TEST_F(Pipeline_GetStatistics, TellOfErrorsNowAndAll) {
    for (int job = 1; job <= 100; ++job) {
        Play({job * MilliSec, 0}); // 1 to 100 ms late
    }
    Play({-3 * MilliSec, 0});
    SessionStatistics_t const told = Get();
    EXPECT_EQ(told.session, session);
    EXPECT_EQ(told.jobs, 101U);
    EXPECT_EQ(told.errorNanoSec, -3 * MilliSec);
    EXPECT_EQ(told.error.GetLeastNanoSec(), -3 * MilliSec);
    EXPECT_EQ(told.error.GetMostNanoSec(), 100 * MilliSec);
    EXPECT_NEAR(static_cast<double>(told.error.GetQuantileNanoSec(0.5)), 50.0 * MilliSec,
                0.032 * 50 * MilliSec);
    EXPECT_NEAR(static_cast<double>(told.error.GetQuantileNanoSec(0.95)), 95.0 * MilliSec,
                0.032 * 95 * MilliSec);
}

TEST_F(Pipeline_GetStatistics, TellOfTheTimeInTheRenderer) {
    Play({0, 300 * MicroSec}, 9);
    Play({0, 5 * MilliSec});
    Media::Distribution const told = Get().renderTime;
    EXPECT_EQ(told.GetCount(), 10U);
    EXPECT_DOUBLE_EQ(told.GetMeanNanoSec(), (9 * 300 + 5000) * MicroSec / 10.0);
    EXPECT_EQ(told.GetMostNanoSec(), 5 * MilliSec);
}

TEST_F(Pipeline_GetStatistics, OutageOfThreeSecondsIsOneEpisode) {
    Plan failing;
    failing.succeeds = false;
    Play({}, 10);
    Play(failing, 150);
    Play({}, 101); // 2.02 s
    EXPECT_EQ(CountsOf(Get().failures), Counts(1, 150));
    Play(failing);
    EXPECT_EQ(CountsOf(Get().failures), Counts(2, 151));
    EXPECT_EQ(Get().error.GetCount(), 111U) << "what failed was not presented";
}

TEST_F(Pipeline_GetStatistics, ErrorsBeyondAllTimeSaturate) {
    renderer.divide = [](PipelineStageRenderJob& job) {
        job.GetPresentationTimestamp() = JiffyTime(INT64_MIN);
        job.Success();
    };
    pipeline.Submit(session, nullptr, JiffyTime(INT64_MAX));
    pipeline.Drain();
    EXPECT_EQ(Get().errorNanoSec, -INT64_MAX);
    pipeline.CloseSession(session);
    EXPECT_EQ(pipeline.GetStatistics().ended.errorNanoSec, -INT64_MAX);
}

// Told is the time from one to the next: 2 s and a nanosecond are too much for one episode.
TEST_F(Pipeline_AddLog, TwoSecondsMakeAnEpisode) {
    Log(Jumped);
    clock.nanoSec += 2 * Sec;
    Log(Jumped);
    EXPECT_EQ(CountsOf(Get().jumps), Counts(1, 2));
    clock.nanoSec += 2 * Sec + 1;
    Log(Jumped);
    EXPECT_EQ(CountsOf(Get().jumps), Counts(2, 3));
    EXPECT_EQ(Get().jumps.last, JiffyTime(clock.nanoSec));
}

// A renderer tells of such a job what was asked for, as if it were in time.
TEST_F(Pipeline_GetStatistics, LateJobsCountApartFromErrors) {
    Plan late;
    late.leadNanoSec = -1;
    Play(late, 3);
    Plan inTime;
    inTime.leadNanoSec = 0;
    Play(inTime);
    EXPECT_EQ(CountsOf(Get().lateJobs), Counts(1, 3));
    EXPECT_EQ(Get().error.GetCount(), 1U);
}

TEST_F(Pipeline_AddLog, CountsWhatTheRendererTells) {
    Log(Started);
    Log(Stopped);
    Log("AudioBuffer packet loss, zero'ing 960 samples");
    Log("AudioBuffer packet loss, zero'ing 40 samples");
    Log("AudioBuffer ignoring small gap (2 samples)");
    Log("AudioBuffer resetting frequency to 44100");
    SessionStatistics_t const told = Get();
    EXPECT_EQ(CountsOf(told.starts), Counts(1, 1));
    EXPECT_EQ(CountsOf(told.lateStops), Counts(1, 1));
    EXPECT_EQ(CountsOf(told.jumps), Counts(0, 0));
    EXPECT_EQ(CountsOf(told.losses), Counts(1, 2));
    EXPECT_EQ(told.lostSamples, 1000U);
    EXPECT_EQ(CountsOf(told.smallGaps), Counts(1, 1));
    EXPECT_EQ(CountsOf(told.rateChanges), Counts(1, 1));
    EXPECT_FALSE(told.jumps.last);
}

TEST_F(Pipeline_AddLog, LeavesAloneWhatIsNotOfTheRendererOrOfNoSession) {
    Kovra::LogRecord record;
    record.channel = "Media.Other";
    record.message = Started;
    record.subject = session;
    pipeline.AddLog(record);
    LogFor(0, Started);
    LogFor(session + 1, Started);
    LogFor((std::uint64_t{1} << 32U) + session, Started);
    EXPECT_EQ(CountsOf(Get().starts), Counts(0, 0));
}

TEST(Pipeline_SessionOf, IsTheSubjectUpToTheGreatestNumberOfASession) {
    Kovra::LogRecord record;
    EXPECT_EQ(Pipeline::SessionOf(record), Pipeline::InvalidSession);
    record.subject = UINT32_MAX;
    EXPECT_EQ(Pipeline::SessionOf(record), UINT32_MAX);
    ++record.subject;
    EXPECT_EQ(Pipeline::SessionOf(record), Pipeline::InvalidSession);
    ++record.subject;
    EXPECT_EQ(Pipeline::SessionOf(record), Pipeline::InvalidSession);
}

TEST_F(Pipeline_AddLog, IdleStopsAreOfNoSession) {
    LogFor(0, "Idle AudioBuffer playback stopped (1200 ms)");
    EXPECT_EQ(CountsOf(pipeline.GetStatistics().idleStops), Counts(1, 1));
}

// The cursor's steps of 10 ms are twenty times what the error grows by in a second.
TEST_F(Pipeline_GetStatistics, TrendIsTheSlopeOfTheErrorBeneathItsJitter) {
    for (std::int64_t job = 0; job < 3000; ++job) {
        Play({job * 6 * MicroSec + (job * 7 % 11 - 5) * MilliSec, 0}); // 6 us in 20 ms: 300 ppm
    }
    ASSERT_TRUE(Get().trendPpm);
    EXPECT_NEAR(*Get().trendPpm, 300.0, 15.0);
}

// Two and a half minutes are five times what a value counts in full.
TEST_F(Pipeline_GetStatistics, TrendForgetsWhatWasMinutesAgo) {
    std::int64_t errorNanoSec = 0;
    auto const playSlope = [&](std::int64_t stepNanoSec, int jobs) {
        for (int job = 0; job < jobs; ++job) {
            Play({errorNanoSec += stepNanoSec, 0});
            clock.nanoSec += 480 * MilliSec;
        }
    };
    playSlope(150 * MicroSec, 300); // two a second: 300 ppm
    EXPECT_NEAR(Get().trendPpm.value_or(0.0), 300.0, 0.1);
    playSlope(-50 * MicroSec, 300);
    EXPECT_NEAR(Get().trendPpm.value_or(0.0), -100.0, 25.0);
}

TEST_F(Pipeline_GetStatistics, TrendBeginsAnewWithAStartAJumpAndAPause) {
    auto const playSlope = [this](std::int64_t stepNanoSec, std::int64_t from, int jobs) {
        for (int job = 0; job < jobs; ++job) {
            Play({from + job * stepNanoSec, 0});
        }
    };
    playSlope(2 * MicroSec, 0, 300);
    EXPECT_NEAR(Get().trendPpm.value_or(0.0), 100.0, 0.1);
    for (char const* const text : {Started, Jumped}) {
        Log(text);
        EXPECT_FALSE(Get().trendPpm) << text;
        playSlope(-MicroSec, 80 * MilliSec, 250);
        EXPECT_FALSE(Get().trendPpm) << "4.98 s from the first to the last";
        playSlope(-MicroSec, 80 * MilliSec - 250 * MicroSec, 1);
        EXPECT_NEAR(Get().trendPpm.value_or(0.0), -50.0, 0.1) << text;
    }
    clock.nanoSec += Sec + 1 - FrameNanoSec;
    Play();
    EXPECT_FALSE(Get().trendPpm);
    EXPECT_EQ(CountsOf(Get().pauses), Counts(1, 1));
}

// Of what was before it so little is left that a slope would be all rounding.
TEST_F(Pipeline_GetStatistics, TrendBeginsAnewAfterHalfAMinuteOfFailures) {
    Plan failing;
    failing.succeeds = false;
    auto const failFor = [&](std::int64_t sec) {
        for (std::int64_t i = 0; i < sec; ++i) {
            Play(failing);
            clock.nanoSec += Sec - FrameNanoSec;
        }
    };
    Play({}, 300);
    clock.nanoSec -= FrameNanoSec;
    failFor(30);
    Play();
    EXPECT_TRUE(Get().trendPpm);
    failFor(30);
    Play();
    EXPECT_FALSE(Get().trendPpm) << "30.02 s";
    EXPECT_EQ(CountsOf(Get().pauses), Counts(0, 0));
}

TEST_F(Pipeline_GetStatistics, TimeAtEachFrequencyCountsFromRecordToRecord) {
    Log(Started);
    Play({}, 50); // 1 s
    Log("Adjusting audio frequency to 47960 Hz");
    Play({}, 100); // 2 s
    Log("Adjusting audio frequency to 48000 Hz");
    Play({}, 50); // 1 s, the last job at its begin
    EXPECT_THAT(GetFrequencyTimes(), ElementsAre(std::pair(48000U, 1980), std::pair(47960U, 2000)));
    EXPECT_EQ(Get().frequencyHz, 48000U);
}

TEST_F(Pipeline_GetStatistics, TimeAtAFrequencyIsOfTheRecordHoweverLateItComes) {
    Log(Started);
    Play({}, 50);
    Log("Adjusting audio frequency to 48040 Hz", 300 * MilliSec);
    Play();
    EXPECT_THAT(GetFrequencyTimes(), ElementsAre(std::pair(48000U, 700), std::pair(48040U, 300)));
}

TEST_F(Pipeline_GetStatistics, NoFrequencyHoldsFromAStopOn) {
    Log(Started);
    Play({}, 50);
    Log(Stopped);
    Play({}, 50);
    EXPECT_THAT(GetFrequencyTimes(), ElementsAre(std::pair(48000U, 1000)));
    EXPECT_EQ(Get().frequencyHz, 0U);
}

// The renderer plays on for a second, until it stops the session as idle. The record of the new start may
// come before the job that started it is done.
TEST_F(Pipeline_GetStatistics, OfAPauseASecondCountsAtTheFrequency) {
    Log(Started);
    Play({}, 50);
    clock.nanoSec += 10 * Sec - FrameNanoSec;
    EXPECT_EQ(Get().frequencyHz, 0U);
    Log(Started);
    Play({}, 51);
    // 49 frames until the begin of the 50th, a second, and 50 frames
    EXPECT_THAT(GetFrequencyTimes(), ElementsAre(std::pair(48000U, 980 + 1000 + 1000)));
    EXPECT_EQ(CountsOf(Get().pauses), Counts(1, 1));
}

TEST_F(Pipeline_GetStatistics, FrequenciesWithoutAPlaceOfTheirOwnAreOneTogether) {
    Log(Started);
    for (int hz = 1; hz <= 5; ++hz) {
        Play({}, 5);
        Log("Adjusting audio frequency to " + std::to_string(hz) + " Hz");
    }
    Play({}, 5);
    EXPECT_THAT(GetFrequencyTimes(), ElementsAre(std::pair(48000U, 100), std::pair(1U, 100),
                                                 std::pair(2U, 100), std::pair(0U, 280)));
}

TEST_F(Pipeline_GetStatistics, SessionsAreApartAndEndedOnesTogether) {
    auto const other = pipeline.OpenSession({});
    Play({2 * MilliSec, 0}, 3);
    Play({-7 * MilliSec, 0}, other);
    LogFor(other, Jumped);
    Media::PipelineStatistics_t told = pipeline.GetStatistics();
    ASSERT_EQ(told.sessions.size(), 2U);
    EXPECT_EQ(told.sessions[0].jobs, 3U);
    EXPECT_EQ(told.sessions[1].jobs, 1U);
    EXPECT_EQ(told.endedSessions, 0U);

    pipeline.CloseSession(session);
    pipeline.CloseSession(other);
    told = pipeline.GetStatistics();
    EXPECT_TRUE(told.sessions.empty());
    EXPECT_EQ(told.endedSessions, 2U);
    EXPECT_EQ(told.ended.jobs, 4U);
    EXPECT_EQ(told.ended.error.GetCount(), 4U);
    EXPECT_EQ(told.ended.error.GetLeastNanoSec(), -7 * MilliSec);
    EXPECT_EQ(told.ended.errorNanoSec, -7 * MilliSec) << "the one further out of time";
    EXPECT_EQ(CountsOf(told.ended.jumps), Counts(1, 1));
}

TEST_F(Pipeline_GetStatistics, OfTheEndedKeepTheLastTimeOfEach) {
    for (bool const isEarlierFirst : {true, false}) {
        Pipeline ending(renderer, 1);
        auto const earlier = ending.OpenSession({});
        auto const later = ending.OpenSession({});
        for (auto const id : {earlier, later}) {
            clock.nanoSec += Sec;
            Kovra::LogRecord record;
            record.channel = "Media.RendererAudio.PlaybackBuffer";
            record.message = Jumped;
            record.subject = id;
            record.time = JiffyTime(clock.nanoSec);
            ending.AddLog(record);
        }
        ending.CloseSession(isEarlierFirst ? earlier : later);
        ending.CloseSession(isEarlierFirst ? later : earlier);
        auto const last = ending.GetStatistics().ended.jumps.last;
        ASSERT_TRUE(last);
        EXPECT_EQ(last->NanoSec(), clock.nanoSec);
    }
}

TEST_F(Pipeline_GetStatistics, OfTheEndedTellTheFirstOnesFrequencyThoughItWasInTime) {
    Play();
    Log("Adjusting audio frequency to 47960 Hz");
    pipeline.CloseSession(session);
    EXPECT_EQ(pipeline.GetStatistics().ended.frequencyHz, 47960U);
}

TEST_F(Pipeline_GetStatistics, TellTheFrequencyForASecondAfterTheLastJob) {
    std::int64_t const begin = clock.nanoSec;
    Play();
    Log(Started);
    clock.nanoSec = begin + Sec;
    EXPECT_EQ(Get().frequencyHz, 48000U);
    clock.nanoSec = begin + Sec + 1;
    EXPECT_EQ(Get().frequencyHz, 0U);
}

#ifndef UNDER_THREAD_SANITIZER
TEST_F(Pipeline_GetStatistics, NeitherAJobNorARecordAllocates) {
    std::uint64_t ofJobs = 0;
    renderer.divide = [](PipelineStageRenderJob& job) {
        job.Success();
        allocations = 0;
        isCounting = true;
    };
    {
        Pipeline counted(renderer, 1, [&](Pipeline::Report_t const&) {
            isCounting = false;
            ofJobs += allocations;
        });
        auto const id = counted.OpenSession({});
        for (int job = 0; job < 1000; ++job) {
            counted.Submit(id, nullptr, JiffyTime(clock.nanoSec + job * MilliSec));
        }
        counted.Drain();
        EXPECT_EQ(counted.GetStatistics().sessions.at(0).jobs, 1000U);
    }
    EXPECT_EQ(ofJobs, 0U);

    Kovra::LogRecord record;
    record.channel = "Media.RendererAudio.PlaybackBuffer";
    record.subject = session;
    for (std::string const text : {Started, Stopped, "Adjusting audio frequency to 47960 Hz",
                                   "AudioBuffer packet loss, zero'ing 960 samples"}) {
        record.message = text;
        allocations = 0;
        isCounting = true;
        pipeline.AddLog(record);
        isCounting = false;
        EXPECT_EQ(allocations, 0U) << text;
    }
}
#endif
