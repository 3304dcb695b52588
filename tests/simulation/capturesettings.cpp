#include "simulation/capturesettings.h"

#include <algorithm>
#include <utility>

#include "simulation/com/capturebufferinterface.h"
#include "simulation/win32/platformmutex.h"
#include "simulation/world.h"

namespace Simulation {

namespace {

// Identifies the one simulated device; no meaning beyond being its own.
constexpr GUID MicrophoneGuid = {0x51a7e001, 0x0002, 0x4001, {0x80, 0x01, 0, 0, 0, 0, 0, 1}};

} // namespace

std::int16_t CaptureSettings::Pattern(std::uint64_t sampleIndex) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(sampleIndex * PatternFactor));
}

CaptureSettings::CaptureSettings(World& world)
    : EndpointSettings(world, {{std::nullopt, "Primary Sound Capture Driver", ""},
                               {MicrophoneGuid, "Simulated Microphone", "simulated.drv"}}),
      generator_(Pattern) {}

void CaptureSettings::SetGenerator(Generator generator) {
    PlatformLock const lock(PlatformMutex());
    for (auto const& buffer : GetWorld().CaptureBufferInterfaces()) {
        buffer->Model().CatchUp();
    }
    generator_ = generator != nullptr ? std::move(generator) : Generator(Pattern);
}

void CaptureSettings::SetCaptureLead(std::uint32_t frames) {
    PlatformLock const lock(PlatformMutex());
    captureLeadFrames_ = frames;
}

void CaptureSettings::Stall(std::int64_t nanoSec) {
    PlatformLock const lock(PlatformMutex());
    StallUntil(std::max(stalledUntilNanoSec_, GetWorld().Clock().NowNanoSec() + nanoSec));
}

void CaptureSettings::SetStalled(bool isStalled) {
    PlatformLock const lock(PlatformMutex());
    StallUntil(isStalled ? INT64_MAX : INT64_MIN);
}

void CaptureSettings::StallUntil(std::int64_t nanoSec) {
    stalledUntilNanoSec_ = nanoSec;
    for (auto const& buffer : GetWorld().CaptureBufferInterfaces()) {
        buffer->Model().ApplyStall();
    }
}

void CaptureSettings::SetLockFault(LockFault_t fault) {
    PlatformLock const lock(PlatformMutex());
    lockFault_ = fault;
}

void CaptureSettings::SkewHasChanged() {
    for (auto const& buffer : GetWorld().CaptureBufferInterfaces()) {
        buffer->Model().ApplySkew();
    }
}

void CaptureSettings::RingCheckHasChanged() {
    for (auto const& buffer : GetWorld().CaptureBufferInterfaces()) {
        buffer->Model().SetRingCheck(Get().hasRingCheck);
    }
}

} // namespace Simulation
