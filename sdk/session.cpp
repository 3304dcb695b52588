#include "session.h"

#include <algorithm>
#include <utility>

#include "engine.h"

namespace Sdk {

Session::Session(std::shared_ptr<Engine> engine, Params params, RaReportCallback callback, void* context)
    : engine_(std::move(engine)), callback_(callback), context_(context), params_(std::move(params)) {}

void Session::SetParams(Params params) {
    std::lock_guard<std::mutex> const guard(lock_);
    params_ = std::move(params);
}

RaStatus Session::Submit(RaFrame const& frame) {
    std::lock_guard<std::mutex> const guard(lock_);
    if (!IsFrame(*params_, frame.data, frame.bytes) || frame.timestampNanoSec <= 0 ||
        frame.presentationNanoSec <= 0) {
        return RA_INVALID_ARGUMENT;
    }
    auto made =
        MakeFrame(params_, frame.data, frame.bytes, Kovra::SysTime(frame.timestampNanoSec), sequenceNumber_);
    if (!engine_->GetPipeline().Submit(id_, std::move(made), Kovra::JiffyTime(frame.presentationNanoSec))) {
        return RA_INVALID_ARGUMENT;
    }
    ++sequenceNumber_;
    ++statistics_.framesSubmitted;
    engine_->CountSubmitted();
    return RA_SUCCESS;
}

RaStatus Session::SetVolume(float volume, float balance) {
    Media::PipelineClientState_t state;
    state.volume = volume;
    state.balance = balance;
    return engine_->GetPipeline().SetClientState(id_, state) ? RA_SUCCESS : RA_INVALID_ARGUMENT;
}

RaSessionStatistics Session::GetStatistics() const {
    std::lock_guard<std::mutex> const guard(lock_);
    return statistics_;
}

void Session::Report(Media::Pipeline::Report_t const& report) {
    bool const isRendered = report.outcome == Media::PipelineStageJob::Outcome_t::Succeeded;
    {
        std::lock_guard<std::mutex> const guard(lock_);
        ++(isRendered ? statistics_.framesRendered : statistics_.framesFailed);
        statistics_.lastRenderNanoSec = report.renderNanoSec;
        statistics_.longestRenderNanoSec = std::max(statistics_.longestRenderNanoSec, report.renderNanoSec);
        if (isRendered) {
            statistics_.lastRequestedNanoSec = report.requested.NanoSec();
            statistics_.lastAchievedNanoSec = report.achieved.NanoSec();
        }
    }
    if (callback_ == nullptr) {
        return;
    }
    RaReport const told = {sizeof(RaReport),           isRendered ? 1U : 0U,      report.jobNumber,
                           report.requested.NanoSec(), report.achieved.NanoSec(), report.renderNanoSec};
    CallbackScope const scope;
    callback_(context_, &told);
}

} // namespace Sdk
