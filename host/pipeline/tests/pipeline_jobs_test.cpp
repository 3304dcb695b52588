#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kovra/thread.h"
#include "pipelinetest.h"

using boost::intrusive_ptr;
using Kovra::JiffyTime;
using Media::FrameAud;
using Media::FrameAudRaw;
using Media::Pipeline;
using Media::PipelineSessionParams_t;
using Media::PipelineStageRenderJob;
using Media::PipelineState;
using Media::PipelineStateExclusive;
using PipelineTests::Gate;
using PipelineTests::MakeCoded;
using PipelineTests::MakeRaw;
using PipelineTests::NumberOf;
using PipelineTests::PipelineTest;
using testing::ElementsAre;

using Outcome_t = Media::PipelineStageJob::Outcome_t;

namespace {

using Pipeline_AudioRenderer = PipelineTest;
using Pipeline_OpenSession = PipelineTest;
using Pipeline_Submit = PipelineTest;
using Pipeline_Report = PipelineTest;
using Pipeline_Workers = PipelineTest;

} // namespace

TEST_F(Pipeline_AudioRenderer, IsWhatWasSetLastForTheWholeProcess) {
    EXPECT_EQ(Pipeline::GetAudioRenderer(), nullptr);
    Pipeline::SetAudioRenderer(&renderer);
    std::thread([&] { EXPECT_EQ(Pipeline::GetAudioRenderer(), &renderer); }).join();
    Pipeline::SetAudioRenderer(nullptr);
    EXPECT_EQ(Pipeline::GetAudioRenderer(), nullptr);
}

TEST_F(Pipeline_OpenSession, EverySessionHasItsOwnNumber) {
    Pipeline pipeline(renderer, 1);
    std::set<Pipeline::SessionId_t> ids;
    for (int session = 0; session < 10; ++session) {
        ids.insert(pipeline.OpenSession({}));
    }
    EXPECT_EQ(ids.size(), 10U);
    EXPECT_EQ(ids.count(Pipeline::InvalidSession), 0U);
}

TEST_F(Pipeline_OpenSession, IsInvalidWhenTheRendererTakesNoPart) {
    Pipeline pipeline(renderer, 1);
    PipelineSessionParams_t silent;
    silent.renderAudio = false;
    EXPECT_EQ(pipeline.OpenSession(silent), Pipeline::InvalidSession);
}

TEST_F(Pipeline_Submit, JobsOfASessionRunInOrderAndNeverTwoAtATime) {
    constexpr int Jobs = 500;
    // Not atomic: the pipeline alone keeps the jobs of a session apart.
    std::vector<std::int64_t> order;
    int running = 0;
    renderer.divide = [&](PipelineStageRenderJob& job) {
        EXPECT_EQ(++running, 1);
        order.push_back(NumberOf(job));
        std::this_thread::yield();
        --running;
    };
    Pipeline pipeline(renderer, 4);
    auto const session = pipeline.OpenSession({});
    for (int job = 0; job < Jobs; ++job) {
        ASSERT_TRUE(pipeline.Submit(session, nullptr, JiffyTime(job)));
    }
    pipeline.Drain();
    ASSERT_EQ(order.size(), static_cast<std::size_t>(Jobs));
    for (int job = 0; job < Jobs; ++job) {
        EXPECT_EQ(order[static_cast<std::size_t>(job)], job);
    }
}

TEST_F(Pipeline_Submit, StatesThatAreNotExclusiveAreKeptApartAllTheSame) {
    constexpr int Jobs = 300;
    renderer.makeState = [] { return intrusive_ptr<PipelineState>(new PipelineState); };
    int running = 0;
    std::int64_t next = 0;
    renderer.divide = [&](PipelineStageRenderJob& job) {
        EXPECT_EQ(++running, 1);
        EXPECT_EQ(NumberOf(job), next++);
        std::this_thread::yield();
        --running;
    };
    Pipeline pipeline(renderer, 4);
    auto const session = pipeline.OpenSession({});
    for (int job = 0; job < Jobs; ++job) {
        pipeline.Submit(session, nullptr, JiffyTime(job));
    }
    pipeline.Drain();
    EXPECT_EQ(next, Jobs);
}

TEST_F(Pipeline_Submit, JobsOfDifferentSessionsRunSideBySide) {
    // Each job waits for the other: with one of them at a time this never ends.
    Gate gates[2];
    renderer.divide = [&](PipelineStageRenderJob& job) {
        auto const own = static_cast<std::size_t>(NumberOf(job));
        gates[own].Open();
        gates[1 - own].Wait();
    };
    Pipeline pipeline(renderer, 2);
    pipeline.Submit(pipeline.OpenSession({}), nullptr, JiffyTime(0));
    pipeline.Submit(pipeline.OpenSession({}), nullptr, JiffyTime(1));
    pipeline.Drain();
}

TEST_F(Pipeline_Submit, BusySessionDoesNotStarveTheOthers) {
    UseGatedJobs();
    Pipeline pipeline(renderer, 1);
    auto const busy = pipeline.OpenSession({});
    auto const other = pipeline.OpenSession({});
    for (int job = 0; job < 3; ++job) {
        pipeline.Submit(busy, nullptr, JiffyTime(job));
    }
    entered.Wait();
    pipeline.Submit(other, nullptr, JiffyTime(10));
    gate.Open();
    pipeline.Drain();
    EXPECT_THAT(journal.Read(), ElementsAre("job 0", "job 10", "job 1", "job 2"));
}

TEST_F(Pipeline_Submit, UnknownSessionIsRefused) {
    Pipeline pipeline(renderer, 1);
    auto const session = pipeline.OpenSession({});
    EXPECT_FALSE(pipeline.Submit(Pipeline::InvalidSession, MakeRaw(), JiffyTime()));
    EXPECT_FALSE(pipeline.Submit(session + 1, MakeRaw(), JiffyTime()));
    pipeline.CloseSession(session);
    EXPECT_FALSE(pipeline.Submit(session, MakeRaw(), JiffyTime()));
}

TEST_F(Pipeline_Submit, JobCarriesItsFrameStateAndPresentationTime) {
    intrusive_ptr<PipelineState> const state(new PipelineStateExclusive);
    renderer.makeState = [&] { return state; };
    struct Seen {
        std::shared_ptr<FrameAudRaw> raw;
        std::shared_ptr<FrameAud> coded;
    };
    std::vector<Seen> seen;
    renderer.divide = [&](PipelineStageRenderJob& job) {
        EXPECT_EQ(job.State(), state);
        EXPECT_EQ(job.Params()->presentationTime, JiffyTime(42));
        EXPECT_EQ(job.GetPresentationTimestamp(), JiffyTime());
        EXPECT_EQ(job.GetOutcome(), Outcome_t::Uncompleted);
        seen.emplace_back();
        job.Registers().get(seen.back().raw);
        job.Registers().get(seen.back().coded);
    };
    auto const raw = MakeRaw();
    auto const coded = MakeCoded();
    Pipeline pipeline(renderer, 1);
    auto const session = pipeline.OpenSession({});
    pipeline.Submit(session, raw, JiffyTime(42));
    pipeline.Submit(session, coded, JiffyTime(42));
    pipeline.Submit(session, nullptr, JiffyTime(42));
    pipeline.Drain();
    ASSERT_EQ(seen.size(), 3U);
    EXPECT_EQ(seen[0].raw, raw);
    EXPECT_EQ(seen[0].coded, nullptr);
    EXPECT_EQ(seen[1].raw, nullptr);
    EXPECT_EQ(seen[1].coded, coded);
    EXPECT_EQ(seen[2].raw, nullptr);
    EXPECT_EQ(seen[2].coded, nullptr);
}

TEST_F(Pipeline_Submit, EveryJobOfSeveralThreadsAndSessionsRunsOnce) {
    constexpr int Submitters = 4;
    constexpr int Sessions = 6;
    constexpr int JobsPerSubmitter = 120;
    std::atomic<int> runs{0};
    renderer.divide = [&](PipelineStageRenderJob&) { ++runs; };
    Pipeline pipeline(renderer, 3);
    std::vector<Pipeline::SessionId_t> sessions;
    for (int session = 0; session < Sessions; ++session) {
        sessions.push_back(pipeline.OpenSession({}));
    }
    std::vector<std::thread> submitters;
    for (int submitter = 0; submitter < Submitters; ++submitter) {
        submitters.emplace_back([&] {
            for (std::size_t job = 0; job < JobsPerSubmitter; ++job) {
                EXPECT_TRUE(pipeline.Submit(sessions[job % Sessions], MakeRaw(), JiffyTime()));
                EXPECT_TRUE(pipeline.SetClientState(sessions[job % Sessions], {}));
            }
        });
    }
    for (std::thread& submitter : submitters) {
        submitter.join();
    }
    pipeline.Drain();
    EXPECT_EQ(runs, Submitters * JobsPerSubmitter);
}

TEST_F(Pipeline_Submit, FrameIsLetGoWithItsJob) {
    Pipeline pipeline(renderer, 1);
    std::shared_ptr<FrameAud> const frame = MakeRaw();
    pipeline.Submit(pipeline.OpenSession({}), frame, JiffyTime());
    pipeline.Drain();
    EXPECT_EQ(frame.use_count(), 1);
}

TEST_F(Pipeline_Workers, AreAsManyAsAskedFor) {
    // Three jobs that wait for each other need three threads.
    std::atomic<int> inside{0};
    Gate all;
    std::mutex lock;
    std::set<std::thread::id> threads;
    renderer.divide = [&](PipelineStageRenderJob&) {
        {
            std::lock_guard<std::mutex> const guard(lock);
            threads.insert(std::this_thread::get_id());
        }
        if (++inside == 3) {
            all.Open();
        }
        all.Wait();
    };
    Pipeline pipeline(renderer, 3);
    for (int session = 0; session < 3; ++session) {
        pipeline.Submit(pipeline.OpenSession({}), nullptr, JiffyTime());
    }
    pipeline.Drain();
    EXPECT_EQ(threads.size(), 3U);
    EXPECT_EQ(threads.count(std::this_thread::get_id()), 0U);
}

TEST_F(Pipeline_Workers, AreAtLeastOne) {
    std::atomic<int> runs{0};
    renderer.divide = [&](PipelineStageRenderJob&) { ++runs; };
    Pipeline pipeline(renderer, 0);
    pipeline.Submit(pipeline.OpenSession({}), nullptr, JiffyTime());
    pipeline.Drain();
    EXPECT_EQ(runs, 1);
}

TEST_F(Pipeline_Workers, AreNamed) {
    std::string name;
    renderer.divide = [&](PipelineStageRenderJob&) { name = Kovra::GetThreadName(); };
    Pipeline pipeline(renderer, 1);
    pipeline.Submit(pipeline.OpenSession({}), nullptr, JiffyTime());
    pipeline.Drain();
    EXPECT_EQ(name, "Media.Pipeline.Worker");
}

TEST_F(Pipeline_Report, TellsOutcomeTimesAndNumberOfEachJob) {
    renderer.divide = [](PipelineStageRenderJob& job) {
        job.GetPresentationTimestamp() = JiffyTime(NumberOf(job) + 1000);
        if (NumberOf(job) == 10) {
            job.Success();
        }
        if (NumberOf(job) == 11) {
            job.Abort();
        }
    };
    std::vector<Pipeline::Report_t> reports;
    Pipeline pipeline(renderer, 2, [&](Pipeline::Report_t const& report) { reports.push_back(report); });
    auto const session = pipeline.OpenSession({});
    for (int job = 10; job < 13; ++job) {
        pipeline.Submit(session, nullptr, JiffyTime(job));
    }
    pipeline.Drain();
    ASSERT_EQ(reports.size(), 3U);
    Outcome_t const outcomes[] = {Outcome_t::Succeeded, Outcome_t::Aborted, Outcome_t::Uncompleted};
    for (std::size_t job = 0; job < 3; ++job) {
        EXPECT_EQ(reports[job].session, session);
        EXPECT_EQ(reports[job].jobNumber, job);
        EXPECT_EQ(reports[job].outcome, outcomes[job]);
        EXPECT_EQ(reports[job].requested, JiffyTime(static_cast<std::int64_t>(job) + 10));
        EXPECT_EQ(reports[job].achieved, JiffyTime(static_cast<std::int64_t>(job) + 1010));
    }
}

TEST_F(Pipeline_Report, EverySessionCountsItsOwnJobs) {
    std::vector<std::string> numbers;
    Pipeline pipeline(renderer, 1, [&](Pipeline::Report_t const& report) {
        numbers.push_back(std::to_string(report.session) + ":" + std::to_string(report.jobNumber));
    });
    auto const first = std::to_string(pipeline.OpenSession({}));
    auto const second = std::to_string(pipeline.OpenSession({}));
    for (std::string const& session : {first, second, first}) {
        pipeline.Submit(static_cast<Pipeline::SessionId_t>(std::stoul(session)), nullptr, JiffyTime());
        pipeline.Drain();
    }
    EXPECT_THAT(numbers, ElementsAre(first + ":0", second + ":0", first + ":1"));
}

TEST_F(Pipeline_Report, RenderTimeIsTakenFromTheReplaceableClock) {
    class ManualClock : public Kovra::ClockSource {
    public:
        std::int64_t SystemNanoSec() const override { return 0; }
        std::int64_t MonotonicNanoSec() const override { return nanoSec; }

        std::atomic<std::int64_t> nanoSec{100};
    } clock;
    Kovra::SetClockSource(&clock);
    std::vector<std::int64_t> renderNanoSec;
    renderer.divide = [&](PipelineStageRenderJob& job) {
        if (NumberOf(job) == 1) {
            clock.nanoSec += 5'000'000;
        }
    };
    {
        Pipeline pipeline(renderer, 1, [&](Pipeline::Report_t const& report) {
            renderNanoSec.push_back(report.renderNanoSec);
        });
        auto const session = pipeline.OpenSession({});
        pipeline.Submit(session, nullptr, JiffyTime(0));
        pipeline.Submit(session, nullptr, JiffyTime(1));
        pipeline.Drain();
    }
    Kovra::SetClockSource(nullptr);
    EXPECT_THAT(renderNanoSec, ElementsAre(0, 5'000'000));
}

TEST_F(Pipeline_Report, IsToldByTheWorkerThatRanTheJobBeforeTheNextOne) {
    std::thread::id worker;
    renderer.divide = [&](PipelineStageRenderJob& job) {
        worker = std::this_thread::get_id();
        journal.Write("job " + std::to_string(NumberOf(job)));
    };
    Pipeline pipeline(renderer, 4, [&](Pipeline::Report_t const& report) {
        EXPECT_EQ(std::this_thread::get_id(), worker);
        journal.Write("report " + std::to_string(report.jobNumber));
    });
    auto const session = pipeline.OpenSession({});
    for (int job = 0; job < 3; ++job) {
        pipeline.Submit(session, nullptr, JiffyTime(job));
    }
    pipeline.Drain();
    EXPECT_THAT(journal.Read(), ElementsAre("job 0", "report 0", "job 1", "report 1", "job 2", "report 2"));
}

TEST_F(Pipeline_Report, JobWhoseRenderingThrowsCountsAsUncompletedAndTheWorkerGoesOn) {
    std::vector<Outcome_t> outcomes;
    renderer.divide = [](PipelineStageRenderJob& job) {
        job.Success();
        if (NumberOf(job) < 2) {
            throw std::runtime_error("renderer");
        }
    };
    Pipeline pipeline(renderer, 1, [&](auto const& report) { outcomes.push_back(report.outcome); });
    auto const session = pipeline.OpenSession({});
    for (int job = 0; job < 3; ++job) {
        pipeline.Submit(session, nullptr, JiffyTime(job));
    }
    pipeline.Drain();
    EXPECT_THAT(outcomes, ElementsAre(Outcome_t::Uncompleted, Outcome_t::Uncompleted, Outcome_t::Succeeded));
}

TEST_F(Pipeline_Report, WhatTheObserverThrowsIsDropped) {
    int reports = 0;
    Pipeline pipeline(renderer, 1, [&](Pipeline::Report_t const&) {
        ++reports;
        throw 5;
    });
    auto const session = pipeline.OpenSession({});
    pipeline.Submit(session, nullptr, JiffyTime());
    pipeline.Submit(session, nullptr, JiffyTime());
    pipeline.Drain();
    EXPECT_EQ(reports, 2);
}
