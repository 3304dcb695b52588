#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "simulation/win32/dsoundheaders.h"

namespace Simulation {

class DeviceBuffer;

/// One line of what enumeration reports.
struct DeviceEntry {
    /// Empty for a null GUID pointer, as the primary driver has.
    std::optional<GUID> guid;
    /// Empty for a null description.
    std::optional<std::string> description;
    std::string module;
};

/// A device as it is now: what a test's settings say of it (`EndpointSettings` has the meanings), and its
/// buffers.
///
/// **Threads:** the platform's mutex is held wherever it is used.
struct Endpoint {
    std::vector<DeviceEntry> devices;
    HRESULT enumerateResult = DS_OK;
    std::int64_t skewPartsPerBillion = 0;
    std::uint32_t cursorStepFrames = 1;
    std::uint32_t cursorPhaseFrames = 0;
    /// How far the device's own cursor lies ahead of that of the sound while it moves.
    std::uint32_t leadFrames = 0;
    std::int64_t startDelayNanoSec = 0;
    std::uint32_t lockSplitBytes = 0;
    bool hasRingCheck = true;

    std::vector<DeviceBuffer*> buffers;

    /// Where a cursor in `frame` is reported when its steps are counted from `origin`.
    std::int64_t ReportedFrame(std::int64_t frame, std::int64_t origin) const {
        std::int64_t const moved = frame - origin;
        return frame - std::min(moved, (moved + cursorPhaseFrames) % cursorStepFrames);
    }
};

struct PlaybackEndpoint : Endpoint {
    bool doLocksExclude = false;
};

/// How a Lock that returns DS_OK nevertheless gives nothing.
enum class LockFault_t {
    None,
    /// The length is right and the address null.
    NullAddress,
    /// The address is right and the length 0.
    ZeroBytes,
    /// Nothing first, and what was asked for second.
    SecondAlone,
};

struct CaptureEndpoint : Endpoint {
    std::function<std::int16_t(std::uint64_t sampleIndex)> generator;
    /// Cursors stand still before this instant.
    std::int64_t stalledUntilNanoSec = INT64_MIN;
    LockFault_t lockFault = LockFault_t::None;
};

} // namespace Simulation
