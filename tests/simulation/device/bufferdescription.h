#pragma once

#include <string>

#include "simulation/win32/dsoundheaders.h"

namespace Simulation {

/// Most channels of a plain PCM format.
constexpr WORD MaxChannels = 2;

/// What CreateSoundBuffer or CreateCaptureBuffer says to a description.
struct DescriptionVerdict {
    HRESULT result = DS_OK;
    /// Names the mistake when the description is one that no device would take; empty for a request that
    /// a device may refuse.
    std::string mistake;
};

/// Judges the description of a secondary buffer or a capture buffer.
DescriptionVerdict JudgeDescription(DSBUFFERDESC const* description);
DescriptionVerdict JudgeDescription(DSCBUFFERDESC const* description);

} // namespace Simulation
