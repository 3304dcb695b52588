#pragma once

#include <atomic>

#include "ears/capturejudge.h"
#include "rendereraudiocaptureproxy.h"
#include "support/recording/microphonefeed.h"

namespace Soak {

/// Feeds the microphone and reads it every 10 ms until `isOver` says so. Throws `std::runtime_error` when
/// the feed cannot be written.
Captured WatchMicrophone(Media::RendererAudioCaptureProxy& microphone,
                         TestSupport::MicrophoneFeed const& feed, std::atomic<bool> const& isOver);

} // namespace Soak
