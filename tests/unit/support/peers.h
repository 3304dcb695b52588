#pragma once

#include <functional>
#include <memory>

#include "rendereraudiocapturebuffer.h"
#include "rendereraudiocapturedevice.h"
#include "rendereraudiocapturedevicestate.h"
#include "rendereraudiocaptureproxy.h"
#include "rendereraudiocapturerecord.h"
#include "rendereraudioplaybackbuffer.h"
#include "rendereraudioplaybackdevice.h"
#include "rendereraudioplaybackdevicestate.h"
#include "rendereraudioplaybackrecord.h"
#include "rendereraudioplaybackstate.h"

namespace Media {

// The tests' keys to what the module's classes keep to themselves.

struct RendererAudioPlaybackBufferPeer {
    using Record = RendererAudioPlaybackBuffer::Record;

    static Record& GetRecord(RendererAudioPlaybackBuffer& buffer) { return *buffer.record_; }
    static bool DecodeFrame(RendererAudioPlaybackBuffer& buffer, std::shared_ptr<FrameAud> const& frame) {
        return buffer.DecodeFrame(frame);
    }
    static bool CopyToRing(RendererAudioPlaybackBuffer& buffer, std::uint32_t startPos,
                           std::uint32_t byteCount, std::uint8_t const* data, MediaCoding_t coding) {
        return buffer.CopyToRing(startPos, byteCount, data, coding);
    }
    static bool ClearRange(RendererAudioPlaybackBuffer& buffer, std::uint32_t startPos, std::uint32_t count) {
        return buffer.ClearRange(startPos, count);
    }
};

struct RendererAudioPlaybackDevicePeer {
    using State = RendererAudioPlaybackDevice::State;

    static State& GetState(RendererAudioPlaybackDevice& device) { return *device.state_; }

    /// Opens DirectSound as `Open` does, but starts no playback thread: for tests in which the test's own
    /// thread is the only one.
    static void OpenWithoutThread(RendererAudioPlaybackDevice& device) {
        DirectSoundEnumerateA(RecordEnumeratedDevice, &device.state_->devices);
        IDirectSound8* created = nullptr;
        DirectSoundCreate8(nullptr, &created, nullptr);
        device.state_->sound = AdoptReference(created);
        device.state_->sound->SetCooperativeLevel(GetDesktopWindow(), DSSCL_PRIORITY);
    }

    /// The playback thread's function, on the calling thread.
    static void RunPlaybackThread(RendererAudioPlaybackDevice& device) { device.RunPlaybackThread(); }

    /// One turn of the playback thread's loop, on the calling thread.
    static void WaitAndService(RendererAudioPlaybackDevice& device) { device.WaitAndService(); }
};

struct RendererAudioPlaybackStatePeer {
    static RendererAudioPlaybackBuffer& GetBuffer(RendererAudioPlaybackState& state) { return state.buffer_; }
};

struct RendererAudioCaptureBufferPeer {
    using Record = RendererAudioCaptureBuffer::Record;

    static Record& GetRecord(RendererAudioCaptureBuffer& buffer) { return *buffer.record_; }
};

struct RendererAudioCaptureDevicePeer {
    using State = RendererAudioCaptureDevice::State;

    static State& GetState(RendererAudioCaptureDevice& device) { return *device.state_; }

    /// What a line-level thread knows of its device.
    static std::weak_ptr<State> GetWeakState(RendererAudioCaptureDevice& device) { return device.state_; }

    /// The line-level thread's function, on the calling thread.
    static void LineLevel(std::weak_ptr<State> const& state, std::function<bool(float)> const& callback) {
        RendererAudioCaptureDevice::LineLevel(state, callback);
    }

    static bool StartCaptureThread(RendererAudioCaptureDevice& device) { return device.StartCaptureThread(); }
};

struct RendererAudioCaptureProxyPeer {
    /// Null while capture is stopped.
    static std::shared_ptr<RendererAudioCaptureBuffer> GetBuffer(RendererAudioCaptureProxy const& proxy) {
        return proxy.GetBuffer();
    }
    static RendererAudioCaptureDevice& GetDevice(RendererAudioCaptureProxy& proxy) { return proxy.device_; }
};

} // namespace Media
