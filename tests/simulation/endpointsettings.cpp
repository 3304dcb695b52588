#include "simulation/endpointsettings.h"

#include <cmath>

#include "simulation/device/devicebuffer.h"
#include "simulation/win32/fatal.h"

namespace Simulation {

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
