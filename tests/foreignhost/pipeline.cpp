// Jobs, states and the registry of the renderer.
#include "pipeline/pipeline.h"

#include <atomic>
#include <utility>

#include "harbour/host.h"

namespace Media {

namespace {

std::atomic<IPipelineRenderer*> audioRenderer{nullptr};

} // namespace

Component::~Component() = default;

std::string Component::TellOfItself() const {
    return name_;
}

IPipelineRenderer::~IPipelineRenderer() = default;

ClientWishes::~ClientWishes() = default;
PipelineState::~PipelineState() = default;
PipelineStateExclusive::~PipelineStateExclusive() = default;

bool PipelineState::GetClientState(PipelineClientState_t& state) const {
    std::lock_guard<std::mutex> const guard(lock_);
    if (wishes_) {
        state = *wishes_;
    }
    return wishes_.has_value();
}

void PipelineRegisters::get(std::shared_ptr<FrameAudRaw>& frame) const {
    frame = std::dynamic_pointer_cast<FrameAudRaw>(frame_);
}

void PipelineRegisters::get(std::shared_ptr<FrameAud>& frame) const {
    frame = frame_;
}

IPipelineRenderer const* Pipeline::GetAudioRenderer() {
    return audioRenderer;
}

} // namespace Media

namespace Harbour {

/// What jobs and states keep, for the host itself.
struct JobAccess {
    static auto& FrameOf(Media::PipelineStageRenderJob& job) { return job.registers_.frame_; }
    static auto& StateOf(Media::PipelineStageRenderJob& job) { return job.state_; }
    static auto& ParamsOf(Media::PipelineStageRenderJob& job) { return job.params_; }
    static bool HasSucceeded(Media::PipelineStageRenderJob const& job) {
        return job.successes_ == 1 && job.aborts_ == 0;
    }
    static void Wish(Media::ClientWishes& state, Media::PipelineClientState_t const& wishes) {
        std::lock_guard<std::mutex> const guard(state.lock_);
        state.wishes_ = wishes;
    }
};

void UseRenderer(Media::IPipelineRenderer* renderer) {
    Media::audioRenderer = renderer;
}

boost::intrusive_ptr<Media::PipelineStageRenderJob> MakeJob(boost::intrusive_ptr<Media::PipelineState> state,
                                                            std::shared_ptr<Media::FrameAud> frame,
                                                            Kovra::JiffyTime presentation) {
    boost::intrusive_ptr<Media::PipelineStageRenderJob> job(new Media::PipelineStageRenderJob);
    JobAccess::StateOf(*job) = std::move(state);
    JobAccess::FrameOf(*job) = std::move(frame);
    JobAccess::ParamsOf(*job).presentationTime = presentation;
    return job;
}

bool HasSucceeded(Media::PipelineStageRenderJob const& job) {
    return JobAccess::HasSucceeded(job);
}

void Wish(Media::PipelineState& state, float volume, float balance) {
    Media::PipelineClientState_t wishes;
    wishes.volume = volume;
    wishes.balance = balance;
    JobAccess::Wish(state, wishes);
    state.UpdateClientState();
}

} // namespace Harbour
