#include "rendereraudio.h"

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "directsound/statuscodes.h"
#include "pipeline/pipeline.h"
#include "pipeline/pipelinejob.h"
#include "rendereraudiolog.h"
#include "rendereraudioplaybackstate.h"

namespace Media {

namespace {

// Nothing is written to it: a host lists the channels that were asked for.
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
    std::atomic_store(&captureProxy_, std::shared_ptr<RendererAudioCaptureProxy>());
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
    std::shared_ptr<RendererAudioCaptureProxy> proxy = std::atomic_load(&captureProxy_);
    if (proxy != nullptr && proxy->IsInitialized()) {
        return proxy;
    }
    proxy.reset();
    std::atomic_store(&captureProxy_, proxy);
    if (!captureDevice_.IsOpen()) {
        captureDevice_.Initialize();
    }
    if (captureDevice_.IsOpen()) {
        try {
            proxy = std::make_shared<RendererAudioCaptureProxy>(captureDevice_);
        } catch (std::bad_alloc const&) {
            // No proxy, and the next call tries again.
        }
    }
    if (proxy != nullptr && !proxy->IsInitialized()) {
        proxy.reset();
    }
    std::atomic_store(&captureProxy_, proxy);
    return proxy;
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
