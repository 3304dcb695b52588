#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "simulation/device/endpoint.h"
#include "simulation/win32/platformmutex.h"

namespace Simulation {

/// How a simulated device behaves, as far as playing and capturing devices have it in common. Everything may
/// be changed at any time and holds from then on.
///
/// **Threads:** all operations from any thread.
/// **Units:** a frame is one sample of every channel.
class EndpointSettings {
public:
    EndpointSettings(EndpointSettings const&) = delete;
    EndpointSettings& operator=(EndpointSettings const&) = delete;

    /// What enumeration reports, in order. At first two devices: the primary driver (null GUID) and the
    /// simulated one.
    void SetDevices(std::vector<DeviceEntry> devices) { Set(endpoint_.devices, std::move(devices)); }
    /// What enumeration returns after it has reported all devices; DS_OK at first. (A planned fault of the
    /// enumeration reports none.)
    void SetEnumerateResult(HRESULT result) { Set(endpoint_.enumerateResult, result); }

    /// The device's crystal runs fast by `partsPerMillion` (slow when negative), to a thousandth of one.
    void SetSkewPartsPerMillion(double partsPerMillion);
    /// Cursors are reported in steps of `frames` frames, late: as they stood at the last step. Steps are
    /// counted from where the buffer was started or the cursor set; the first comes `phaseFrames` earlier
    /// than a whole step. 1 (the start value) reports every frame.
    void SetCursorStep(std::uint32_t frames, std::uint32_t phaseFrames = 0);
    /// Cursors start to move `nanoSec` nanoseconds after the buffer was started; 0 at first.
    void SetStartDelay(std::int64_t nanoSec) { Set(endpoint_.startDelayNanoSec, nanoSec); }
    /// A lock that the ring's end does not split is split after `bytes` bytes if it is longer; 0 (the start
    /// value) splits none.
    void SetLockSplit(std::uint32_t bytes) { Set(endpoint_.lockSplitBytes, bytes); }
    /// At every Unlock the buffer's whole ring is compared with a copy, to find what was written outside
    /// the locked region. On at first; off for speed. Holds for buffers that exist too. Guard bytes around
    /// the ring are checked either way.
    void SetRingCheck(bool isOn);

protected:
    explicit EndpointSettings(Endpoint& endpoint) : endpoint_(endpoint) {}
    ~EndpointSettings() = default;

    template <class Value>
    static void Set(Value& field, Value value) {
        PlatformLock const lock(PlatformMutex());
        field = std::move(value);
    }
    /// The platform's mutex is held: the device's buffers take over what has changed.
    void Apply();

private:
    Endpoint& endpoint_;
};

} // namespace Simulation
