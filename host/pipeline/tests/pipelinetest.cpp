#include "pipeline/pipeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <boost/thread/tss.hpp>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kovra/thread.h"

using boost::intrusive_ptr;
using Kovra::JiffyTime;
using Media::FrameAud;
using Media::FrameAudRaw;
using Media::FrameIdent;
using Media::IPipelineRenderer;
using Media::MediaCoding_t;
using Media::ParamsAud;
using Media::ParamsAudRaw;
using Media::Pipeline;
using Media::PipelineClientState_t;
using Media::PipelineJob;
using Media::PipelineSessionParams_t;
using Media::PipelineStageRenderJob;
using Media::PipelineState;
using Media::PipelineStateExclusive;
using testing::ElementsAre;

using Job = intrusive_ptr<PipelineStageRenderJob>;
using Outcome_t = Media::PipelineStageJob::Outcome_t;

namespace {

std::shared_ptr<FrameAudRaw> MakeRaw() {
    return std::make_shared<FrameAudRaw>(FrameIdent(), intrusive_ptr<ParamsAudRaw>(new ParamsAudRaw));
}

std::shared_ptr<FrameAud> MakeCoded() {
    return std::make_shared<FrameAud>(FrameIdent(),
                                      intrusive_ptr<ParamsAud>(new ParamsAud(MediaCoding_t::G711)));
}

/// Holds threads back until it is opened.
class Gate {
public:
    void Open() {
        std::lock_guard<std::mutex> const guard(lock_);
        isOpen_ = true;
        opened_.notify_all();
    }

    void Wait() {
        std::unique_lock<std::mutex> guard(lock_);
        opened_.wait(guard, [this] { return isOpen_; });
    }

private:
    std::mutex lock_;
    std::condition_variable opened_;
    bool isOpen_ = false;
};

/// What happened, in order.
class Journal {
public:
    void Write(std::string const& entry) {
        std::lock_guard<std::mutex> const guard(lock_);
        entries_.push_back(entry);
    }

    std::vector<std::string> Read() const {
        std::lock_guard<std::mutex> const guard(lock_);
        return entries_;
    }

private:
    mutable std::mutex lock_;
    std::vector<std::string> entries_;
};

/// A state of either kind that tells what is done to it.
template <class Base>
class TellingState : public Base {
public:
    explicit TellingState(Journal& journal) : journal_(journal) {}
    ~TellingState() override { journal_.Write("state ended"); }

    void Unregister() override { journal_.Write("unregister"); }

    bool UpdateClientState() override {
        PipelineClientState_t state;
        bool const isSet = this->GetClientState(state);
        journal_.Write("update " +
                       (isSet ? std::to_string(static_cast<int>(state.volume * 100.0F)) : "missing"));
        return isSet;
    }

private:
    Journal& journal_;
};

/// A renderer whose work is given by the test.
class TestRenderer : public IPipelineRenderer {
public:
    int Initialize() override { return 0; }
    void Shutdown() override {}
    bool IsEnabled() const override { return true; }
    Params_t::Type_t GetType() const override { return Params_t::Audio; }
    Params_t::SubType_t GetSubType() const override { return Params_t::System; }

    void RegisterSession(PipelineSessionParams_t& params, intrusive_ptr<PipelineState>& state) override {
        if (params.renderAudio)
            state = makeState();
    }

    void Divide(Job const& job) override { divide(*job); }

    std::function<intrusive_ptr<PipelineState>()> makeState = [] {
        return intrusive_ptr<PipelineState>(new PipelineStateExclusive);
    };
    std::function<void(PipelineStageRenderJob&)> divide = [](PipelineStageRenderJob& job) { job.Success(); };
};

PipelineClientState_t MakeClientState(float volume) {
    PipelineClientState_t state;
    state.volume = volume;
    return state;
}

/// The presentation time serves as a job's number.
std::int64_t NumberOf(PipelineStageRenderJob const& job) {
    return job.Params()->presentationTime.NanoSec();
}

class PipelineTest : public testing::Test {
protected:
    void UseTellingState() {
        renderer_.makeState = [this] {
            return intrusive_ptr<PipelineState>(new TellingState<PipelineStateExclusive>(journal_));
        };
    }

    /// Job 0 waits for the gate; each job writes its number.
    void UseGatedJobs() {
        renderer_.divide = [this](PipelineStageRenderJob& job) {
            if (NumberOf(job) == 0) {
                entered_.Open();
                gate_.Wait();
            }
            journal_.Write("job " + std::to_string(NumberOf(job)));
            job.Success();
        };
    }

    TestRenderer renderer_;
    Journal journal_;
    Gate entered_;
    Gate gate_;
};

using Pipeline_AudioRenderer = PipelineTest;
using Pipeline_OpenSession = PipelineTest;
using Pipeline_CloseSession = PipelineTest;
using Pipeline_Submit = PipelineTest;
using Pipeline_SetClientState = PipelineTest;
using Pipeline_Report = PipelineTest;
using Pipeline_Workers = PipelineTest;
using Pipeline_ExclusiveState = PipelineTest;
using Pipeline_Drain = PipelineTest;
using Pipeline_Destructor = PipelineTest;

} // namespace

TEST_F(Pipeline_AudioRenderer, IsWhatWasSetLastForTheWholeProcess) {
    EXPECT_EQ(Pipeline::GetAudioRenderer(), nullptr);
    Pipeline::SetAudioRenderer(&renderer_);
    std::thread([&] { EXPECT_EQ(Pipeline::GetAudioRenderer(), &renderer_); }).join();
    Pipeline::SetAudioRenderer(nullptr);
    EXPECT_EQ(Pipeline::GetAudioRenderer(), nullptr);
}

TEST_F(Pipeline_OpenSession, EverySessionHasItsOwnNumber) {
    Pipeline pipeline(renderer_, 1);
    std::set<Pipeline::SessionId_t> ids;
    for (int session = 0; session < 10; ++session)
        ids.insert(pipeline.OpenSession({}));
    EXPECT_EQ(ids.size(), 10U);
    EXPECT_EQ(ids.count(Pipeline::InvalidSession), 0U);
}

TEST_F(Pipeline_OpenSession, IsInvalidWhenTheRendererTakesNoPart) {
    Pipeline pipeline(renderer_, 1);
    PipelineSessionParams_t silent;
    silent.renderAudio = false;
    EXPECT_EQ(pipeline.OpenSession(silent), Pipeline::InvalidSession);
}

TEST_F(Pipeline_Submit, JobsOfASessionRunInOrderAndNeverTwoAtATime) {
    constexpr int Jobs = 500;
    // Not atomic: the pipeline alone keeps the jobs of a session apart.
    std::vector<std::int64_t> order;
    int running = 0;
    renderer_.divide = [&](PipelineStageRenderJob& job) {
        EXPECT_EQ(++running, 1);
        order.push_back(NumberOf(job));
        std::this_thread::yield();
        --running;
    };
    Pipeline pipeline(renderer_, 4);
    auto const session = pipeline.OpenSession({});
    for (int job = 0; job < Jobs; ++job)
        ASSERT_TRUE(pipeline.Submit(session, nullptr, JiffyTime(job)));
    pipeline.Drain();
    ASSERT_EQ(order.size(), static_cast<std::size_t>(Jobs));
    for (int job = 0; job < Jobs; ++job)
        EXPECT_EQ(order[static_cast<std::size_t>(job)], job);
}

TEST_F(Pipeline_Submit, StatesThatAreNotExclusiveAreKeptApartAllTheSame) {
    constexpr int Jobs = 300;
    renderer_.makeState = [] { return intrusive_ptr<PipelineState>(new PipelineState); };
    int running = 0;
    std::int64_t next = 0;
    renderer_.divide = [&](PipelineStageRenderJob& job) {
        EXPECT_EQ(++running, 1);
        EXPECT_EQ(NumberOf(job), next++);
        std::this_thread::yield();
        --running;
    };
    Pipeline pipeline(renderer_, 4);
    auto const session = pipeline.OpenSession({});
    for (int job = 0; job < Jobs; ++job)
        pipeline.Submit(session, nullptr, JiffyTime(job));
    pipeline.Drain();
    EXPECT_EQ(next, Jobs);
}

TEST_F(Pipeline_Submit, JobsOfDifferentSessionsRunSideBySide) {
    // Each job waits for the other: with one of them at a time this never ends.
    Gate gates[2];
    renderer_.divide = [&](PipelineStageRenderJob& job) {
        auto const own = static_cast<std::size_t>(NumberOf(job));
        gates[own].Open();
        gates[1 - own].Wait();
    };
    Pipeline pipeline(renderer_, 2);
    pipeline.Submit(pipeline.OpenSession({}), nullptr, JiffyTime(0));
    pipeline.Submit(pipeline.OpenSession({}), nullptr, JiffyTime(1));
    pipeline.Drain();
}

TEST_F(Pipeline_Submit, BusySessionDoesNotStarveTheOthers) {
    UseGatedJobs();
    Pipeline pipeline(renderer_, 1);
    auto const busy = pipeline.OpenSession({});
    auto const other = pipeline.OpenSession({});
    for (int job = 0; job < 3; ++job)
        pipeline.Submit(busy, nullptr, JiffyTime(job));
    entered_.Wait();
    pipeline.Submit(other, nullptr, JiffyTime(10));
    gate_.Open();
    pipeline.Drain();
    EXPECT_THAT(journal_.Read(), ElementsAre("job 0", "job 10", "job 1", "job 2"));
}

TEST_F(Pipeline_Submit, UnknownSessionIsRefused) {
    Pipeline pipeline(renderer_, 1);
    auto const session = pipeline.OpenSession({});
    EXPECT_FALSE(pipeline.Submit(Pipeline::InvalidSession, MakeRaw(), JiffyTime()));
    EXPECT_FALSE(pipeline.Submit(session + 1, MakeRaw(), JiffyTime()));
    pipeline.CloseSession(session);
    EXPECT_FALSE(pipeline.Submit(session, MakeRaw(), JiffyTime()));
}

TEST_F(Pipeline_Submit, JobCarriesItsFrameStateAndPresentationTime) {
    intrusive_ptr<PipelineState> const state(new PipelineStateExclusive);
    renderer_.makeState = [&] { return state; };
    struct Seen {
        std::shared_ptr<FrameAudRaw> raw;
        std::shared_ptr<FrameAud> coded;
    };
    std::vector<Seen> seen;
    renderer_.divide = [&](PipelineStageRenderJob& job) {
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
    Pipeline pipeline(renderer_, 1);
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
    renderer_.divide = [&](PipelineStageRenderJob&) { ++runs; };
    Pipeline pipeline(renderer_, 3);
    std::vector<Pipeline::SessionId_t> sessions;
    for (int session = 0; session < Sessions; ++session)
        sessions.push_back(pipeline.OpenSession({}));
    std::vector<std::thread> submitters;
    for (int submitter = 0; submitter < Submitters; ++submitter) {
        submitters.emplace_back([&] {
            for (std::size_t job = 0; job < JobsPerSubmitter; ++job) {
                EXPECT_TRUE(pipeline.Submit(sessions[job % Sessions], MakeRaw(), JiffyTime()));
                EXPECT_TRUE(pipeline.SetClientState(sessions[job % Sessions], {}));
            }
        });
    }
    for (std::thread& submitter : submitters)
        submitter.join();
    pipeline.Drain();
    EXPECT_EQ(runs, Submitters * JobsPerSubmitter);
}

TEST_F(Pipeline_Submit, FrameIsLetGoWithItsJob) {
    Pipeline pipeline(renderer_, 1);
    std::shared_ptr<FrameAud> const frame = MakeRaw();
    pipeline.Submit(pipeline.OpenSession({}), frame, JiffyTime());
    pipeline.Drain();
    EXPECT_EQ(frame.use_count(), 1);
}

TEST_F(Pipeline_Workers, AreAsManyAsAskedFor) {
    // Three jobs that wait for each other need three threads.
    std::atomic<int> entered{0};
    Gate all;
    std::mutex lock;
    std::set<std::thread::id> threads;
    renderer_.divide = [&](PipelineStageRenderJob&) {
        {
            std::lock_guard<std::mutex> const guard(lock);
            threads.insert(std::this_thread::get_id());
        }
        if (++entered == 3)
            all.Open();
        all.Wait();
    };
    Pipeline pipeline(renderer_, 3);
    for (int session = 0; session < 3; ++session)
        pipeline.Submit(pipeline.OpenSession({}), nullptr, JiffyTime());
    pipeline.Drain();
    EXPECT_EQ(threads.size(), 3U);
    EXPECT_EQ(threads.count(std::this_thread::get_id()), 0U);
}

TEST_F(Pipeline_Workers, AreAtLeastOne) {
    std::atomic<int> runs{0};
    renderer_.divide = [&](PipelineStageRenderJob&) { ++runs; };
    Pipeline pipeline(renderer_, 0);
    pipeline.Submit(pipeline.OpenSession({}), nullptr, JiffyTime());
    pipeline.Drain();
    EXPECT_EQ(runs, 1);
}

TEST_F(Pipeline_Workers, AreNamed) {
    std::string name;
    renderer_.divide = [&](PipelineStageRenderJob&) { name = Kovra::GetThreadName(); };
    Pipeline pipeline(renderer_, 1);
    pipeline.Submit(pipeline.OpenSession({}), nullptr, JiffyTime());
    pipeline.Drain();
    EXPECT_EQ(name, "Media.Pipeline.Worker");
}

TEST_F(Pipeline_Report, TellsOutcomeTimesAndNumberOfEachJob) {
    renderer_.divide = [](PipelineStageRenderJob& job) {
        job.GetPresentationTimestamp() = JiffyTime(NumberOf(job) + 1000);
        if (NumberOf(job) == 10)
            job.Success();
        if (NumberOf(job) == 11)
            job.Abort();
    };
    std::vector<Pipeline::Report_t> reports;
    Pipeline pipeline(renderer_, 2, [&](Pipeline::Report_t const& report) { reports.push_back(report); });
    auto const session = pipeline.OpenSession({});
    for (int job = 10; job < 13; ++job)
        pipeline.Submit(session, nullptr, JiffyTime(job));
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
    Pipeline pipeline(renderer_, 1, [&](Pipeline::Report_t const& report) {
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
    renderer_.divide = [&](PipelineStageRenderJob& job) {
        if (NumberOf(job) == 1)
            clock.nanoSec += 5'000'000;
    };
    {
        Pipeline pipeline(renderer_, 1, [&](Pipeline::Report_t const& report) {
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
    renderer_.divide = [&](PipelineStageRenderJob& job) {
        worker = std::this_thread::get_id();
        journal_.Write("job " + std::to_string(NumberOf(job)));
    };
    Pipeline pipeline(renderer_, 4, [&](Pipeline::Report_t const& report) {
        EXPECT_EQ(std::this_thread::get_id(), worker);
        journal_.Write("report " + std::to_string(report.jobNumber));
    });
    auto const session = pipeline.OpenSession({});
    for (int job = 0; job < 3; ++job)
        pipeline.Submit(session, nullptr, JiffyTime(job));
    pipeline.Drain();
    EXPECT_THAT(journal_.Read(), ElementsAre("job 0", "report 0", "job 1", "report 1", "job 2", "report 2"));
}

TEST_F(Pipeline_Report, JobWhoseRenderingThrowsCountsAsUncompletedAndTheWorkerGoesOn) {
    std::vector<Outcome_t> outcomes;
    renderer_.divide = [](PipelineStageRenderJob& job) {
        job.Success();
        if (NumberOf(job) < 2)
            throw std::runtime_error("renderer");
    };
    Pipeline pipeline(renderer_, 1, [&](auto const& report) { outcomes.push_back(report.outcome); });
    auto const session = pipeline.OpenSession({});
    for (int job = 0; job < 3; ++job)
        pipeline.Submit(session, nullptr, JiffyTime(job));
    pipeline.Drain();
    EXPECT_THAT(outcomes, ElementsAre(Outcome_t::Uncompleted, Outcome_t::Uncompleted, Outcome_t::Succeeded));
}

TEST_F(Pipeline_Report, WhatTheObserverThrowsIsDropped) {
    int reports = 0;
    Pipeline pipeline(renderer_, 1, [&](Pipeline::Report_t const&) {
        ++reports;
        throw 5;
    });
    auto const session = pipeline.OpenSession({});
    pipeline.Submit(session, nullptr, JiffyTime());
    pipeline.Submit(session, nullptr, JiffyTime());
    pipeline.Drain();
    EXPECT_EQ(reports, 2);
}

TEST_F(Pipeline_SetClientState, IsDeliveredOnAWorker) {
    std::thread::id worker;
    class State : public PipelineState {
    public:
        explicit State(std::thread::id& thread) : thread_(thread) {}
        bool UpdateClientState() override {
            thread_ = std::this_thread::get_id();
            return true;
        }

    private:
        std::thread::id& thread_;
    };
    renderer_.makeState = [&] { return intrusive_ptr<PipelineState>(new State(worker)); };
    Pipeline pipeline(renderer_, 1);
    EXPECT_TRUE(pipeline.SetClientState(pipeline.OpenSession({}), {}));
    pipeline.Drain();
    EXPECT_NE(worker, std::thread::id());
    EXPECT_NE(worker, std::this_thread::get_id());
}

TEST_F(Pipeline_SetClientState, UpdatesThatWaitAreMergedAndComeBeforeTheWaitingJobs) {
    UseTellingState();
    UseGatedJobs();
    Pipeline pipeline(renderer_, 2);
    auto const session = pipeline.OpenSession({});
    pipeline.Submit(session, nullptr, JiffyTime(0));
    entered_.Wait();
    pipeline.Submit(session, nullptr, JiffyTime(1));
    for (float const volume : {0.25F, 0.5F, 0.75F})
        EXPECT_TRUE(pipeline.SetClientState(session, MakeClientState(volume)));
    gate_.Open();
    pipeline.Drain();
    EXPECT_THAT(journal_.Read(), ElementsAre("job 0", "update 75", "job 1"));
}

TEST_F(Pipeline_SetClientState, UpdatesThatWereDeliveredAreNotMergedWithLaterOnes) {
    UseTellingState();
    Pipeline pipeline(renderer_, 1);
    auto const session = pipeline.OpenSession({});
    for (float const volume : {0.25F, 0.5F}) {
        pipeline.SetClientState(session, MakeClientState(volume));
        pipeline.Drain();
    }
    EXPECT_THAT(journal_.Read(), ElementsAre("update 25", "update 50"));
}

TEST_F(Pipeline_SetClientState, UnknownSessionIsRefused) {
    Pipeline pipeline(renderer_, 1);
    auto const session = pipeline.OpenSession({});
    EXPECT_FALSE(pipeline.SetClientState(Pipeline::InvalidSession, {}));
    EXPECT_FALSE(pipeline.SetClientState(session + 1, {}));
    pipeline.CloseSession(session);
    EXPECT_FALSE(pipeline.SetClientState(session, {}));
}

TEST_F(Pipeline_SetClientState, StateThatThrowsDoesNotEndTheWorker) {
    class State : public PipelineState {
    public:
        bool UpdateClientState() override { throw std::runtime_error("update"); }
        void Unregister() override { throw std::runtime_error("unregister"); }
    };
    renderer_.makeState = [] { return intrusive_ptr<PipelineState>(new State); };
    std::atomic<int> runs{0};
    renderer_.divide = [&](PipelineStageRenderJob&) { ++runs; };
    Pipeline pipeline(renderer_, 1);
    auto const session = pipeline.OpenSession({});
    pipeline.SetClientState(session, {});
    pipeline.Submit(session, nullptr, JiffyTime());
    pipeline.CloseSession(session);
    pipeline.Submit(pipeline.OpenSession({}), nullptr, JiffyTime());
    pipeline.Drain();
    EXPECT_EQ(runs, 2);
}

TEST_F(Pipeline_CloseSession, WaitingWorkRunsFirstThenTheStateIsToldAndLetGo) {
    UseTellingState();
    UseGatedJobs();
    Pipeline pipeline(renderer_, 2);
    auto const session = pipeline.OpenSession({});
    for (int job = 0; job < 3; ++job)
        pipeline.Submit(session, nullptr, JiffyTime(job));
    entered_.Wait();
    pipeline.SetClientState(session, MakeClientState(0.5F));
    auto closing = std::async(std::launch::async, [&] {
        pipeline.CloseSession(session);
        return journal_.Read();
    });
    gate_.Open();
    EXPECT_THAT(closing.get(),
                ElementsAre("job 0", "update 50", "job 1", "job 2", "unregister", "state ended"));
}

TEST_F(Pipeline_CloseSession, SessionWithoutWorkEndsToo) {
    UseTellingState();
    Pipeline pipeline(renderer_, 1);
    pipeline.CloseSession(pipeline.OpenSession({}));
    EXPECT_THAT(journal_.Read(), ElementsAre("unregister", "state ended"));
}

TEST_F(Pipeline_CloseSession, StateThatOthersHoldLivesOn) {
    UseTellingState();
    intrusive_ptr<PipelineState> const held = renderer_.makeState();
    renderer_.makeState = [&] { return held; };
    Pipeline pipeline(renderer_, 1);
    pipeline.CloseSession(pipeline.OpenSession({}));
    EXPECT_THAT(journal_.Read(), ElementsAre("unregister"));
}

TEST_F(Pipeline_CloseSession, UnknownAndClosedSessionsAreIgnored) {
    UseTellingState();
    Pipeline pipeline(renderer_, 1);
    auto const session = pipeline.OpenSession({});
    pipeline.CloseSession(Pipeline::InvalidSession);
    pipeline.CloseSession(session + 1);
    pipeline.CloseSession(session);
    pipeline.CloseSession(session);
    EXPECT_THAT(journal_.Read(), ElementsAre("unregister", "state ended"));
}

TEST_F(Pipeline_CloseSession, CalledByAWorkerItDoesNotWaitAndRefusesNewWorkAtOnce) {
    UseTellingState();
    Pipeline* own = nullptr;
    Pipeline::SessionId_t session = Pipeline::InvalidSession;
    renderer_.divide = [&](PipelineStageRenderJob& job) {
        if (NumberOf(job) == 0) {
            gate_.Wait();
            own->CloseSession(session);
            EXPECT_FALSE(own->Submit(session, nullptr, JiffyTime(2)));
            EXPECT_FALSE(own->SetClientState(session, {}));
        }
        journal_.Write("job " + std::to_string(NumberOf(job)));
    };
    Pipeline pipeline(renderer_, 1);
    own = &pipeline;
    session = pipeline.OpenSession({});
    pipeline.Submit(session, nullptr, JiffyTime(0));
    pipeline.Submit(session, nullptr, JiffyTime(1));
    gate_.Open();
    pipeline.Drain();
    EXPECT_THAT(journal_.Read(), ElementsAre("job 0", "job 1", "unregister", "state ended"));
}

TEST_F(Pipeline_ExclusiveState, IsAcquiredForEachJobAndReleasedAfterIt) {
    class State : public PipelineStateExclusive {
    public:
        explicit State(Journal& journal) : journal_(journal) {}

    private:
        int Acquire(PipelineJob const* job) override {
            job_ = job;
            journal_.Write("acquire");
            return 0;
        }
        int Release(PipelineJob const* job) override {
            journal_.Write(job == job_ ? "release" : "release by another job");
            return 0;
        }

        Journal& journal_;
        PipelineJob const* job_ = nullptr;
    };
    renderer_.makeState = [this] { return intrusive_ptr<PipelineState>(new State(journal_)); };
    renderer_.divide = [this](PipelineStageRenderJob& job) {
        journal_.Write("job");
        if (NumberOf(job) == 1)
            throw std::runtime_error("renderer");
    };
    Pipeline pipeline(renderer_, 2);
    auto const session = pipeline.OpenSession({});
    pipeline.Submit(session, nullptr, JiffyTime(0));
    pipeline.Submit(session, nullptr, JiffyTime(1));
    pipeline.Drain();
    EXPECT_THAT(journal_.Read(), ElementsAre("acquire", "job", "release", "acquire", "job", "release"));
}

TEST_F(Pipeline_ExclusiveState, JobWaitsWhileOthersHaveIt) {
    class State : public PipelineStateExclusive {
    public:
        explicit State(Journal& journal) : journal_(journal) {}

    private:
        int Acquire(PipelineJob const*) override {
            bool const isRefused = refusals_ > 0;
            journal_.Write(isRefused ? "refused" : "acquire");
            refusals_ -= isRefused ? 1 : 0;
            return isRefused ? -1 : 0;
        }
        int Release(PipelineJob const*) override { return 0; }

        Journal& journal_;
        int refusals_ = 2;
    };
    renderer_.makeState = [this] { return intrusive_ptr<PipelineState>(new State(journal_)); };
    renderer_.divide = [this](PipelineStageRenderJob& job) {
        journal_.Write("job " + std::to_string(NumberOf(job)));
    };
    std::vector<std::uint64_t> numbers;
    Pipeline pipeline(renderer_, 1, [&](auto const& report) { numbers.push_back(report.jobNumber); });
    auto const session = pipeline.OpenSession({});
    pipeline.Submit(session, nullptr, JiffyTime(0));
    pipeline.Submit(session, nullptr, JiffyTime(1));
    pipeline.Drain();
    EXPECT_THAT(journal_.Read(), ElementsAre("refused", "refused", "acquire", "job 0", "acquire", "job 1"));
    EXPECT_THAT(numbers, ElementsAre(0U, 1U));
}

TEST_F(Pipeline_ExclusiveState, SessionsThatShareItNeverHaveItTwoAtATime) {
    constexpr int Jobs = 50;
    intrusive_ptr<PipelineState> const shared(new PipelineStateExclusive);
    renderer_.makeState = [&] { return shared; };
    // Not atomic: whoever has the state has these.
    int running = 0;
    int runs = 0;
    renderer_.divide = [&](PipelineStageRenderJob&) {
        EXPECT_EQ(++running, 1);
        ++runs;
        std::this_thread::yield();
        --running;
    };
    Pipeline pipeline(renderer_, 4);
    Pipeline::SessionId_t const sessions[] = {pipeline.OpenSession({}), pipeline.OpenSession({}),
                                              pipeline.OpenSession({})};
    for (int job = 0; job < Jobs; ++job) {
        for (auto const session : sessions)
            pipeline.Submit(session, nullptr, JiffyTime(job));
    }
    pipeline.Drain();
    EXPECT_EQ(runs, 3 * Jobs);
}

TEST_F(Pipeline_Drain, ReturnsWhenThereIsNothingToDo) {
    Pipeline pipeline(renderer_, 1);
    pipeline.Drain();
    pipeline.OpenSession({});
    pipeline.Drain();
}

TEST_F(Pipeline_Drain, WaitsForReportsToo) {
    bool isReported = false;
    Pipeline pipeline(renderer_, 1, [&](Pipeline::Report_t const&) {
        std::this_thread::yield();
        isReported = true;
    });
    pipeline.Submit(pipeline.OpenSession({}), nullptr, JiffyTime());
    pipeline.Drain();
    EXPECT_TRUE(isReported);
}

TEST_F(Pipeline_Drain, CalledByAWorkerItReturnsAtOnce) {
    Pipeline* own = nullptr;
    std::atomic<int> runs{0};
    renderer_.divide = [&](PipelineStageRenderJob&) {
        gate_.Wait();
        own->Drain();
        ++runs;
    };
    Pipeline pipeline(renderer_, 1);
    own = &pipeline;
    auto const session = pipeline.OpenSession({});
    pipeline.Submit(session, nullptr, JiffyTime());
    pipeline.Submit(session, nullptr, JiffyTime());
    gate_.Open();
    pipeline.Drain();
    EXPECT_EQ(runs, 2);
}

namespace {

/// Opens its gate when the thread that set it ends.
struct OpensAtThreadEnd {
    explicit OpensAtThreadEnd(Gate& gate_) : gate(gate_) {}
    OpensAtThreadEnd(OpensAtThreadEnd const&) = delete;
    OpensAtThreadEnd& operator=(OpensAtThreadEnd const&) = delete;
    ~OpensAtThreadEnd() { gate.Open(); }

    Gate& gate;
};

/// Boost's, since the memory of a `thread_local` object is gone under mingw before its destructor runs.
boost::thread_specific_ptr<OpensAtThreadEnd> opensAtThreadEnd;

} // namespace

TEST_F(Pipeline_Destructor, DropsWhatWaitsFinishesWhatRunsAndEndsEverySession) {
    UseTellingState();
    // Job 0 runs until the other worker, idle by then, has ended, which it does when the pipeline is about
    // to.
    Gate idle;
    renderer_.divide = [&](PipelineStageRenderJob& job) {
        if (NumberOf(job) == 100) {
            opensAtThreadEnd.reset(new OpensAtThreadEnd(gate_));
            return;
        }
        if (NumberOf(job) == 0) {
            entered_.Open();
            gate_.Wait();
        }
        journal_.Write("job " + std::to_string(NumberOf(job)));
    };
    std::shared_ptr<FrameAud> const frame = MakeRaw();
    int reports = 0;
    {
        Pipeline pipeline(renderer_, 2, [&](Pipeline::Report_t const& report) {
            if (report.requested == JiffyTime(100))
                idle.Open();
            else
                ++reports;
        });
        auto const session = pipeline.OpenSession({});
        pipeline.Submit(session, frame, JiffyTime(0));
        entered_.Wait();
        pipeline.Submit(session, frame, JiffyTime(1));
        pipeline.SetClientState(session, {});
        pipeline.Submit(pipeline.OpenSession({}), nullptr, JiffyTime(100));
        idle.Wait();
    }
    EXPECT_THAT(journal_.Read(),
                ElementsAre("job 0", "unregister", "state ended", "unregister", "state ended"));
    EXPECT_EQ(reports, 1);
    EXPECT_EQ(frame.use_count(), 1);
}

TEST_F(Pipeline_Destructor, EndsASessionThatIsClosingToo) {
    UseTellingState();
    Pipeline* own = nullptr;
    Pipeline::SessionId_t session = Pipeline::InvalidSession;
    Gate idle;
    renderer_.divide = [&](PipelineStageRenderJob& job) {
        if (NumberOf(job) == 100) {
            opensAtThreadEnd.reset(new OpensAtThreadEnd(gate_));
            return;
        }
        own->CloseSession(session);
        entered_.Open();
        gate_.Wait();
    };
    {
        Pipeline pipeline(renderer_, 2, [&](Pipeline::Report_t const& report) {
            if (report.requested == JiffyTime(100))
                idle.Open();
        });
        own = &pipeline;
        auto const other = pipeline.OpenSession({});
        session = pipeline.OpenSession({});
        pipeline.Submit(session, nullptr, JiffyTime(0));
        entered_.Wait();
        pipeline.Submit(other, nullptr, JiffyTime(100));
        idle.Wait();
    }
    EXPECT_THAT(journal_.Read(), ElementsAre("unregister", "state ended", "unregister", "state ended"));
}
