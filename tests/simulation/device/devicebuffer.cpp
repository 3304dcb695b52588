#include "simulation/device/devicebuffer.h"

#include <algorithm>
#include <cstring>

namespace Simulation {

DeviceBuffer::DeviceBuffer(Machine& machine, Endpoint& endpoint, std::string const& kind,
                           std::uint32_t number, WAVEFORMATEX const& format, DWORD flags, DWORD bytes,
                           RingMemory::Access_t access)
    : machine_(machine),
      format_(format),
      flags_(flags),
      ring_(bytes, endpoint.hasRingCheck, access),
      device_(endpoint),
      kind_(kind),
      number_(number) {
    endpoint.buffers.push_back(this);
}

std::uint64_t DeviceBuffer::LockCount() const {
    PlatformLock const lock(PlatformMutex());
    return ring_.LockCount();
}

std::size_t DeviceBuffer::OpenLocks() const {
    PlatformLock const lock(PlatformMutex());
    return ring_.OpenLocks();
}

HRESULT DeviceBuffer::GetFormat(WAVEFORMATEX* format, DWORD size, DWORD* written) const {
    DWORD const bytes = std::min<DWORD>(size, sizeof(WAVEFORMATEX));
    if (format == nullptr && written == nullptr) {
        return DSERR_INVALIDPARAM;
    }
    if (format != nullptr) {
        std::memcpy(format, &format_, bytes);
    }
    if (written != nullptr) {
        *written = format != nullptr ? bytes : static_cast<DWORD>(sizeof(WAVEFORMATEX));
    }
    return DS_OK;
}

void DeviceBuffer::ReportMisuse(std::string const& problem) {
    machine_.ReportMisuse(kind_ + " " + std::to_string(number_) + ": " + problem);
}

void DeviceBuffer::OpenLock(DWORD offset, DWORD bytes, bool mayWrap, RingMemory::Region& first,
                            RingMemory::Region& second) {
    std::string const problem = ring_.Lock(offset, bytes, device_.lockSplitBytes, mayWrap, first, second);
    if (!problem.empty()) {
        ReportMisuse(problem);
    }
}

bool DeviceBuffer::CloseLock(RingMemory::Region first, RingMemory::Region second) {
    std::string const problem = ring_.Unlock(first, second);
    if (!problem.empty()) {
        ReportMisuse(problem);
    }
    return problem.empty();
}

} // namespace Simulation
