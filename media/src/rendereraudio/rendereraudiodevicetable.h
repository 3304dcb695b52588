#pragma once

#include <boost/thread/mutex.hpp>
#include <map>
#include <new>
#include <string>

#include "rendereraudiodirectsound.h"

namespace Media {

/// The devices that enumeration found, by description: two devices of one description share an entry, and
/// the later one's GUID stands. The module always opens the system's default device: all that it asks of the
/// table is whether any device is known.
///
/// **Threads:** any, under the device's lock that every operation takes itself.
class RendererAudioDeviceTable {
public:
    /// `lock` is the device's and must outlive the table.
    explicit RendererAudioDeviceTable(boost::mutex& lock) : lock_(lock) {}

    /// Records one device; a null description is not recorded, a null GUID (the primary driver) stays zero.
    /// Without memory the device is left out: nothing may be thrown through DirectSound's enumeration.
    void Record(GUID const* guid, char const* description) noexcept {
        if (description == nullptr) {
            return;
        }
        boost::mutex::scoped_lock const guard(lock_);
        try {
            GUID& entry = devices_[description];
            if (guid != nullptr) {
                entry = *guid;
            }
        } catch (std::bad_alloc const&) {
        }
    }

    void Clear() {
        boost::mutex::scoped_lock const guard(lock_);
        devices_.clear();
    }

    bool IsEmpty() const {
        boost::mutex::scoped_lock const guard(lock_);
        return devices_.empty();
    }

    /// For callers that hold the lock.
    std::map<std::string, GUID> const& GetDevices() const { return devices_; }

private:
    boost::mutex& lock_;
    // --- guarded by the device's lock
    std::map<std::string, GUID> devices_;
};

/// A `LPDSENUMCALLBACKA` that records into the table that `context` points to and goes on to the end.
inline BOOL CALLBACK RecordEnumeratedDevice(LPGUID guid, LPCSTR description, LPCSTR /*module*/,
                                            LPVOID context) {
    static_cast<RendererAudioDeviceTable*>(context)->Record(guid, description);
    return TRUE;
}

} // namespace Media
