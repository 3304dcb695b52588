#include "engine.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "capture.h"
#include "kovra/log.h"
#include "output/silentoutput.h"
#include "session.h"

namespace Sdk {

namespace {

constexpr int DefaultWarmUpMilliSec = 1000;
constexpr std::uint32_t DefaultWorkers = 2;

} // namespace

RaStatus Engine::Open(RaOptions const& options, std::shared_ptr<Engine>& engine) {
    std::shared_ptr<Engine> const opened(new Engine);
    int const status = opened->renderer_.Initialize();
    if (status < RA_SUCCESS) {
        return status;
    }
    std::uint32_t const workers = options.workers == 0 ? DefaultWorkers : options.workers;
    opened->pipeline_ = std::make_unique<Media::Pipeline>(
        opened->renderer_, workers,
        [engine = opened.get()](Media::Pipeline::Report_t const& report) { engine->HandOn(report); });
    if (options.warmUpMilliSec != RA_NO_SILENCE) {
        opened->silence_ = AudioHost::SilentOutput().Open();
    }
    if (opened->silence_ != nullptr) {
        std::this_thread::sleep_for(std::chrono::milliseconds(
            options.warmUpMilliSec == 0 ? DefaultWarmUpMilliSec : options.warmUpMilliSec));
    }
    engine = opened;
    return RA_SUCCESS;
}

Engine::~Engine() {
    Close();
}

void Engine::Close() {
    gate_.Shut();
    std::shared_ptr<Capture> capture;
    {
        std::lock_guard<std::mutex> const guard(lock_);
        capture = std::move(capture_);
    }
    if (capture != nullptr) {
        capture->Stop();
    }
    // Its sessions' states go before the renderer shuts down: released later they would sound on.
    pipeline_.reset();
    sessions_.clear();
    renderer_.Shutdown();
    silence_.reset();
}

RaStatus Engine::AddSession(std::shared_ptr<Session> const& session) {
    {
        std::lock_guard<std::mutex> const guard(lock_);
        if (sessionCount_ == RA_MAX_SESSIONS) {
            return RA_OUT_OF_MEMORY;
        }
        ++sessionCount_;
    }
    Media::Pipeline::SessionId_t id = Media::Pipeline::InvalidSession;
    RaStatus status = RA_SUCCESS;
    try {
        id = pipeline_->OpenSession({});
        status = id == Media::Pipeline::InvalidSession ? RA_NO_DRIVER : RA_SUCCESS;
        std::lock_guard<std::mutex> const guard(lock_);
        if (status == RA_SUCCESS) {
            session->SetId(id);
            sessions_.emplace(id, session);
        }
    } catch (...) {
        pipeline_->CloseSession(id);
        status = RA_OUT_OF_MEMORY;
    }
    if (status != RA_SUCCESS) {
        std::lock_guard<std::mutex> const guard(lock_);
        --sessionCount_;
    }
    return status;
}

void Engine::EndSession(Session const& session) {
    pipeline_->CloseSession(session.GetId());
    // What is told from here on finds nobody to tell.
    std::lock_guard<std::mutex> const guard(lock_);
    sessions_.erase(session.GetId());
    --sessionCount_;
}

bool Engine::SetCapture(std::shared_ptr<Capture> const& capture) {
    std::lock_guard<std::mutex> const guard(lock_);
    if (capture_ != nullptr) {
        return false;
    }
    capture_ = capture;
    return true;
}

void Engine::EndCapture(Capture const& capture) {
    std::lock_guard<std::mutex> const guard(lock_);
    if (capture_.get() == &capture) {
        capture_.reset();
    }
}

void Engine::CountSubmitted() {
    std::lock_guard<std::mutex> const guard(lock_);
    ++statistics_.framesSubmitted;
}

RaStatistics Engine::GetStatistics() const {
    std::lock_guard<std::mutex> const guard(lock_);
    RaStatistics statistics = statistics_;
    // A worker may have ended a frame before whoever submits it comes to count it.
    statistics.framesSubmitted =
        std::max(statistics.framesSubmitted, statistics.framesRendered + statistics.framesFailed);
    statistics.sessions = static_cast<std::uint32_t>(sessions_.size());
    statistics.logRecordsLost = Kovra::LogManager::Instance().CountLost();
    return statistics;
}

/// On a worker, after each frame.
void Engine::HandOn(Media::Pipeline::Report_t const& report) {
    std::shared_ptr<Session> session;
    {
        std::lock_guard<std::mutex> const guard(lock_);
        bool const isRendered = report.outcome == Media::PipelineStageJob::Outcome_t::Succeeded;
        ++(isRendered ? statistics_.framesRendered : statistics_.framesFailed);
        auto const found = sessions_.find(report.session);
        session = found == sessions_.end() ? nullptr : found->second;
    }
    if (session != nullptr) {
        session->Report(report);
    }
}

} // namespace Sdk
