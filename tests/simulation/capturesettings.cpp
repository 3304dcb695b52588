#include "simulation/capturesettings.h"

#include <algorithm>
#include <utility>

#include "simulation/device/devicebuffer.h"

namespace Simulation {

namespace {

// Identifies the one simulated device; no meaning beyond being its own.
constexpr GUID MicrophoneGuid = {0x51a7e001, 0x0002, 0x4001, {0x80, 0x01, 0, 0, 0, 0, 0, 1}};

} // namespace

std::int16_t CaptureSettings::Pattern(std::uint64_t sampleIndex) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(sampleIndex * PatternFactor));
}

CaptureSettings::CaptureSettings(CaptureEndpoint& endpoint, ManualClock const& clock)
    : EndpointSettings(endpoint), endpoint_(endpoint), clock_(clock) {
    endpoint_.devices = {{std::nullopt, "Primary Sound Capture Driver", ""},
                         {MicrophoneGuid, "Simulated Microphone", "simulated.drv"}};
    endpoint_.generator = Pattern;
}

void CaptureSettings::SetGenerator(Generator generator) {
    PlatformLock const lock(PlatformMutex());
    for (DeviceBuffer* const buffer : endpoint_.buffers) {
        buffer->CatchUp();
    }
    endpoint_.generator = generator != nullptr ? std::move(generator) : Generator(Pattern);
}

void CaptureSettings::Stall(std::int64_t nanoSec) {
    PlatformLock const lock(PlatformMutex());
    StallUntil(std::max(endpoint_.stalledUntilNanoSec, clock_.NowNanoSec() + nanoSec));
}

void CaptureSettings::SetStalled(bool isStalled) {
    PlatformLock const lock(PlatformMutex());
    StallUntil(isStalled ? INT64_MAX : INT64_MIN);
}

void CaptureSettings::StallUntil(std::int64_t nanoSec) {
    endpoint_.stalledUntilNanoSec = nanoSec;
    Apply();
}

} // namespace Simulation
