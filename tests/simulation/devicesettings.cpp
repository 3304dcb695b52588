#include "simulation/devicesettings.h"

#include "simulation/com/soundbufferinterface.h"
#include "simulation/win32/platformmutex.h"
#include "simulation/world.h"

namespace Simulation {

namespace {

// Identifies the one simulated device; no meaning beyond being its own.
constexpr GUID SpeakersGuid = {0x51a7e001, 0x0001, 0x4001, {0x80, 0x01, 0, 0, 0, 0, 0, 1}};

} // namespace

DeviceSettings::DeviceSettings(World& world)
    : EndpointSettings(world, {{std::nullopt, "Primary Sound Driver", ""},
                               {SpeakersGuid, "Simulated Speakers", "simulated.drv"}}) {}

void DeviceSettings::SetWriteLead(std::uint32_t frames) {
    PlatformLock const lock(PlatformMutex());
    writeLeadFrames_ = frames;
}

void DeviceSettings::SetLocksExclude(bool doExclude) {
    PlatformLock const lock(PlatformMutex());
    doLocksExclude_ = doExclude;
}

void DeviceSettings::SkewHasChanged() {
    for (auto const& buffer : GetWorld().BufferInterfaces()) {
        buffer->Model().ApplySkew();
    }
}

void DeviceSettings::RingCheckHasChanged() {
    for (auto const& buffer : GetWorld().BufferInterfaces()) {
        buffer->Model().SetRingCheck(Get().hasRingCheck);
    }
}

} // namespace Simulation
