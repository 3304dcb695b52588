#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#include "mediacore/frame.h"
#include "rendereraudio/rendereraudio_c.h"
#include "rendereraudiocaptureproxy.h"

namespace Sdk {

class Engine;

/// An engine's hold on the microphone, read by the host or by a thread of its own that calls the host.
///
/// **Threads:** all operations from any thread; `Stop` by no callback.
/// **Ownership:** shares the engine and the renderer's proxy.
class Capture {
public:
    Capture(std::shared_ptr<Engine> engine, RaCaptureCallback callback, void* context);
    ~Capture();
    Capture(Capture const&) = delete;
    Capture& operator=(Capture const&) = delete;

    Engine& GetEngine() const { return *engine_; }

    /// Takes the renderer's proxy, starts capture, and the thread when there is a callback. Once, before all
    /// below but `Stop`. Fails without a microphone.
    RaStatus Start();
    /// Ends both, if started; nothing comes afterwards.
    void Stop();

    /// As RaCaptureReadFrame; `samples` has room for a frame. On failure both are left as they are.
    RaStatus ReadFrame(RaCapturedFrame& frame, std::int16_t* samples);
    float GetLevel() const { return proxy_->GetLineLevel(); }
    RaStatus Restart();

private:
    RaStatus Begin();
    RaStatus Take(RaCapturedFrame& frame, std::int16_t* samples);
    void Run();

    std::shared_ptr<Engine> const engine_;
    RaCaptureCallback const callback_;
    void* const context_;
    // --- written by Start
    std::shared_ptr<Media::RendererAudioCaptureProxy> proxy_;
    std::mutex lock_;
    std::condition_variable stopped_;
    // --- guarded by lock
    std::deque<std::shared_ptr<Media::FrameAud>> waiting_;
    bool isStopped_ = true;
    // --- used by Start and Stop only
    std::thread thread_;
};

} // namespace Sdk
