#pragma once

#include <boost/thread/mutex.hpp>
#include <memory>

#include "kovra/time.h"
#include "mediacore/frame.h"
#include "pipeline/pipelinestate.h"
#include "rendereraudioplaybackbuffer.h"

namespace Media {

class RendererAudioPlaybackDevice;

/// What the renderer keeps for one playback session: its timed sound buffer, and the mutex that serialises
/// all work of the session on it.
///
/// **Threads:** `Render` and `UpdateClientState` from any thread, also at once: the mutex orders them. It is
/// taken before the playback device's lock.
/// **Ownership:** counted by the pipeline, destroyed with the last reference. Borrows the device.
class RendererAudioPlaybackState final : public PipelineStateExclusive {
public:
    /// Without a sound buffer: the first frame creates it. `device` must outlive the state.
    explicit RendererAudioPlaybackState(RendererAudioPlaybackDevice& device);
    ~RendererAudioPlaybackState() override;

    /// Creates the sound buffer for `frame` if there is none, writes the frame and presents it, so that it is
    /// heard at `presentation`. `presentation` comes back as the time when it will be heard, where that was
    /// measured. The frame is presented even when it could not be written.
    ///
    /// True when the frame was written; false for a null frame and without a sound buffer.
    bool Render(std::shared_ptr<FrameAud> const& frame, Kovra::JiffyTime& presentation);

    bool HasSoundBuffer() const;

    /// Applies the client's volume and balance, or keeps them for the sound buffer to come. False when the
    /// client has set nothing.
    bool UpdateClientState() override;

private:
    friend struct RendererAudioPlaybackStatePeer;

    // --- guarded by bufferMutex_
    RendererAudioPlaybackBuffer buffer_;

    mutable boost::mutex bufferMutex_;
};

} // namespace Media
