#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "arithmetic/ring.h"
#include "codec/audiocodecproxy.h"
#include "directsound/directsound.h"
#include "kovra/buffer.h"
#include "kovra/time.h"
#include "primitives/primitives.h"
#include "rendereraudioplaybackbuffer.h"

namespace Media {

constexpr std::size_t DspStateAlignmentBytes = 16;

inline boost::intrusive_ptr<Kovra::Buffer> CreateDspState() {
    std::int32_t sizeBytes = 0;
    Primitives::GetProcessingStateSize(&sizeBytes);
    auto state = Kovra::Buffer::Create(static_cast<std::size_t>(sizeBytes), DspStateAlignmentBytes);
    Primitives::InitProcessingState(state->GetData());
    return state;
}

/// The playback buffer's data. Written on the session's threads and read there, unless a comment names the
/// playback thread; what both touch is atomic.
struct RendererAudioPlaybackBuffer::Fields {
    explicit Fields(RendererAudioPlaybackDevice& device_) : device(&device_) {}

    /// Borrowed; never null.
    RendererAudioPlaybackDevice* const device;
    /// What `soundBuffer` was made by, and null with it: DirectSound frees its buffers when its last
    /// reference goes, and the device may be closed before the session ends.
    boost::intrusive_ptr<IDirectSound8> sound;
    /// Null until created. Read by the playback thread too, which knows the buffer only while it is set.
    boost::intrusive_ptr<IDirectSoundBuffer8> soundBuffer;
    /// `soundBuffer`'s notification interface; may be null beside it: the playback thread's timeout alone
    /// services the buffer then.
    boost::intrusive_ptr<IDirectSoundNotify> notify;
    /// The one notification point: the byte behind the written data, which DirectSound is told at the start
    /// alone, and the device's event.
    std::unique_ptr<DSBPOSITIONNOTIFY> const notifyPosition = std::make_unique<DSBPOSITIONNOTIFY>();
    /// Work memory of signal processing. Wanted, though nobody reads it (docs/kept-behaviour.md).
    boost::intrusive_ptr<Kovra::Buffer> const dspState = CreateDspState();
    /// Ring length; 0 before the first creation.
    std::uint32_t ringSamples = 0;
    /// Rate of the frame that created the sound buffer, in Hz.
    std::uint32_t sourceFrequency = 0;
    /// Last given to `SetFrequency`, in Hz; 0 before the first start.
    std::uint32_t playFrequency = 0;
    /// Bytes a sample position.
    std::uint32_t bytesPerSample = Ring::SampleSizeBytes;
    /// Position of the latest frame's first sample. Read by the playback thread.
    std::atomic<std::uint32_t> writePos{0};
    /// Position just behind the latest frame's last sample.
    std::uint32_t writeEnd = 0;
    /// Position up to which played data is cleared. Written by both threads.
    std::atomic<std::uint32_t> clearedEnd{0};
    /// `writePos` at the end of the previous service pass. Playback thread only.
    std::uint32_t lastServicedWritePos = 0;
    /// Drift accumulators, in samples, wrapping.
    std::uint32_t measuredLagSum = 0;
    std::uint32_t expectedLagSum = 0;
    /// Nanoseconds a sample position; 1 before the first creation.
    std::int64_t nsPerSample = 1;
    /// Timestamp at ring position 0, in nanoseconds. Wanted: 0 means none (docs/kept-behaviour.md). Cleared
    /// by the playback thread.
    std::atomic<std::int64_t> baseTimestamp{0};
    /// When the presentation step last ran to its end; construction counts as such, so that a session whose
    /// presentations all fail goes idle a second after its last frame. Read by the playback thread.
    std::atomic<Kovra::JiffyTime> lastPresentTime{Kovra::JiffyTime::Now()};
    Kovra::JiffyTime driftWindowStart = Kovra::JiffyTime::Now();
    /// Linear, as the client gave it.
    float volume = 1.0F;
    /// 0.0 left to 1.0 right, as the client gave it.
    float pan = 0.5F;
    /// The ring's value at the end of the last region written. Wanted likewise.
    std::uint16_t lastSample = 0;
    /// Set by every frame written, cleared by the playback thread's idle stop.
    std::atomic<std::uint8_t> active{0};
    AudioCodecProxy codec;
    /// What the last decode produced; empty if nothing.
    std::shared_ptr<FrameAud> decodedFrame;
};

static_assert(std::atomic<Kovra::JiffyTime>::is_always_lock_free,
              "the service pass must not wait for the session");

} // namespace Media
