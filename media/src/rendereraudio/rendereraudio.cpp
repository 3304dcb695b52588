#include "rendereraudio.h"

#include <memory>
#include <string>
#include <utility>

#include "directsound/hold.h"
#include "directsound/statuscodes.h"
#include "pipeline/pipeline.h"
#include "pipeline/pipelinejob.h"
#include "rendereraudioguarded.h"
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
    // Wanted: only this aborts; whatever else fails leaves the job uncompleted (docs/kept-behaviour.md).
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
    return Guarded(static_cast<RendererAudio const*>(nullptr),
                   [] { return dynamic_cast<RendererAudio const*>(Pipeline::GetAudioRenderer()); });
}

int RendererAudio::Initialize() {
    if (IsEnabled()) {
        return Status::Success;
    }
    int const status = Guarded(Status::OutOfMemory, [&] { return playbackDevice_.Open(); });
    // Wanted: no sound driver is accepted here, and refused by RegisterSession (docs/kept-behaviour.md).
    if (status != Status::Success && status != Status::NoDriver) {
        return status;
    }
    enabled_.store(true, std::memory_order_release);
    Guarded([&] { captureDevice_.Initialize(); });
    return Status::Success;
}

void RendererAudio::Shutdown() {
    // Wanted: no session is stopped (docs/kept-behaviour.md).
    // Each by itself: none must keep the next from being closed.
    Guarded([&] { std::atomic_store(&captureProxy_, std::shared_ptr<RendererAudioCaptureProxy>()); });
    Guarded([&] { playbackDevice_.Close(); });
    Guarded([&] { captureDevice_.Close(); });
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
    // Out of memory or threads, the session is refused: `state` stays as it is.
    Guarded([&] {
        if (playbackDevice_.Open() >= Status::Success) {
            state = boost::intrusive_ptr<PipelineState>(new RendererAudioPlaybackState(playbackDevice_));
        }
    });
}

std::shared_ptr<RendererAudioCaptureProxy> RendererAudio::GetCaptureProxy() const {
    return Guarded(std::shared_ptr<RendererAudioCaptureProxy>(), [this] {
        auto const guard = Hold(proxyMutex_);
        std::shared_ptr<RendererAudioCaptureProxy> proxy = std::atomic_load(&captureProxy_);
        if (proxy != nullptr && proxy->IsInitialized()) {
            return proxy;
        }
        // What throws from here on leaves none, and the next call tries again.
        proxy.reset();
        std::atomic_store(&captureProxy_, proxy);
        if (!captureDevice_.IsOpen()) {
            captureDevice_.Initialize();
        }
        if (captureDevice_.IsOpen()) {
            proxy = std::make_shared<RendererAudioCaptureProxy>(captureDevice_);
        }
        if (proxy != nullptr && !proxy->IsInitialized()) {
            proxy.reset();
        }
        std::atomic_store(&captureProxy_, proxy);
        return proxy;
    });
}

bool RendererAudio::GetLineLevelCallbacks(std::function<bool(float)> const& callback) const {
    // Out of memory or threads, or with a callback that cannot be copied, no thread is started.
    return Guarded(false, [&] {
        bool const isOpen = captureDevice_.IsOpen() || captureDevice_.Initialize() == Status::Success;
        return isOpen && captureDevice_.StartLineLevel(callback);
    });
}

void RendererAudio::Divide(boost::intrusive_ptr<PipelineStageRenderJob> const& job) {
    // A codec without memory, say, loses the frame: the job stays uncompleted.
    Guarded([&] {
        if (job != nullptr) {
            RenderJob(*job);
        }
    });
}

} // namespace Media
