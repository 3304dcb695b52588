#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "mediacore/frame.h"
#include "rendereraudiocapturedevice.h"
#include "rendereraudioexport.h"

namespace Media {

class RendererAudioCaptureBuffer;

/// The host's hold on the microphone: starts and stops capture, gives the captured frames and the line level.
/// Got from `RendererAudio::GetCaptureProxy`; all holders share one capture.
///
/// **Threads:** all operations from any thread; `StartBufferCapture` and `StopBufferCapture` from one at a
/// time. A read that overlaps a stop gives what it still can, or -27.
/// **Ownership:** shared. May be kept longer than the renderer; started after that it captures nothing.
/// Nothing is thrown.
class RendererAudioCaptureProxy {
public:
    /// Starts capture on `device`; `IsInitialized` tells whether that went well.
    RENDERERAUDIO_API explicit RendererAudioCaptureProxy(RendererAudioCaptureDevice& device);
    /// Stops capture.
    RENDERERAUDIO_API ~RendererAudioCaptureProxy();
    RendererAudioCaptureProxy(RendererAudioCaptureProxy const&) = delete;
    RendererAudioCaptureProxy& operator=(RendererAudioCaptureProxy const&) = delete;

    /// Starts capture anew after `StopBufferCapture`: frame numbers begin at 0, frames are dated from now.
    /// While there is capture it is only restarted, with the next frame dated now; frame numbers go on.
    RENDERERAUDIO_API void StartBufferCapture();

    /// Ends capture; what has not been read is lost. Does nothing when it has been ended.
    RENDERERAUDIO_API void StopBufferCapture();

    /// Appends one raw frame of 20 ms (48000 Hz, mono, 16 bits, source "Microphone") for each that was
    /// captured since the last read of frames or level. Read every 10 to 20 ms to lose nothing, and at least
    /// every few hundred milliseconds: blocks behind the end of the five-second ring are left out by the read
    /// that passes it, more of them the later it comes, and after five seconds everything is overwritten,
    /// unnoticed.
    ///
    /// 0 when `frames` is not empty afterwards; -10 when it is; -30 when nothing is there yet, or capture has
    /// been stopped; -27 when capture could not be started; -1, -41, -120 or -202 when the device fails; -202
    /// also without memory for the list of frames, when nothing is lost. A frame without memory of its own is
    /// lost with those behind it, and the status is 0 or -10 by what `frames` holds.
    RENDERERAUDIO_API int ReadFrames(std::vector<std::shared_ptr<FrameAud>>& frames);

    /// Reads what was captured since the last read for the level alone: `ReadFrames` will not see it.
    /// Statuses as there, but 0 when capture has been stopped.
    RENDERERAUDIO_API int SampleLineLevel();

    /// Peak-to-peak level of the last 320 ms read, 0.0 (silence) to 1.0 (full scale), where a range of s of
    /// full scale shows as s to the power of 0.65625; 0.0 when capture has been stopped.
    RENDERERAUDIO_API float GetLineLevel() const;

    /// Capture could be started when that was last tried. Stopping does not change it.
    RENDERERAUDIO_API bool IsInitialized() const;

private:
    friend class RendererAudioCaptureDevice;
    friend struct RendererAudioCaptureProxyPeer;

    void CreateBuffer();
    std::shared_ptr<RendererAudioCaptureBuffer> GetBuffer() const;
    /// To be asked in a spin: takes no lock that another thread could wait for, as reading `buffer_` may.
    bool HasBuffer() const { return hasBuffer_.load(std::memory_order_acquire); }

    /// Null while stopped. Replaced and read atomically: a read that has begun keeps its buffer.
    std::shared_ptr<RendererAudioCaptureBuffer> buffer_;
    std::atomic<bool> hasBuffer_{false};
    /// Gone once the device is.
    RendererAudioCaptureDevice::WeakFields const device_;
    std::atomic<int> status_;
};

} // namespace Media
