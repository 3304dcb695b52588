#pragma once

#include <functional>
#include <memory>

namespace Media {

class RendererAudioCaptureBuffer;

/// The module's one DirectSound capture input: the system's default capture device, the registry of the live
/// capture buffers, and the threads that read the microphone.
///
/// **Threads:** all operations from any thread, but `Close` and destruction, beside which nothing opens the
/// device or starts its draining thread. Line-level threads run detached: `Close` does not wait for them, and
/// they do not need the device to outlive them.
/// **Ownership:** owned by the renderer. Owns DirectSound, the draining thread and the events; holds plain
/// pointers to the buffers.
class RendererAudioCaptureDevice {
public:
    struct Fields;
    /// The hold of what may outlive the device on what it keeps.
    using WeakFields = std::weak_ptr<Fields>;

    /// Closed, with no device known. Creates the wake event.
    RendererAudioCaptureDevice();
    /// Closes the device and frees the wake event.
    ~RendererAudioCaptureDevice();
    RendererAudioCaptureDevice(RendererAudioCaptureDevice const&) = delete;
    RendererAudioCaptureDevice& operator=(RendererAudioCaptureDevice const&) = delete;

    /// Enumerates the inputs unless some are known, then does what `Open` does.
    ///
    /// 0; -26 (enumeration failed: no device is known then), and the statuses of `Open`.
    int Initialize();

    /// Creates DirectSound capture on the system's default input and reads its capabilities. Does nothing
    /// when open.
    ///
    /// 0; the statuses of `StatusOfCreateFailure`; -1 (no capabilities). A failure of creation without a
    /// status of its own gives 0 with the device still closed.
    int Open();

    /// Ends the draining thread and releases DirectSound. Does nothing when closed. Known devices and
    /// registered buffers stay; line-level threads end by themselves.
    void Close();

    /// The device is open and at least one input is known.
    bool IsOpen() const;

    WeakFields GetWeakFields() const { return fields_; }

    /// Starts one more line-level thread, "Media.RendererAudio.LineLevel". It meters what the renderer's
    /// capture proxy captures and calls its own copy of `callback` with the level, about every 20 ms, until
    /// that returns false or the device is closed.
    ///
    /// False when the device is not open, no input is known or `callback` is empty; passes through what
    /// thread creation throws.
    bool StartLineLevel(std::function<bool(float)> const& callback);

private:
    friend struct RendererAudioCaptureDevicePeer;

    static void LineLevel(WeakFields const& device, std::function<bool(float)> const& callback);

    /// Starts the thread that reads the microphone for nobody, through a capture buffer of its own, whose
    /// meter nobody sees. Nothing in the module asks for it. False when the device is closed or the thread
    /// runs.
    bool StartCaptureThread();
    void RunCaptureThread();

    /// Shared with nobody for long: what may outlive the device holds it weakly.
    std::shared_ptr<Fields> const fields_;
};

} // namespace Media
