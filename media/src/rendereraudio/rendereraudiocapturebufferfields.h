#pragma once

#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <memory>
#include <utility>

#include "directsound/directsound.h"
#include "kovra/time.h"
#include "rendereraudiocapturebuffer.h"
#include "rendereraudiocapturedevicefields.h"
#include "rendereraudiolinelevel.h"

namespace Media {

/// The capture buffer's data, all of it under `lock`.
struct RendererAudioCaptureBuffer::Fields {
    explicit Fields(RendererAudioCaptureDevice::WeakFields device_) : device(std::move(device_)) {}

    /// The device's data; gone once the device is: a host may keep its proxy longer than the renderer.
    RendererAudioCaptureDevice::WeakFields const device;
    /// What `dsBuffer` was made by, and null with it: DirectSound frees its buffers when its last reference
    /// goes, and the device may be closed before this buffer.
    boost::intrusive_ptr<IDirectSoundCapture8> capture;
    /// Null until created, and after the closing.
    boost::intrusive_ptr<IDirectSoundCaptureBuffer8> dsBuffer;
    /// When the next frame's first sample was taken; 0 until capture was started.
    Kovra::SysTime nextTime;
    /// The next frame's sequence number; wraps.
    std::uint32_t frameNumber = 0;
    /// Ring length; 0 before the creation.
    std::uint32_t ringSamples = 0;
    /// The next sample to read, in [0, ringSamples).
    std::uint32_t readPos = 0;
    RendererAudioLineLevel lineLevel;
    mutable boost::mutex lock;
};

} // namespace Media
