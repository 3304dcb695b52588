#pragma once

#include <cstdint>

#include "arithmetic/ring.h"
#include "directsound/directsound.h"
#include "directsound/statuscodes.h"

namespace Media {
namespace DirectSound {

constexpr std::uint32_t SampleSizeBits = 16;
constexpr std::uint32_t CaptureFrequencyHz = Ring::NominalFrequencyHz;
constexpr std::uint32_t CaptureChannels = 1;
constexpr std::uint32_t CaptureRingSamples = 240000;

/// Opens the system's default device with `create`, DirectSound's function for that, into `device`. 0; the
/// statuses of `StatusOfCreateFailure`. Also with 0 `device` may be empty: see there.
template <class Interface, class Create>
int CreateDevice(Create create, boost::intrusive_ptr<Interface>& device) {
    Interface* created = nullptr;
    HRESULT const result = create(nullptr, &created, nullptr);
    if (FAILED(result)) {
        return StatusOfCreateFailure(result);
    }
    device = AdoptReference(created);
    return Status::Success;
}

/// A new secondary sound buffer of five seconds of 16-bit PCM at 48000 Hz, with position notification and
/// with control of volume, pan and frequency. Empty when DirectSound refuses: `channels` of 0, say.
boost::intrusive_ptr<IDirectSoundBuffer8> CreatePlaybackBuffer(IDirectSound8& sound, std::uint32_t channels);

/// A new capture buffer of `CaptureRingSamples` of 16-bit mono PCM at 48000 Hz. Empty when DirectSound
/// refuses.
boost::intrusive_ptr<IDirectSoundCaptureBuffer8> CreateCaptureBuffer(IDirectSoundCapture8& capture);

} // namespace DirectSound
} // namespace Media
