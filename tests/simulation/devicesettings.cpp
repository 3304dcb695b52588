#include "simulation/devicesettings.h"

namespace Simulation {

namespace {

// Identifies the one simulated device; no meaning beyond being its own.
constexpr GUID SpeakersGuid = {0x51a7e001, 0x0001, 0x4001, {0x80, 0x01, 0, 0, 0, 0, 0, 1}};

} // namespace

DeviceSettings::DeviceSettings(PlaybackEndpoint& endpoint) : EndpointSettings(endpoint), endpoint_(endpoint) {
    endpoint_.devices = {{std::nullopt, "Primary Sound Driver", ""},
                         {SpeakersGuid, "Simulated Speakers", "simulated.drv"}};
}

} // namespace Simulation
