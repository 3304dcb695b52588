#pragma once

#include <atomic>
#include <boost/smart_ptr/intrusive_ptr.hpp>

#include "pipeline/ipipelinerenderer.h"
#include "pipeline/pipelinesessionparams.h"
#include "pipeline/pipelinestate.h"
#include "rendereraudioexport.h"
#include "rendereraudioplaybackdevice.h"

namespace Media {

/// The audio renderer of the host's media pipeline: the module's entry point. It owns the playback device
/// that all sessions share.
///
/// Expected of the host: construct; `Initialize`; any number of `RegisterSession` and `Divide`; `Shutdown`;
/// destroy after the last session's state has been released.
///
/// **Threads:** `Divide` and `RegisterSession` from any of the pipeline's threads at once. `Initialize`,
/// `Shutdown` and destruction from one thread, while no other is inside the renderer.
/// **Ownership:** the host's. Nothing is thrown but by the constructor, without memory.
class RENDERERAUDIO_API RendererAudio : public IPipelineRenderer {
public:
    RendererAudio();
    /// Shuts down if enabled.
    ~RendererAudio() override;
    RendererAudio(RendererAudio const&) = delete;
    RendererAudio& operator=(RendererAudio const&) = delete;

    /// The renderer that the pipeline uses for audio, or null when it uses none or one of another class.
    static RendererAudio const* Instance();

    /// Opens the playback device. 0 when it is open, when the machine has no sound driver, when DirectSound
    /// fails with a code that has no status of its own, and when the renderer is enabled already; else a
    /// negative status, and the renderer stays disabled: -26 (outputs cannot be enumerated), -41 (invalid
    /// argument), -200 (taken by another program), -202 (out of memory or threads), -1 (cooperative level
    /// refused).
    int Initialize() override;

    /// Closes the playback device, also when the renderer is not enabled.
    void Shutdown() override;

    /// True from a successful `Initialize` to `Shutdown`. Any thread.
    bool IsEnabled() const override;

    Params_t::Type_t GetType() const override;
    Params_t::SubType_t GetSubType() const override;

    /// Puts the state of a new session into `state`, releasing what it held. Leaves it untouched when the
    /// session wants no audio or the playback device cannot be opened; no sound driver counts as that here.
    void RegisterSession(PipelineSessionParams_t& params,
                         boost::intrusive_ptr<PipelineState>& state) override;

    /// Renders one frame of the session whose state the job carries; a raw frame goes before a coded one.
    /// Succeeds the job when its frame was written and aborts it when it has no state. Every other failure
    /// leaves it uncompleted. The job's presentation timestamp is set to the requested time, then to the
    /// achieved one where that was measured. A null job is ignored.
    void Divide(boost::intrusive_ptr<PipelineStageRenderJob> const& job) override;

private:
    RendererAudioPlaybackDevice playbackDevice_;
    std::atomic<bool> enabled_{false};
};

} // namespace Media
