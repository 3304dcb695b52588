#pragma once

#include <atomic>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>

#include "rendereraudiodevicetable.h"
#include "rendereraudiodirectsound.h"
#include "rendereraudioplaybackdevice.h"
#include "rendereraudioregistry.h"

namespace Media {

/// The playback device's data.
struct RendererAudioPlaybackDevice::State {
    /// Null while closed. Written by `Open` under `lock` and by `Close` without it, read under `lock`.
    boost::intrusive_ptr<IDirectSound8> sound;

    /// Owned. Not null: the playback thread goes on. Stored after the thread has been started and cleared
    /// before it is joined; read by the thread without the lock.
    std::atomic<boost::thread*> thread{nullptr};

    /// Held by `Open` from creation to the start of the thread, by every change of the lists and the table,
    /// and by the playback thread for a whole service pass.
    boost::mutex lock;

    /// Written by the threads that create and free sound buffers, read by the playback thread.
    RendererAudioRegistry<RendererAudioPlaybackBuffer> registry{lock};

    /// Written by `Open`, read with `sound`.
    RendererAudioDeviceTable devices{lock};
};

} // namespace Media
