#pragma once

#include <boost/thread/mutex.hpp>

#include "directsound/devicetable.h"
#include "directsound/devicethread.h"
#include "directsound/directsound.h"
#include "directsound/registry.h"
#include "rendereraudioplaybackdevice.h"

namespace Media {

/// The playback device's data.
struct RendererAudioPlaybackDevice::Fields {
    /// Null while closed. Written by `Open` under `lock` and by `Close` without it, read under `lock`.
    boost::intrusive_ptr<IDirectSound8> sound;

    /// The playback thread.
    DirectSound::ThreadPointer thread{nullptr};

    /// Held by `Open` from creation to the start of the thread, by every change of the lists and the table,
    /// and by the playback thread for a whole service pass.
    boost::mutex lock;

    /// Written by the threads that create and free sound buffers, read by the playback thread.
    DirectSound::Registry<RendererAudioPlaybackBuffer> registry{lock};

    /// Written by `Open`, read with `sound`.
    DirectSound::DeviceTable devices{lock};
};

} // namespace Media
