#pragma once

#include <cstdint>

#include "simulation/endpointsettings.h"

namespace Simulation {

/// How the simulated sound device behaves. Its two devices are at first called "Primary Sound Driver" and
/// "Simulated Speakers".
///
/// **Threads:** all operations from any thread.
class DeviceSettings final : public EndpointSettings {
public:
    explicit DeviceSettings(PlaybackEndpoint& endpoint);

    /// The write cursor lies `frames` frames ahead of the play cursor while playing; 0 at first.
    void SetWriteLead(std::uint32_t frames) { Set(endpoint_.leadFrames, frames); }

    /// A Lock of bytes that another thread has locked waits for that thread's Unlock. Off at first:
    /// DirectSound hands the same bytes out twice. For tests that look for races: two threads of the module
    /// may write the same bytes of a ring at the same time by design, and a thread sanitizer cannot tell that
    /// one race from others. With locks that exclude each other it does not come up, and everything else is
    /// as it was.
    void SetLocksExclude(bool doExclude) { Set(endpoint_.doLocksExclude, doExclude); }

private:
    PlaybackEndpoint& endpoint_;
};

} // namespace Simulation
