#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "mediacore/frame.h"
#include "rendereraudiocapturedevice.h"

namespace Media {

/// One looping five-second capture buffer of the microphone, read in blocks of 20 ms: 48000 Hz, mono, 16
/// bits.
///
/// Wanted: frames and meter share one read position, so that a block goes to whichever reads it first; what
/// is not read within five seconds is overwritten unnoticed (docs/kept-behaviour.md).
///
/// **Threads:** all operations from any thread; each holds the buffer's lock for its whole run.
/// **Ownership:** owns its DirectSound buffer; borrows the device, which may be gone before it.
class RendererAudioCaptureBuffer {
public:
    /// Without a DirectSound buffer. Throws `std::bad_alloc`.
    explicit RendererAudioCaptureBuffer(RendererAudioCaptureDevice::WeakFields device);
    /// Does what `Close` does.
    ~RendererAudioCaptureBuffer();
    RendererAudioCaptureBuffer(RendererAudioCaptureBuffer const&) = delete;
    RendererAudioCaptureBuffer& operator=(RendererAudioCaptureBuffer const&) = delete;

    /// Creates the DirectSound buffer, registers with the device and starts capture.
    ///
    /// 0; -27 without an open device or a known input; -43 when it was created before; -1 when DirectSound
    /// refuses. Whether capture really started is not asked. Throws `std::bad_alloc`.
    int Create();

    /// Stops capture, unregisters and releases the DirectSound buffer: reads give -27 from here on. Does
    /// nothing without one.
    void Close();

    /// Starts capture again and dates the next frame now; the read position and the frame number go on. Does
    /// nothing without a DirectSound buffer.
    void StartCapture();

    /// Stops capture; what has been captured can still be read. Does nothing without a DirectSound buffer.
    void StopCapture();

    /// There is a DirectSound buffer.
    bool IsInitialized() const;

    /// Appends one raw frame, named "Microphone", for each whole block captured since the last read, and
    /// meters it. A read that wraps round the end of the ring leaves out the blocks behind it.
    ///
    /// 0 when `frames` holds any frame afterwards, its own included; -10 when it holds none; -27 without a
    /// DirectSound buffer; -30 with less than a block captured; -202, -41, -120 or -1 when the position
    /// cannot be read; -202 also without memory for the list of frames, when nothing is read or lost. A frame
    /// without memory of its own is lost with those behind it, and the status is that of what was appended.
    int ReadFrames(std::vector<std::shared_ptr<FrameAud>>& frames);

    /// Reads every whole block captured since the last read for the meter alone; makes no frames, leaves none
    /// out. 0 when there was one; else as `ReadFrames`.
    int SampleLineLevel();

    /// Level of the last 16 blocks read, 0.0 (silence) to 1.0; 0 before the first.
    float GetLineLevel();

private:
    friend struct RendererAudioCaptureBufferPeer;

    void ReleaseDirectSoundBuffer();
    int FindWholeBlocks(std::uint32_t& blocks) const;
    void Advance(std::uint32_t samples);
    bool AppendFrame(std::uint8_t const* block, std::vector<std::shared_ptr<FrameAud>>& frames);

    struct Fields;
    std::unique_ptr<Fields> const fields_;
};

} // namespace Media
