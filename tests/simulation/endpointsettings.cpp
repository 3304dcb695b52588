#include "simulation/endpointsettings.h"

#include <cmath>
#include <utility>

#include "simulation/device/devicebuffer.h"
#include "simulation/win32/fatal.h"
#include "simulation/win32/platformmutex.h"

namespace Simulation {

void EndpointSettings::SetDevices(std::vector<DeviceEntry> devices) {
    PlatformLock const lock(PlatformMutex());
    endpoint_.devices = std::move(devices);
}

void EndpointSettings::SetEnumerateResult(HRESULT result) {
    PlatformLock const lock(PlatformMutex());
    endpoint_.enumerateResult = result;
}

void EndpointSettings::SetSkewPartsPerMillion(double partsPerMillion) {
    constexpr double PartsPerBillionPerMillion = 1000.0;
    constexpr double MaxSkewPartsPerMillion = 999'999.0;
    PlatformLock const lock(PlatformMutex());
    if (!(std::fabs(partsPerMillion) <= MaxSkewPartsPerMillion)) {
        Fatal("a device's clock neither stands still nor runs at double speed");
    }
    endpoint_.skewPartsPerBillion = std::llround(partsPerMillion * PartsPerBillionPerMillion);
    Apply();
}

void EndpointSettings::SetCursorStep(std::uint32_t frames, std::uint32_t phaseFrames) {
    PlatformLock const lock(PlatformMutex());
    if (frames == 0) {
        Fatal("cursors step by a frame at least");
    }
    endpoint_.cursorStepFrames = frames;
    endpoint_.cursorPhaseFrames = phaseFrames;
}

void EndpointSettings::SetStartDelay(std::int64_t nanoSec) {
    PlatformLock const lock(PlatformMutex());
    endpoint_.startDelayNanoSec = nanoSec;
}

void EndpointSettings::SetLockSplit(std::uint32_t bytes) {
    PlatformLock const lock(PlatformMutex());
    endpoint_.lockSplitBytes = bytes;
}

void EndpointSettings::SetRingCheck(bool isOn) {
    PlatformLock const lock(PlatformMutex());
    endpoint_.hasRingCheck = isOn;
    for (DeviceBuffer* const buffer : endpoint_.buffers) {
        buffer->SetRingCheck(isOn);
    }
}

void EndpointSettings::Apply() {
    for (DeviceBuffer* const buffer : endpoint_.buffers) {
        buffer->ApplySettings();
    }
}

} // namespace Simulation
