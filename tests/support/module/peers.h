#pragma once

#include <functional>
#include <memory>

#include "directsound/creation.h"
#include "rendereraudiocapturebuffer.h"
#include "rendereraudiocapturebufferfields.h"
#include "rendereraudiocapturedevice.h"
#include "rendereraudiocapturedevicefields.h"
#include "rendereraudiocaptureproxy.h"
#include "rendereraudioplaybackbuffer.h"
#include "rendereraudioplaybackbufferfields.h"
#include "rendereraudioplaybackdevice.h"
#include "rendereraudioplaybackdevicefields.h"
#include "rendereraudioplaybackstate.h"

namespace Media {

// The tests' keys to what the module's classes keep to themselves.

struct RendererAudioPlaybackBufferPeer {
    using Fields = RendererAudioPlaybackBuffer::Fields;

    static Fields& GetFields(RendererAudioPlaybackBuffer& buffer) { return *buffer.fields_; }
};

struct RendererAudioPlaybackDevicePeer {
    using Fields = RendererAudioPlaybackDevice::Fields;

    static Fields& GetFields(RendererAudioPlaybackDevice& device) { return *device.fields_; }

    /// Opens DirectSound as `Open` does, but starts no playback thread: for tests in which the test's own
    /// thread is the only one.
    static void OpenWithoutThread(RendererAudioPlaybackDevice& device) {
        device.fields_->devices.EnumerateOnce(DirectSoundEnumerateA);
        DirectSound::CreateDevice(DirectSoundCreate8, device.fields_->sound);
        device.fields_->sound->SetCooperativeLevel(GetDesktopWindow(), DSSCL_PRIORITY);
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
    using Fields = RendererAudioCaptureBuffer::Fields;

    static Fields& GetFields(RendererAudioCaptureBuffer& buffer) { return *buffer.fields_; }
};

struct RendererAudioCaptureDevicePeer {
    using Fields = RendererAudioCaptureDevice::Fields;

    static Fields& GetFields(RendererAudioCaptureDevice& device) { return *device.fields_; }

    /// What a line-level thread knows of its device.
    static std::weak_ptr<Fields> GetWeakFields(RendererAudioCaptureDevice& device) { return device.fields_; }

    /// The line-level thread's function, on the calling thread.
    static void LineLevel(std::weak_ptr<Fields> const& state, std::function<bool(float)> const& callback) {
        RendererAudioCaptureDevice::LineLevel(state, callback);
    }

    static bool StartCaptureThread(RendererAudioCaptureDevice& device) { return device.StartCaptureThread(); }
};

struct RendererAudioCaptureProxyPeer {
    /// Null while capture is stopped.
    static std::shared_ptr<RendererAudioCaptureBuffer> GetBuffer(RendererAudioCaptureProxy const& proxy) {
        return proxy.GetBuffer();
    }
    /// What a line-level thread that waits for a buffer looks at.
    static bool HasBuffer(RendererAudioCaptureProxy const& proxy) { return proxy.HasBuffer(); }
    /// Null once the device has gone.
    static std::shared_ptr<RendererAudioCaptureDevice::Fields> GetDevice(RendererAudioCaptureProxy& proxy) {
        return proxy.device_.lock();
    }
};

} // namespace Media
