#include "simulation/devicesettings.h"

#include <cmath>
#include <utility>

#include "simulation/fatal.h"
#include "simulation/platformmutex.h"
#include "simulation/soundbufferinterface.h"
#include "simulation/world.h"

namespace Simulation {

namespace {

// Identifies the one simulated device; no meaning beyond being its own.
constexpr GUID SpeakersGuid = {0x51a7e001, 0x0001, 0x4001, {0x80, 0x01, 0, 0, 0, 0, 0, 1}};
constexpr double PartsPerBillionPerMillion = 1000.0;
constexpr double MaxSkewPartsPerMillion = 999'999.0;

} // namespace

void DeviceSettings::SetInitialDevices() {
    values_.devices = {{std::nullopt, "Primary Sound Driver", ""},
                       {SpeakersGuid, "Simulated Speakers", "simulated.drv"}};
}

void DeviceSettings::SetDevices(std::vector<DeviceEntry> devices) {
    PlatformLock const lock(PlatformMutex());
    values_.devices = std::move(devices);
}

void DeviceSettings::SetEnumerateResult(HRESULT result) {
    PlatformLock const lock(PlatformMutex());
    values_.enumerateResult = result;
}

void DeviceSettings::SetSkewPartsPerMillion(double partsPerMillion) {
    PlatformLock const lock(PlatformMutex());
    if (!(std::fabs(partsPerMillion) <= MaxSkewPartsPerMillion)) {
        Fatal("a device's clock neither stands still nor runs at double speed");
    }
    values_.skewPartsPerBillion = std::llround(partsPerMillion * PartsPerBillionPerMillion);
    for (auto const& buffer : world_.BufferInterfaces()) {
        buffer->Model().ApplySkew();
    }
}

void DeviceSettings::SetCursorStep(std::uint32_t frames, std::uint32_t phaseFrames) {
    PlatformLock const lock(PlatformMutex());
    if (frames == 0) {
        Fatal("cursors step by a frame at least");
    }
    values_.cursorStepFrames = frames;
    values_.cursorPhaseFrames = phaseFrames;
}

void DeviceSettings::SetWriteLead(std::uint32_t frames) {
    PlatformLock const lock(PlatformMutex());
    values_.writeLeadFrames = frames;
}

void DeviceSettings::SetStartDelay(std::int64_t nanoSec) {
    PlatformLock const lock(PlatformMutex());
    values_.startDelayNanoSec = nanoSec;
}

void DeviceSettings::SetLockSplit(std::uint32_t bytes) {
    PlatformLock const lock(PlatformMutex());
    values_.lockSplitBytes = bytes;
}

void DeviceSettings::SetRingCheck(bool isOn) {
    PlatformLock const lock(PlatformMutex());
    values_.hasRingCheck = isOn;
    for (auto const& buffer : world_.BufferInterfaces()) {
        buffer->Model().SetRingCheck(isOn);
    }
}

} // namespace Simulation
