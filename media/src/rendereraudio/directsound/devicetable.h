#pragma once

#include <boost/assert.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <map>
#include <new>
#include <string>

#include "directsound/directsound.h"
#include "directsound/hold.h"

namespace Media {
namespace DirectSound {

/// The devices that enumeration found, by description: two devices of one description share an entry, and
/// the later one's GUID stands. All that the module asks of the table is whether any device is known.
/// Wanted: the system's default device is opened, whatever was found (docs/kept-behaviour.md).
///
/// **Threads:** any, under the device's lock: every operation takes it itself, or wants to see that it is
/// held.
class DeviceTable {
public:
    using Devices = std::map<std::string, GUID>;

    /// `lock` is the device's and must outlive the table.
    explicit DeviceTable(boost::mutex& lock) : lock_(lock) {}

    /// Records one device; a null description is not recorded, a null GUID (the primary driver) stays zero.
    /// Without memory the device is left out: nothing may be thrown through DirectSound's enumeration.
    void Record(GUID const* guid, char const* description) noexcept {
        if (description == nullptr) {
            return;
        }
        auto const guard = Hold(lock_);
        try {
            GUID& entry = devices_[description];
            if (guid != nullptr) {
                entry = *guid;
            }
        } catch (std::bad_alloc const&) {
        }
    }

    /// Records what `enumerate` finds, one of DirectSound's functions for that, unless devices are known.
    /// False when it fails; no device is known then.
    template <class Enumerate>
    bool EnumerateOnce(Enumerate enumerate) {
        {
            auto const guard = Hold(lock_);
            if (!IsEmpty(guard)) {
                return true;
            }
        }
        // Without the lock, which the callback takes for each device.
        if (enumerate(RecordEnumerated, this) == DS_OK) {
            return true;
        }
        auto const guard = Hold(lock_);
        devices_.clear();
        return false;
    }

    bool IsEmpty(boost::mutex::scoped_lock const& deviceLock) const { return GetDevices(deviceLock).empty(); }

    Devices const& GetDevices(boost::mutex::scoped_lock const& deviceLock) const {
        BOOST_ASSERT(deviceLock.owns_lock() && deviceLock.mutex() == &lock_);
        static_cast<void>(deviceLock);
        return devices_;
    }

private:
    static BOOL CALLBACK RecordEnumerated(LPGUID guid, LPCSTR description, LPCSTR /*module*/,
                                          LPVOID context) {
        static_cast<DeviceTable*>(context)->Record(guid, description);
        return TRUE;
    }

    boost::mutex& lock_;
    // --- guarded by the device's lock
    Devices devices_;
};

} // namespace DirectSound
} // namespace Media
