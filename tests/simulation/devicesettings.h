#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulation/dsoundheaders.h"

namespace Simulation {

/// One line of what DirectSoundEnumerateA reports.
struct DeviceEntry {
    /// Empty for a null GUID pointer, as the primary sound driver has.
    std::optional<GUID> guid;
    /// Empty for a null description.
    std::optional<std::string> description;
    std::string module;
};

class World;

/// How the simulated sound device behaves. Everything may be changed at any time and holds from then on.
///
/// **Threads:** all operations from any thread.
class DeviceSettings {
public:
    explicit DeviceSettings(World& world) : world_(world) {}

    /// What enumeration reports, in order. At first two devices: the primary sound driver (null GUID,
    /// "Primary Sound Driver") and "Simulated Speakers".
    void SetDevices(std::vector<DeviceEntry> devices);
    /// What DirectSoundEnumerateA returns after it has reported all devices; DS_OK at first. (A planned
    /// fault of `Call_t::SoundEnumerate` reports none.)
    void SetEnumerateResult(HRESULT result);

    /// The device's crystal runs fast by `partsPerMillion` (slow when negative), to a thousandth of one.
    void SetSkewPartsPerMillion(double partsPerMillion);
    /// Cursors are reported in steps of `frames` frames, late: as they stood at the last step. Steps are
    /// counted from where playing was started or the cursor set; the first comes `phaseFrames` earlier than
    /// a whole step. 1 (the start value) reports every frame.
    void SetCursorStep(std::uint32_t frames, std::uint32_t phaseFrames = 0);
    /// The write cursor lies `frames` frames ahead of the play cursor while playing; 0 at first.
    void SetWriteLead(std::uint32_t frames);
    /// Sound starts to move `nanoSec` nanoseconds after Play; 0 at first.
    void SetStartDelay(std::int64_t nanoSec);
    /// A lock that the ring's end does not split is split after `bytes` bytes if it is longer; 0 (the start
    /// value) splits none.
    void SetLockSplit(std::uint32_t bytes);
    /// At every Unlock the buffer's whole ring is compared with a copy, to find what was written outside
    /// the locked region. On at first; off for speed. Holds for buffers that exist too. Guard bytes around
    /// the ring are checked either way.
    void SetRingCheck(bool isOn);

    /// The values in force, for the platform, its mutex held.
    struct Values {
        std::vector<DeviceEntry> devices;
        HRESULT enumerateResult = DS_OK;
        std::int64_t skewPartsPerBillion = 0;
        std::uint32_t cursorStepFrames = 1;
        std::uint32_t cursorPhaseFrames = 0;
        std::uint32_t writeLeadFrames = 0;
        std::int64_t startDelayNanoSec = 0;
        std::uint32_t lockSplitBytes = 0;
        bool hasRingCheck = true;
    };
    Values const& Get() const { return values_; }
    void SetInitialDevices();

private:
    World& world_;
    Values values_;
};

} // namespace Simulation
