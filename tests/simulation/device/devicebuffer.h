#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "simulation/device/cursorclock.h"
#include "simulation/device/endpoint.h"
#include "simulation/device/machine.h"
#include "simulation/device/ringmemory.h"
#include "simulation/win32/dsoundheaders.h"
#include "simulation/win32/platformmutex.h"

namespace Simulation {

/// What sound buffers and capture buffers have in common: a format, a ring with its locks, and a cursor.
///
/// **Threads:** the test's operations from any thread, at any time.
class DeviceBuffer {
public:
    DeviceBuffer(DeviceBuffer const&) = delete;
    DeviceBuffer& operator=(DeviceBuffer const&) = delete;

    // --- for tests

    /// Number of the buffer: 1 for the first of its kind that the world made. The journal uses it.
    std::uint32_t Number() const { return number_; }
    WAVEFORMATEX Format() const { return format_; }
    /// `dwFlags` of the description.
    DWORD Flags() const { return flags_; }
    std::uint32_t RingBytes() const { return ring_.Size(); }
    /// COM references to the buffer itself, through all of its interfaces.
    std::uint32_t References() const { return Locked(references); }
    /// Successful locks so far, and those that are open now.
    std::uint64_t LockCount() const;
    std::size_t OpenLocks() const;

    // --- for the platform, its mutex held

    /// Brings cursor and ring to now.
    virtual void CatchUp() = 0;
    /// Takes the endpoint's skew over, and whether it stands still, from now on.
    virtual void ApplySettings() = 0;
    void SetRingCheck(bool isOn) { ring_.SetCheck(isOn); }
    /// Gives as much of the format as `size` takes, or its whole size when `format` is null.
    HRESULT GetFormat(WAVEFORMATEX* format, DWORD size, DWORD* written) const;
    std::size_t OpenLockCount() const { return ring_.OpenLocks(); }

    /// References of the COM object; the interface class counts here.
    std::uint32_t references = 0;

protected:
    /// `kind` is what messages call the buffer, before its number. The endpoint knows the buffer from here
    /// on.
    DeviceBuffer(Machine& machine, Endpoint& endpoint, std::string const& kind, std::uint32_t number,
                 WAVEFORMATEX const& format, DWORD flags, DWORD bytes, RingMemory::Access_t access);
    ~DeviceBuffer() = default;

    /// A value for a test, which does not hold the platform's mutex.
    template <class Value>
    static Value Locked(Value const& value) {
        PlatformLock const lock(PlatformMutex());
        return value;
    }
    std::int64_t Now() const { return machine_.NowNanoSec(); }
    std::int64_t RingFrames() const { return ring_.Size() / format_.nBlockAlign; }
    std::uint32_t ByteOf(std::int64_t frame) const {
        return static_cast<std::uint32_t>(frame % RingFrames() * format_.nBlockAlign);
    }
    void ReportMisuse(std::string const& problem);
    /// Opens a lock that the ring contains.
    void OpenLock(DWORD offset, DWORD bytes, bool mayWrap, RingMemory::Region& first,
                  RingMemory::Region& second);
    /// False, with misuse reported, when the lock's holder has done wrong.
    bool CloseLock(RingMemory::Region first, RingMemory::Region second);

    Machine& machine_;
    WAVEFORMATEX const format_;
    DWORD const flags_;
    RingMemory ring_;
    CursorClock cursor_;
    /// Frame from which cursor steps are counted: where the cursor was started or set.
    std::int64_t stepOrigin_ = 0;

private:
    Endpoint const& device_;
    std::string const kind_;
    std::uint32_t const number_;
};

} // namespace Simulation
