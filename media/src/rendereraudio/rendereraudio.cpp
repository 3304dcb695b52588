#include "rendereraudio.h"

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "pipeline/pipeline.h"
#include "pipeline/pipelinejob.h"
#include "rendereraudiocodes.h"
#include "rendereraudiolog.h"
#include "rendereraudioplaybackstate.h"

namespace Media {

namespace {

[[maybe_unused]] std::shared_ptr<Kovra::LoggerFacade> const logger = FetchLogger("Media.RendererAudio");

std::shared_ptr<FrameAud> TakeFrame(PipelineRegisters const& registers) {
    std::shared_ptr<FrameAudRaw> raw;
    registers.get(raw);
    if (raw != nullptr) {
        return raw;
    }
    std::shared_ptr<FrameAud> frame;
    registers.get(frame);
    return frame;
}

void RenderJob(PipelineStageRenderJob& job) {
    auto const& state = job.State();
    if (state == nullptr) {
        job.Abort();
        return;
    }
    std::shared_ptr<FrameAud> const frame = TakeFrame(job.Registers());
    job.GetPresentationTimestamp() = job.Params()->presentationTime;
    if (frame == nullptr) {
        return;
    }
    // The pipeline hands back what RegisterSession gave it.
    auto& session = static_cast<RendererAudioPlaybackState&>(*state);
    if (session.Render(frame, job.GetPresentationTimestamp())) {
        job.Success();
    }
}

} // namespace

RendererAudio::RendererAudio() = default;

RendererAudio::~RendererAudio() {
    // Qualified: during destruction no derived class is asked.
    if (RendererAudio::IsEnabled()) {
        RendererAudio::Shutdown();
    }
}

RendererAudio const* RendererAudio::Instance() {
    return dynamic_cast<RendererAudio const*>(Pipeline::GetAudioRenderer());
}

int RendererAudio::Initialize() {
    if (IsEnabled()) {
        return Status::Success;
    }
    try {
        int const status = playbackDevice_.Open();
        // A machine without a sound driver is a machine that plays nothing, not one that cannot start.
        if (status != Status::Success && status != Status::NoDriver) {
            return status;
        }
    } catch (...) {
        return Status::OutOfMemory;
    }
    enabled_.store(true, std::memory_order_release);
    captureDevice_.Initialize();
    return Status::Success;
}

void RendererAudio::Shutdown() {
    captureProxy_.reset();
    playbackDevice_.Close();
    captureDevice_.Close();
    enabled_.store(false, std::memory_order_release);
}

bool RendererAudio::IsEnabled() const {
    return enabled_.load(std::memory_order_acquire);
}

RendererAudio::Params_t::Type_t RendererAudio::GetType() const {
    return Params_t::Audio;
}

RendererAudio::Params_t::SubType_t RendererAudio::GetSubType() const {
    return Params_t::System;
}

void RendererAudio::RegisterSession(PipelineSessionParams_t& params,
                                    boost::intrusive_ptr<PipelineState>& state) {
    if (!params.renderAudio) {
        return;
    }
    try {
        if (playbackDevice_.Open() < Status::Success) {
            return;
        }
        state = boost::intrusive_ptr<PipelineState>(new RendererAudioPlaybackState(playbackDevice_));
    } catch (...) {
        // Out of memory or threads: the session is refused, and `state` says so.
    }
}

std::shared_ptr<RendererAudioCaptureProxy> RendererAudio::GetCaptureProxy() const {
    boost::mutex::scoped_lock const guard(proxyMutex_);
    if (captureProxy_ != nullptr && captureProxy_->IsInitialized()) {
        return captureProxy_;
    }
    captureProxy_.reset();
    if (!captureDevice_.IsOpen()) {
        captureDevice_.Initialize();
    }
    if (captureDevice_.IsOpen()) {
        try {
            auto proxy = std::make_shared<RendererAudioCaptureProxy>(captureDevice_);
            if (proxy->IsInitialized()) {
                captureProxy_ = std::move(proxy);
            }
        } catch (std::bad_alloc const&) {
            // No proxy, and the next call tries again.
        }
    }
    return captureProxy_;
}

bool RendererAudio::GetLineLevelCallbacks(std::function<bool(float)> const& callback) const {
    if (!captureDevice_.IsOpen() && captureDevice_.Initialize() != Status::Success) {
        return false;
    }
    try {
        return captureDevice_.StartLineLevel(callback);
    } catch (...) {
        // Out of memory or threads, or a callback that cannot be copied.
        return false;
    }
}

void RendererAudio::Divide(boost::intrusive_ptr<PipelineStageRenderJob> const& job) {
    if (job == nullptr) {
        return;
    }
    try {
        RenderJob(*job);
    } catch (...) {
        // A codec without memory, say: the frame is lost and the job stays uncompleted.
    }
}

} // namespace Media
