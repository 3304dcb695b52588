#pragma once

#include <atomic>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>

#include "rendereraudiocapturedevice.h"
#include "rendereraudiodevicetable.h"
#include "rendereraudiodirectsound.h"
#include "rendereraudioregistry.h"

namespace Media {

/// The capture device's data.
struct RendererAudioCaptureDevice::State {
    State() { caps.dwSize = sizeof(caps); }

    /// DirectSound has been opened, whether or not an input is known.
    bool HasCapture() const {
        boost::mutex::scoped_lock const guard(lock);
        return capture != nullptr;
    }

    /// The object to create capture buffers with; null unless it is there and at least one input is known.
    boost::intrusive_ptr<IDirectSoundCapture8> GetUsableCapture() const {
        boost::mutex::scoped_lock const guard(lock);
        return devices.GetDevices().empty() ? nullptr : capture;
    }

    /// Null while closed. Written by `Open` and `Close`, read by the threads that poll for the closing; all
    /// under `lock`.
    boost::intrusive_ptr<IDirectSoundCapture8> capture;

    /// Read once at the opening; for debuggers.
    DSCCAPS caps{};

    /// Owned. Not null: the draining thread goes on. Cleared by `Close` before the thread is joined; read by
    /// the thread without the lock.
    std::atomic<boost::thread*> captureThread{nullptr};

    /// Held while DirectSound is created, and by every change of the lists, the table and `capture`. Taken
    /// after a buffer's lock, never before it.
    mutable boost::mutex lock;

    /// Written by the threads that create and free capture buffers. Nothing waits on the events: the capture
    /// side polls.
    RendererAudioRegistry<RendererAudioCaptureBuffer> registry{lock};

    /// Written by `Initialize`.
    RendererAudioDeviceTable devices{lock};
};

} // namespace Media
