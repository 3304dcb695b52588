#pragma once

#include "output/silentsound.h"

namespace AudioHost {

/// Silence on the default DirectSound device, by DirectSound objects of its own.
class SilentOutput : public OutputAccess {
public:
    std::unique_ptr<SilentSound> Open() override;
};

} // namespace AudioHost
