#pragma once

#include <cstdint>
#include <functional>

#include "simulation/endpointsettings.h"
#include "simulation/manualclock.h"

namespace Simulation {

/// How the simulated capture device behaves, and what its microphone hears. Its two devices are at first
/// called "Primary Sound Capture Driver" and "Simulated Microphone".
///
///     world.CaptureDevice().SetGenerator([](std::uint64_t) -> std::int16_t { return 0; });   // silence
///     world.CaptureDevice().SetCursorStep(1500);                                             // 31.25 ms
///     world.CaptureDevice().SetDevices({});                                                  // none known
///
/// **Threads:** all operations from any thread.
class CaptureSettings final : public EndpointSettings {
public:
    /// The 16-bit sample that is captured as number `sampleIndex`. Each buffer counts the samples that it
    /// captures itself, from 0 at its first start, and counts on after a stop. With two channels both hear
    /// the same. May be called more than once or not at all for a sample, on any thread, with the
    /// platform's mutex held: it calls nothing of the simulation.
    using Generator = std::function<std::int16_t(std::uint64_t sampleIndex)>;

    using LockFault_t = Simulation::LockFault_t;

    /// Odd, so that 65536 samples in a row all differ.
    static constexpr std::uint64_t PatternFactor = 25'173;
    /// The generator at first: the low 16 bits of index times factor, in which lost, doubled and swapped
    /// samples show.
    static std::int16_t Pattern(std::uint64_t sampleIndex);

    CaptureSettings(CaptureEndpoint& endpoint, ManualClock const& clock);

    /// What is captured from now on; what a cursor step still holds back is taken from it too. Null brings
    /// `Pattern` back.
    void SetGenerator(Generator generator);

    /// The capture cursor lies `frames` frames ahead of the read cursor while capturing; 0 at first.
    void SetCaptureLead(std::uint32_t frames) { Set(endpoint_.leadFrames, frames); }

    /// The device stands still for the next `nanoSec` nanoseconds: cursors stay, also of buffers that are
    /// started meanwhile. What sounds in that time is lost: the sample before the stall and the one behind it
    /// have neighbouring indices.
    void Stall(std::int64_t nanoSec);
    /// The device stands still until it is told otherwise.
    void SetStalled(bool isStalled);

    /// What Lock gives from now on: with a fault no lock is opened and nothing is to be unlocked.
    void SetLockFault(LockFault_t fault) { Set(endpoint_.lockFault, fault); }

private:
    void StallUntil(std::int64_t nanoSec);

    CaptureEndpoint& endpoint_;
    ManualClock const& clock_;
};

} // namespace Simulation
