#pragma once

#include <cstdint>

#include "rendereraudiodirectsound.h"

namespace Media {

/// A new secondary sound buffer of five seconds of 16-bit PCM at 48000 Hz, with position notification and
/// with control of volume, pan and frequency. Empty when DirectSound refuses: `channels` of 0, say.
boost::intrusive_ptr<IDirectSoundBuffer8> CreatePlaybackSoundBuffer(IDirectSound8& sound,
                                                                    std::uint32_t channels);

} // namespace Media
