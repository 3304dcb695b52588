#pragma once

#include "simulation/device/ringmemory.h"
#include "simulation/win32/dsoundheaders.h"

namespace Simulation {

/// Where a caller of Lock wants its answer.
struct LockAddresses {
    void** address1;
    DWORD* bytes1;
    void** address2;
    DWORD* bytes2;

    bool IsValid() const { return address1 != nullptr && bytes1 != nullptr; }
    /// True when there is room for a second region.
    bool MayWrap() const { return address2 != nullptr && bytes2 != nullptr; }

    /// Gives the answer, as far as there is room for it.
    void Set(RingMemory::Region const& first, RingMemory::Region const& second) const {
        if (IsValid()) {
            *address1 = first.address;
            *bytes1 = first.bytes;
        }
        if (address2 != nullptr) {
            *address2 = second.address;
        }
        if (bytes2 != nullptr) {
            *bytes2 = second.bytes;
        }
    }
};

/// The region that a caller of Unlock means.
inline RingMemory::Region MakeRegion(void* address, DWORD bytes) {
    return {static_cast<std::uint8_t*>(address), bytes};
}

} // namespace Simulation
