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
    explicit DeviceSettings(World& world);

    /// The write cursor lies `frames` frames ahead of the play cursor while playing; 0 at first.
    void SetWriteLead(std::uint32_t frames);

    /// The value in force, for the platform, its mutex held.
    std::uint32_t WriteLeadFrames() const { return writeLeadFrames_; }

private:
    void SkewHasChanged() override;
    void RingCheckHasChanged() override;

    std::uint32_t writeLeadFrames_ = 0;
};

} // namespace Simulation
