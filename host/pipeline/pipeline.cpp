#include "pipeline/pipeline.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

#include "capturetally.h"
#include "kovra/log.h"
#include "kovra/thread.h"
#include "sessiontally.h"

namespace Media {

namespace {

using SessionId_t = Pipeline::SessionId_t;
using Job = boost::intrusive_ptr<PipelineStageRenderJob>;

// How long a worker rests when a session's state is in other hands, which tell nobody when they let go.
constexpr std::chrono::milliseconds RetryMilliSec{1};

std::atomic<IPipelineRenderer*> audioRenderer{nullptr};

// The pipeline that the calling thread works for; null on all other threads.
thread_local void const* ownPipeline = nullptr;
static_assert(std::is_trivially_destructible_v<decltype(ownPipeline)>);

/// Calls out to code that may throw what it likes: nothing of that may end a worker. False when it threw.
template <class Call>
bool IsCallCompleted(Call call) {
    try {
        call();
        return true;
    } catch (...) {
        return false;
    }
}

struct Session {
    Session(SessionId_t id_, boost::intrusive_ptr<PipelineState> state_)
        : id(id_),
          state(std::move(state_)),
          exclusive(dynamic_cast<PipelineStateExclusive*>(state.get())),
          tally(id_) {}

    bool HasWork() const { return isUpdateWaiting || !jobs.empty() || isClosing; }

    // --- immutable until the session ends
    SessionId_t const id;
    boost::intrusive_ptr<PipelineState> state;
    /// The same state, null when it is not exclusive.
    PipelineStateExclusive* const exclusive;

    // --- guarded by the pipeline's lock
    std::deque<Job> jobs;
    bool isUpdateWaiting = false;
    bool isClosing = false;
    bool hasEnded = false;
    /// A worker has the session or it stands in `ready`. This is what keeps its jobs one at a time.
    bool isScheduled = false;

    // --- used by the worker that has the session
    /// Of the next job to run.
    std::uint64_t nextJobNumber = 0;

    // --- with a lock of its own
    SessionTally tally;
};

Job MakeJob(Session const& session, std::shared_ptr<FrameAud> frame, Kovra::JiffyTime presentation) {
    Job job(new PipelineStageRenderJob(session.state, {presentation}));
    if (auto raw = std::dynamic_pointer_cast<FrameAudRaw>(frame)) {
        job->Registers().set(std::move(raw));
    } else {
        job->Registers().set(std::move(frame));
    }
    return job;
}

} // namespace

struct Pipeline::State {
    State(IPipelineRenderer& renderer_, Observer observer_);
    ~State();

    void Work();
    void Step(std::unique_lock<std::mutex>& guard, std::shared_ptr<Session> const& session);
    bool RunJob(Session& session, Job const& job);
    void EndSession(Session& session);

    /// Null when the session is unknown or takes no more work. Under the lock.
    std::shared_ptr<Session> FindOpen(SessionId_t id) const;
    /// To be called under the lock after every addition of work.
    void Schedule(std::shared_ptr<Session> const& session);
    bool IsOwnWorker() const;

    // --- immutable
    IPipelineRenderer& renderer;
    Observer const observer;

    std::mutex lock;
    /// Something is ready, or the workers shall stop.
    std::condition_variable readied;
    /// A session has ended, or none is scheduled any more.
    std::condition_variable settled;

    // --- guarded by lock
    std::map<SessionId_t, std::shared_ptr<Session>> sessions;
    SessionId_t lastId = InvalidSession;
    std::deque<std::shared_ptr<Session>> ready;
    std::size_t scheduled = 0;
    bool isStopping = false;
    SessionStatistics_t ended;
    std::uint64_t endedSessions = 0;
    Episodes_t idleStops;

    // --- with a lock of its own
    CaptureTally capture;

    // --- used by the constructor and the destructor only
    std::vector<std::thread> workers;
};

Pipeline::State::State(IPipelineRenderer& renderer_, Observer observer_)
    : renderer(renderer_), observer(std::move(observer_)) {}

Pipeline::State::~State() {
    {
        std::lock_guard<std::mutex> const guard(lock);
        isStopping = true;
    }
    readied.notify_all();
    for (std::thread& worker : workers) {
        worker.join();
    }
    for (auto const& [id, session] : sessions) {
        EndSession(*session);
    }
}

bool Pipeline::State::IsOwnWorker() const {
    return ownPipeline == this;
}

std::shared_ptr<Session> Pipeline::State::FindOpen(SessionId_t id) const {
    auto const found = sessions.find(id);
    return found == sessions.end() || found->second->isClosing ? nullptr : found->second;
}

void Pipeline::State::Schedule(std::shared_ptr<Session> const& session) {
    if (session->isScheduled) {
        return;
    }
    session->isScheduled = true;
    ++scheduled;
    ready.push_back(session);
    readied.notify_one();
}

void Pipeline::State::Work() {
    Kovra::SetThreadName("Media.Pipeline.Worker");
    ownPipeline = this;
    std::unique_lock<std::mutex> guard(lock);
    for (;;) {
        readied.wait(guard, [this] { return isStopping || !ready.empty(); });
        if (isStopping) {
            return;
        }
        std::shared_ptr<Session> const session = std::move(ready.front());
        ready.pop_front();
        Step(guard, session);
        if (session->HasWork() && !session->hasEnded) {
            // To the back, so that a busy session does not starve the others.
            ready.push_back(session);
            readied.notify_one();
        } else {
            session->isScheduled = false;
            if (--scheduled == 0) {
                settled.notify_all();
            }
        }
    }
}

/// One piece of the session's work: its update, its next job or its end. The lock is released meanwhile.
void Pipeline::State::Step(std::unique_lock<std::mutex>& guard, std::shared_ptr<Session> const& session) {
    if (session->isUpdateWaiting) {
        session->isUpdateWaiting = false;
        guard.unlock();
        IsCallCompleted([&] { session->state->UpdateClientState(); });
        guard.lock();
    } else if (!session->jobs.empty()) {
        Job job = std::move(session->jobs.front());
        session->jobs.pop_front();
        guard.unlock();
        bool const hasRun = RunJob(*session, job);
        if (hasRun) {
            job.reset();
        }
        guard.lock();
        if (!hasRun) {
            session->jobs.push_front(std::move(job));
            readied.wait_for(guard, RetryMilliSec);
        }
    } else {
        guard.unlock();
        EndSession(*session);
        guard.lock();
        session->hasEnded = true;
        Merge(session->tally.Get(), ended);
        ++endedSessions;
        sessions.erase(session->id);
        settled.notify_all();
    }
}

/// Renders and reports. False when another job has the session's state: nothing has been done then.
bool Pipeline::State::RunJob(Session& session, Job const& job) {
    if (session.exclusive && PipelineStateAccess::Acquire(*session.exclusive, job.get()) < 0) {
        return false;
    }
    Kovra::JiffyTime const start = Kovra::JiffyTime::Now();
    bool const isCompleted = IsCallCompleted([&] {
        Kovra::LogSubject const subject(session.id);
        renderer.Divide(job);
    });
    Kovra::JiffyTime const end = Kovra::JiffyTime::Now();
    if (session.exclusive) {
        PipelineStateAccess::Release(*session.exclusive, job.get());
    }
    Report_t report;
    report.session = session.id;
    report.jobNumber = session.nextJobNumber++;
    report.outcome = isCompleted ? job->GetOutcome() : PipelineStageJob::Outcome_t::Uncompleted;
    report.requested = job->Params()->presentationTime;
    report.achieved = job->GetPresentationTimestamp();
    report.started = start;
    report.renderNanoSec = end.GetDiffSysTime(start).NanoSec();
    session.tally.AddJob(report);
    if (observer) {
        IsCallCompleted([&] { observer(report); });
    }
    return true;
}

/// Drops the jobs that still wait, tells the state and lets it go.
void Pipeline::State::EndSession(Session& session) {
    session.jobs.clear();
    IsCallCompleted([&] { session.state->Unregister(); });
    session.state.reset();
}

// Some compilers export a constant of a class only with such a definition.
constexpr Pipeline::SessionId_t Pipeline::InvalidSession; // NOLINT(readability-redundant-declaration)

IPipelineRenderer const* Pipeline::GetAudioRenderer() {
    return audioRenderer.load(std::memory_order_acquire);
}

void Pipeline::SetAudioRenderer(IPipelineRenderer* renderer) {
    audioRenderer.store(renderer, std::memory_order_release);
}

Pipeline::SessionId_t Pipeline::SessionOf(Kovra::LogRecord const& record) {
    return record.subject <= UINT32_MAX ? static_cast<SessionId_t>(record.subject) : InvalidSession;
}

Pipeline::Pipeline(IPipelineRenderer& renderer, std::size_t workers, Observer observer)
    : state_(std::make_unique<State>(renderer, std::move(observer))) {
    for (std::size_t worker = 0; worker < std::max<std::size_t>(workers, 1); ++worker) {
        state_->workers.emplace_back([state = state_.get()] { state->Work(); });
    }
}

Pipeline::~Pipeline() = default;

Pipeline::SessionId_t Pipeline::OpenSession(PipelineSessionParams_t params) {
    boost::intrusive_ptr<PipelineState> state;
    state_->renderer.RegisterSession(params, state);
    if (!state) {
        return InvalidSession;
    }
    std::lock_guard<std::mutex> const guard(state_->lock);
    do {
        ++state_->lastId;
    } while (state_->lastId == InvalidSession || state_->sessions.count(state_->lastId) != 0);
    state_->sessions.emplace(state_->lastId, std::make_shared<Session>(state_->lastId, std::move(state)));
    return state_->lastId;
}

void Pipeline::CloseSession(SessionId_t id) {
    std::unique_lock<std::mutex> guard(state_->lock);
    auto const found = state_->sessions.find(id);
    if (found == state_->sessions.end()) {
        return;
    }
    std::shared_ptr<Session> const session = found->second;
    session->isClosing = true;
    state_->Schedule(session);
    if (!state_->IsOwnWorker()) {
        state_->settled.wait(guard, [&] { return session->hasEnded; });
    }
}

bool Pipeline::Submit(SessionId_t id, std::shared_ptr<FrameAud> frame, Kovra::JiffyTime presentation) {
    std::lock_guard<std::mutex> const guard(state_->lock);
    std::shared_ptr<Session> const session = state_->FindOpen(id);
    if (!session) {
        return false;
    }
    session->jobs.push_back(MakeJob(*session, std::move(frame), presentation));
    state_->Schedule(session);
    return true;
}

bool Pipeline::SetClientState(SessionId_t id, PipelineClientState_t const& clientState) {
    std::lock_guard<std::mutex> const guard(state_->lock);
    std::shared_ptr<Session> const session = state_->FindOpen(id);
    if (!session) {
        return false;
    }
    session->state->SetClientState(clientState);
    session->isUpdateWaiting = true;
    state_->Schedule(session);
    return true;
}

void Pipeline::Drain() {
    if (state_->IsOwnWorker()) {
        return;
    }
    std::unique_lock<std::mutex> guard(state_->lock);
    state_->settled.wait(guard, [this] { return state_->scheduled == 0; });
}

PipelineStatistics_t Pipeline::GetStatistics() const {
    PipelineStatistics_t told;
    std::vector<std::shared_ptr<Session>> sessions;
    {
        std::lock_guard<std::mutex> const guard(state_->lock);
        for (auto const& [id, session] : state_->sessions) {
            sessions.push_back(session);
        }
        told.ended = state_->ended;
        told.endedSessions = state_->endedSessions;
        told.idleStops = state_->idleStops;
    }
    for (std::shared_ptr<Session> const& session : sessions) {
        told.sessions.push_back(session->tally.Get());
    }
    told.capture = state_->capture.Get();
    return told;
}

void Pipeline::AddLog(Kovra::LogRecord const& record) {
    if (record.channel.rfind(RendererChannels, 0) != 0) {
        return;
    }
    RendererEvent_t const event = ReadRendererEvent(record.message);
    std::shared_ptr<Session> session;
    {
        std::lock_guard<std::mutex> const guard(state_->lock);
        if (event.kind == RendererEventKind_t::IdleStop) {
            state_->idleStops.Add(record.time);
        }
        auto const found = state_->sessions.find(SessionOf(record));
        if (found == state_->sessions.end()) {
            return;
        }
        session = found->second;
    }
    session->tally.AddEvent(event, record.time);
}

void Pipeline::AddCaptured(std::vector<std::shared_ptr<FrameAud>> const& frames) {
    state_->capture.Add(frames);
}

} // namespace Media
