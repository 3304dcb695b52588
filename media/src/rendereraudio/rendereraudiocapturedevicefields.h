#pragma once

#include <boost/thread/mutex.hpp>

#include "directsound/devicetable.h"
#include "directsound/devicethread.h"
#include "directsound/directsound.h"
#include "directsound/hold.h"
#include "directsound/registry.h"
#include "rendereraudiocapturedevice.h"

namespace Media {

/// The capture device's data.
struct RendererAudioCaptureDevice::Fields {
    Fields() { caps.dwSize = sizeof(caps); }

    /// DirectSound has been opened, whether or not an input is known.
    bool HasCapture() const {
        auto const guard = Hold(lock);
        return capture != nullptr;
    }

    /// The object to create capture buffers with; null unless it is there and at least one input is known.
    boost::intrusive_ptr<IDirectSoundCapture8> GetUsableCapture() const {
        auto const guard = Hold(lock);
        return devices.IsEmpty(guard) ? nullptr : capture;
    }

    /// Null while closed. Written by `Open` and `Close`, read by the threads that poll for the closing; all
    /// under `lock`.
    boost::intrusive_ptr<IDirectSoundCapture8> capture;

    /// Read once at the opening; for debuggers.
    DSCCAPS caps{};

    /// The draining thread.
    DirectSound::ThreadPointer captureThread{nullptr};

    /// Held while DirectSound is created, and by every change of the lists, the table and `capture`. Taken
    /// after a buffer's lock, never before it.
    mutable boost::mutex lock;

    /// Written by the threads that create and free capture buffers. Nothing waits on the events: the capture
    /// side polls.
    DirectSound::Registry<RendererAudioCaptureBuffer> registry{lock};

    /// Written by `Initialize`.
    DirectSound::DeviceTable devices{lock};
};

} // namespace Media
