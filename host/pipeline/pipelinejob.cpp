#include "pipeline/pipelinejob.h"

namespace Media {

void PipelineRegisters::get(std::shared_ptr<FrameAudRaw>& frame) const {
    if (raw_) {
        frame = raw_;
    }
}

void PipelineRegisters::get(std::shared_ptr<FrameAud>& frame) const {
    if (coded_) {
        frame = coded_;
    }
}

PipelineJob::PipelineJob() = default;

PipelineJob::~PipelineJob() = default;

void intrusive_ptr_add_ref(PipelineJob const* job) {
    job->references_.fetch_add(1, std::memory_order_relaxed);
}

void intrusive_ptr_release(PipelineJob const* job) {
    if (job->references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete job;
    }
}

PipelineStageJob::PipelineStageJob(boost::intrusive_ptr<PipelineState> state) : state_(std::move(state)) {}

PipelineStageJob::~PipelineStageJob() = default;

void PipelineStageJob::Success() {
    if (outcome_ == Outcome_t::Uncompleted) {
        outcome_ = Outcome_t::Succeeded;
    }
}

void PipelineStageJob::Abort() {
    if (outcome_ == Outcome_t::Uncompleted) {
        outcome_ = Outcome_t::Aborted;
    }
}

PipelineStageRenderJob::PipelineStageRenderJob(boost::intrusive_ptr<PipelineState> state,
                                               IPipelineRenderer::Params_t params)
    : PipelineStageJob(std::move(state)), params_(params) {}

PipelineStageRenderJob::~PipelineStageRenderJob() = default;

} // namespace Media
