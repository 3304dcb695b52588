#pragma once

#include <cstdint>
#include <memory>

#include "arithmetic/ring.h"
#include "kovra/time.h"
#include "mediacore/frame.h"

namespace Media {

class RendererAudioPlaybackDevice;

/// The timed sound buffer of one session: a looping five-second ring that holds each frame where its
/// timestamp puts it, played so that the newest frame is heard at its presentation time.
///
/// **Threads:** everything but `Service` on the session's threads, one at a time, under the session's mutex.
/// `Service` on the playback thread, under the playback device's lock. A service pass and the session's
/// steps share no lock: the fields that both touch are atomic, and either may see the other half done.
/// **Ownership:** owned by the session state. Owns its DirectSound buffer; borrows the device.
/// **Units:** sample positions (two bytes of the ring) and nanoseconds, unless a name says otherwise.
class RendererAudioPlaybackBuffer {
public:
    /// Without a sound buffer. `device` must outlive the buffer.
    explicit RendererAudioPlaybackBuffer(RendererAudioPlaybackDevice& device);
    /// Unregisters from the device and releases the sound buffer.
    ~RendererAudioPlaybackBuffer();
    RendererAudioPlaybackBuffer(RendererAudioPlaybackBuffer const&) = delete;
    RendererAudioPlaybackBuffer& operator=(RendererAudioPlaybackBuffer const&) = delete;

    bool HasSoundBuffer() const;

    /// Creates the sound buffer for frames like `frame`, with its timestamp as the ring's origin, applies
    /// volume and balance, clears the ring and registers with the device. Does not start it.
    ///
    /// 0; -27 without an open device, a known output or a frame; -1 when the frame's rate is 0 or DirectSound
    /// refuses; -202 without memory. After a failure there is no sound buffer, and the next frame tries
    /// again.
    int CreateSoundBuffer(std::shared_ptr<FrameAud> const& frame);

    /// Writes `frame` where its timestamp puts it, decoding it first unless it is raw PCM. A frame of another
    /// rate than the last one rebuilds the sound buffer; one dated before the ring's origin clears the ring
    /// and becomes the new origin.
    ///
    /// False when the frame is dropped: null, not decodable, without data, or the ring could not be locked.
    bool WriteFrame(std::shared_ptr<FrameAud> const& frame);

    /// Starts playback so that the newest frame is heard at `presentationTime`, or keeps it in step by the
    /// playback frequency, or jumps when the newest frame lies more than 312.5 ms ahead of the play cursor,
    /// or stops it when the time lies in the past. While playing, it clears what has been played, and
    /// `presentationTime` comes back as the moment when the frame will be heard; at a start and at a stop it
    /// stays as it is. It also does, with nothing else done, when DirectSound does not tell the status or,
    /// while playing, the position; without the position this still counts as a presentation.
    void Present(Kovra::JiffyTime& presentationTime);

    /// The service pass: clears what has been played once the presentations have paused for half a second,
    /// and stops a buffer that has had none for more than a second and no new frame since the previous pass.
    void Service();

    /// Stores and applies a linear volume, 0.0 to 1.0; values outside are clamped as they are applied. Does
    /// nothing when the volume is the stored one, unless `force`.
    void SetVolume(float volume, bool force);

    /// Stores and applies a balance, 0.0 left to 1.0 right, clamped likewise. Does nothing when it is the
    /// stored one.
    void SetPan(float pan);

private:
    friend struct RendererAudioPlaybackBufferPeer;

    void ApplyVolume();
    void ApplyPan();
    void ReleaseSoundBuffer();

    void RebuildForRate(std::shared_ptr<FrameAud> const& frame);
    void PlaceFrame(std::int64_t timestampNanoSec);
    void CloseSmallGap();
    bool DecodeFrame(std::shared_ptr<FrameAud> const& frame);
    bool CopyToRing(std::uint32_t startPos, std::uint8_t const* data, std::uint32_t byteCount,
                    MediaCoding_t coding);
    void Clear(Ring::Stretch stretch);
    void ClearPlayed(std::uint32_t playPos);

    void StartPlayback(std::uint32_t startPos);
    void JumpTo(std::uint32_t startPos);
    void ControlDrift(Kovra::JiffyTime now, std::uint32_t lagSamples, std::uint32_t aheadSamples);
    void StopIdle(std::int32_t idleMilliSec);

    struct Fields;
    std::unique_ptr<Fields> const fields_;
};

} // namespace Media
