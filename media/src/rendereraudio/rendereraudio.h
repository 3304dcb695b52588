#pragma once

#include <atomic>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/thread/mutex.hpp>
#include <functional>
#include <memory>

#include "pipeline/ipipelinerenderer.h"
#include "pipeline/pipelinesessionparams.h"
#include "pipeline/pipelinestate.h"
#include "rendereraudiocapturedevice.h"
#include "rendereraudiocaptureproxy.h"
#include "rendereraudioexport.h"
#include "rendereraudioplaybackdevice.h"

namespace Media {

/// The audio renderer of the host's media pipeline: the module's entry point. It owns the playback device
/// that all sessions share, and the capture device with the one capture that all who listen share.
///
/// Expected of the host: construct; `Initialize`; any number of `RegisterSession` and `Divide`; `Shutdown`;
/// destroy after the last session's state has been released.
///
/// **Threads:** `Divide`, `RegisterSession`, `GetCaptureProxy` and `GetLineLevelCallbacks` from any threads
/// at once. `Initialize`, `Shutdown` and destruction from one thread, while no other is inside the renderer.
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

    /// Opens the playback device, then the capture device, whose failure is none of the renderer's: whoever
    /// asks for the microphone tries again. 0 when it is open, when the machine has no sound driver, when
    /// DirectSound fails with a code that has no status of its own, and when the renderer is enabled already;
    /// else a negative status, and the renderer stays disabled: -26 (outputs cannot be enumerated), -41
    /// (invalid argument), -200 (taken by another program), -202 (out of memory or threads), -1 (cooperative
    /// level refused).
    int Initialize() override;

    /// Lets go of the capture proxy, which lives on with its other holders, and closes both devices, also
    /// when the renderer is not enabled. Line-level threads find the device closed after their next sleep of
    /// 20 ms and end by themselves; it does not wait for them.
    ///
    /// It stops no session: one that was playing keeps its sound buffer and DirectSound's object. Without the
    /// playback thread nothing clears or stops it once its frames end, and what is left in its ring is heard
    /// again every five seconds until the pipeline releases its state.
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

    /// The one proxy through which all holders share the microphone; capture runs when it is returned for the
    /// first time. Empty when capture cannot be started; each call tries again.
    std::shared_ptr<RendererAudioCaptureProxy> GetCaptureProxy() const;

    /// Starts one more line-level thread, which calls its own copy of `callback` with the microphone's level
    /// (0.0 to 1.0) about every 20 ms until `callback` returns false or the capture device closes. The
    /// callback runs on that thread, holds no lock, and must not throw. False, with no thread started, when
    /// `callback` is empty or there is no microphone to open.
    ///
    /// The thread reads the same capture as the proxy's frames: what it meters, `ReadFrames` does not get.
    bool GetLineLevelCallbacks(std::function<bool(float)> const& callback) const;

private:
    RendererAudioPlaybackDevice playbackDevice_;
    // Opened by `Initialize`, and again by whoever asks for the microphone while it is closed.
    mutable RendererAudioCaptureDevice captureDevice_;
    mutable boost::mutex proxyMutex_;
    /// Read and written atomically: `Shutdown` drops it without the mutex.
    mutable std::shared_ptr<RendererAudioCaptureProxy> captureProxy_;
    std::atomic<bool> enabled_{false};
};

} // namespace Media

// Beside the installed headers stands what the library was built with; it refuses a program that differs.
#if __has_include("rendereraudiobuild.h")
#include "rendereraudiobuild.h"
#endif
