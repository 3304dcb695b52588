#include "simulation/endpointsettings.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "simulation/win32/fatal.h"
#include "simulation/win32/platformmutex.h"

namespace Simulation {

namespace {

constexpr double PartsPerBillionPerMillion = 1000.0;
constexpr double MaxSkewPartsPerMillion = 999'999.0;

} // namespace

EndpointSettings::EndpointSettings(World& world, std::vector<DeviceEntry> devices) : world_(world) {
    values_.devices = std::move(devices);
}

void EndpointSettings::SetDevices(std::vector<DeviceEntry> devices) {
    PlatformLock const lock(PlatformMutex());
    values_.devices = std::move(devices);
}

void EndpointSettings::SetEnumerateResult(HRESULT result) {
    PlatformLock const lock(PlatformMutex());
    values_.enumerateResult = result;
}

void EndpointSettings::SetSkewPartsPerMillion(double partsPerMillion) {
    PlatformLock const lock(PlatformMutex());
    if (!(std::fabs(partsPerMillion) <= MaxSkewPartsPerMillion)) {
        Fatal("a device's clock neither stands still nor runs at double speed");
    }
    values_.skewPartsPerBillion = std::llround(partsPerMillion * PartsPerBillionPerMillion);
    SkewHasChanged();
}

void EndpointSettings::SetCursorStep(std::uint32_t frames, std::uint32_t phaseFrames) {
    PlatformLock const lock(PlatformMutex());
    if (frames == 0) {
        Fatal("cursors step by a frame at least");
    }
    values_.cursorStepFrames = frames;
    values_.cursorPhaseFrames = phaseFrames;
}

void EndpointSettings::SetStartDelay(std::int64_t nanoSec) {
    PlatformLock const lock(PlatformMutex());
    values_.startDelayNanoSec = nanoSec;
}

void EndpointSettings::SetLockSplit(std::uint32_t bytes) {
    PlatformLock const lock(PlatformMutex());
    values_.lockSplitBytes = bytes;
}

void EndpointSettings::SetRingCheck(bool isOn) {
    PlatformLock const lock(PlatformMutex());
    values_.hasRingCheck = isOn;
    RingCheckHasChanged();
}

std::int64_t EndpointSettings::Values::ReportedFrame(std::int64_t frame, std::int64_t origin) const {
    std::int64_t const moved = frame - origin;
    return frame - std::min(moved, (moved + cursorPhaseFrames) % cursorStepFrames);
}

} // namespace Simulation
