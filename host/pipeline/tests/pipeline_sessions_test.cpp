#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <boost/thread/tss.hpp>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "pipelinetest.h"

using boost::intrusive_ptr;
using Kovra::JiffyTime;
using Media::FrameAud;
using Media::Pipeline;
using Media::PipelineJob;
using Media::PipelineStageRenderJob;
using Media::PipelineState;
using Media::PipelineStateExclusive;
using PipelineTests::Gate;
using PipelineTests::Journal;
using PipelineTests::MakeClientState;
using PipelineTests::MakeRaw;
using PipelineTests::NumberOf;
using PipelineTests::PipelineTest;
using testing::ElementsAre;

using Job = intrusive_ptr<PipelineStageRenderJob>;

namespace {

using Pipeline_CloseSession = PipelineTest;
using Pipeline_SetClientState = PipelineTest;
using Pipeline_ExclusiveState = PipelineTest;
using Pipeline_Drain = PipelineTest;
using Pipeline_Destructor = PipelineTest;

} // namespace

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
    renderer.makeState = [&] { return intrusive_ptr<PipelineState>(new State(worker)); };
    Pipeline pipeline(renderer, 1);
    EXPECT_TRUE(pipeline.SetClientState(pipeline.OpenSession({}), {}));
    pipeline.Drain();
    EXPECT_NE(worker, std::thread::id());
    EXPECT_NE(worker, std::this_thread::get_id());
}

TEST_F(Pipeline_SetClientState, UpdatesThatWaitAreMergedAndComeBeforeTheWaitingJobs) {
    UseTellingState();
    UseGatedJobs();
    Pipeline pipeline(renderer, 2);
    auto const session = pipeline.OpenSession({});
    pipeline.Submit(session, nullptr, JiffyTime(0));
    entered.Wait();
    pipeline.Submit(session, nullptr, JiffyTime(1));
    for (float const volume : {0.25F, 0.5F, 0.75F}) {
        EXPECT_TRUE(pipeline.SetClientState(session, MakeClientState(volume)));
    }
    gate.Open();
    pipeline.Drain();
    EXPECT_THAT(journal.Read(), ElementsAre("job 0", "update 75", "job 1"));
}

TEST_F(Pipeline_SetClientState, UpdatesThatWereDeliveredAreNotMergedWithLaterOnes) {
    UseTellingState();
    Pipeline pipeline(renderer, 1);
    auto const session = pipeline.OpenSession({});
    for (float const volume : {0.25F, 0.5F}) {
        pipeline.SetClientState(session, MakeClientState(volume));
        pipeline.Drain();
    }
    EXPECT_THAT(journal.Read(), ElementsAre("update 25", "update 50"));
}

TEST_F(Pipeline_SetClientState, UnknownSessionIsRefused) {
    Pipeline pipeline(renderer, 1);
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
    renderer.makeState = [] { return intrusive_ptr<PipelineState>(new State); };
    std::atomic<int> runs{0};
    renderer.divide = [&](PipelineStageRenderJob&) { ++runs; };
    Pipeline pipeline(renderer, 1);
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
    Pipeline pipeline(renderer, 2);
    auto const session = pipeline.OpenSession({});
    for (int job = 0; job < 3; ++job) {
        pipeline.Submit(session, nullptr, JiffyTime(job));
    }
    entered.Wait();
    pipeline.SetClientState(session, MakeClientState(0.5F));
    auto closing = std::async(std::launch::async, [&] {
        pipeline.CloseSession(session);
        return journal.Read();
    });
    gate.Open();
    EXPECT_THAT(closing.get(),
                ElementsAre("job 0", "update 50", "job 1", "job 2", "unregister", "state ended"));
}

TEST_F(Pipeline_CloseSession, SessionWithoutWorkEndsToo) {
    UseTellingState();
    Pipeline pipeline(renderer, 1);
    pipeline.CloseSession(pipeline.OpenSession({}));
    EXPECT_THAT(journal.Read(), ElementsAre("unregister", "state ended"));
}

TEST_F(Pipeline_CloseSession, StateThatOthersHoldLivesOn) {
    UseTellingState();
    intrusive_ptr<PipelineState> const held = renderer.makeState();
    renderer.makeState = [&] { return held; };
    Pipeline pipeline(renderer, 1);
    pipeline.CloseSession(pipeline.OpenSession({}));
    EXPECT_THAT(journal.Read(), ElementsAre("unregister"));
}

TEST_F(Pipeline_CloseSession, UnknownAndClosedSessionsAreIgnored) {
    UseTellingState();
    Pipeline pipeline(renderer, 1);
    auto const session = pipeline.OpenSession({});
    pipeline.CloseSession(Pipeline::InvalidSession);
    pipeline.CloseSession(session + 1);
    pipeline.CloseSession(session);
    pipeline.CloseSession(session);
    EXPECT_THAT(journal.Read(), ElementsAre("unregister", "state ended"));
}

TEST_F(Pipeline_CloseSession, CalledByAWorkerItDoesNotWaitAndRefusesNewWorkAtOnce) {
    UseTellingState();
    Pipeline* own = nullptr;
    Pipeline::SessionId_t session = Pipeline::InvalidSession;
    renderer.divide = [&](PipelineStageRenderJob& job) {
        if (NumberOf(job) == 0) {
            gate.Wait();
            own->CloseSession(session);
            EXPECT_FALSE(own->Submit(session, nullptr, JiffyTime(2)));
            EXPECT_FALSE(own->SetClientState(session, {}));
        }
        journal.Write("job " + std::to_string(NumberOf(job)));
    };
    Pipeline pipeline(renderer, 1);
    own = &pipeline;
    session = pipeline.OpenSession({});
    pipeline.Submit(session, nullptr, JiffyTime(0));
    pipeline.Submit(session, nullptr, JiffyTime(1));
    gate.Open();
    pipeline.Drain();
    EXPECT_THAT(journal.Read(), ElementsAre("job 0", "job 1", "unregister", "state ended"));
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
    renderer.makeState = [this] { return intrusive_ptr<PipelineState>(new State(journal)); };
    renderer.divide = [this](PipelineStageRenderJob& job) {
        journal.Write("job");
        if (NumberOf(job) == 1) {
            throw std::runtime_error("renderer");
        }
    };
    Pipeline pipeline(renderer, 2);
    auto const session = pipeline.OpenSession({});
    pipeline.Submit(session, nullptr, JiffyTime(0));
    pipeline.Submit(session, nullptr, JiffyTime(1));
    pipeline.Drain();
    EXPECT_THAT(journal.Read(), ElementsAre("acquire", "job", "release", "acquire", "job", "release"));
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
    renderer.makeState = [this] { return intrusive_ptr<PipelineState>(new State(journal)); };
    renderer.divide = [this](PipelineStageRenderJob& job) {
        journal.Write("job " + std::to_string(NumberOf(job)));
    };
    std::vector<std::uint64_t> numbers;
    Pipeline pipeline(renderer, 1, [&](auto const& report) { numbers.push_back(report.jobNumber); });
    auto const session = pipeline.OpenSession({});
    pipeline.Submit(session, nullptr, JiffyTime(0));
    pipeline.Submit(session, nullptr, JiffyTime(1));
    pipeline.Drain();
    EXPECT_THAT(journal.Read(), ElementsAre("refused", "refused", "acquire", "job 0", "acquire", "job 1"));
    EXPECT_THAT(numbers, ElementsAre(0U, 1U));
}

TEST_F(Pipeline_ExclusiveState, SessionsThatShareItNeverHaveItTwoAtATime) {
    constexpr int Jobs = 50;
    intrusive_ptr<PipelineState> const shared(new PipelineStateExclusive);
    renderer.makeState = [&] { return shared; };
    // Not atomic: whoever has the state has these.
    int running = 0;
    int runs = 0;
    renderer.divide = [&](PipelineStageRenderJob&) {
        EXPECT_EQ(++running, 1);
        ++runs;
        std::this_thread::yield();
        --running;
    };
    Pipeline pipeline(renderer, 4);
    Pipeline::SessionId_t const sessions[] = {pipeline.OpenSession({}), pipeline.OpenSession({}),
                                              pipeline.OpenSession({})};
    for (int job = 0; job < Jobs; ++job) {
        for (auto const session : sessions) {
            pipeline.Submit(session, nullptr, JiffyTime(job));
        }
    }
    pipeline.Drain();
    EXPECT_EQ(runs, 3 * Jobs);
}

TEST_F(Pipeline_Drain, ReturnsWhenThereIsNothingToDo) {
    Pipeline pipeline(renderer, 1);
    pipeline.Drain();
    pipeline.OpenSession({});
    pipeline.Drain();
}

TEST_F(Pipeline_Drain, WaitsForReportsToo) {
    bool isReported = false;
    Pipeline pipeline(renderer, 1, [&](Pipeline::Report_t const&) {
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
    renderer.divide = [&](PipelineStageRenderJob&) {
        gate.Wait();
        own->Drain();
        ++runs;
    };
    Pipeline pipeline(renderer, 1);
    own = &pipeline;
    auto const session = pipeline.OpenSession({});
    pipeline.Submit(session, nullptr, JiffyTime());
    pipeline.Submit(session, nullptr, JiffyTime());
    gate.Open();
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
    renderer.divide = [&](PipelineStageRenderJob& job) {
        if (NumberOf(job) == 100) {
            opensAtThreadEnd.reset(new OpensAtThreadEnd(gate));
            return;
        }
        if (NumberOf(job) == 0) {
            entered.Open();
            gate.Wait();
        }
        journal.Write("job " + std::to_string(NumberOf(job)));
    };
    std::shared_ptr<FrameAud> const frame = MakeRaw();
    int reports = 0;
    {
        Pipeline pipeline(renderer, 2, [&](Pipeline::Report_t const& report) {
            if (report.requested == JiffyTime(100)) {
                idle.Open();
            } else {
                ++reports;
            }
        });
        auto const session = pipeline.OpenSession({});
        pipeline.Submit(session, frame, JiffyTime(0));
        entered.Wait();
        pipeline.Submit(session, frame, JiffyTime(1));
        pipeline.SetClientState(session, {});
        pipeline.Submit(pipeline.OpenSession({}), nullptr, JiffyTime(100));
        idle.Wait();
    }
    EXPECT_THAT(journal.Read(),
                ElementsAre("job 0", "unregister", "state ended", "unregister", "state ended"));
    EXPECT_EQ(reports, 1);
    EXPECT_EQ(frame.use_count(), 1);
}

TEST_F(Pipeline_Destructor, EndsASessionThatIsClosingToo) {
    UseTellingState();
    Pipeline* own = nullptr;
    Pipeline::SessionId_t session = Pipeline::InvalidSession;
    Gate idle;
    renderer.divide = [&](PipelineStageRenderJob& job) {
        if (NumberOf(job) == 100) {
            opensAtThreadEnd.reset(new OpensAtThreadEnd(gate));
            return;
        }
        own->CloseSession(session);
        entered.Open();
        gate.Wait();
    };
    {
        Pipeline pipeline(renderer, 2, [&](Pipeline::Report_t const& report) {
            if (report.requested == JiffyTime(100)) {
                idle.Open();
            }
        });
        own = &pipeline;
        auto const other = pipeline.OpenSession({});
        session = pipeline.OpenSession({});
        pipeline.Submit(session, nullptr, JiffyTime(0));
        entered.Wait();
        pipeline.Submit(other, nullptr, JiffyTime(100));
        idle.Wait();
    }
    EXPECT_THAT(journal.Read(), ElementsAre("unregister", "state ended", "unregister", "state ended"));
}
