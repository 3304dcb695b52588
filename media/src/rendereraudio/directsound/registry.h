#pragma once

#include <algorithm>
#include <atomic>
#include <boost/assert.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "directsound/directsound.h"
#include "directsound/hold.h"

namespace Media {
namespace DirectSound {

/// The live buffers of one device, each with the event that DirectSound signals for it, and one event that
/// wakes the device's thread.
///
/// **Threads:** any. `Add` and `Remove` take the device's lock themselves, in which the device's thread
/// services the buffers: neither allocates nor frees memory while they hold it.
/// **Ownership:** owns the events; the buffers are plain pointers that come and go by their own doing.
template <class Buffer>
class Registry {
public:
    /// Entry 0 is the wake event, entry i the event of buffer i.
    using Events = std::vector<HANDLE>;

    /// `lock` is the device's and must outlive the registry. An event that cannot be created is kept as a
    /// null handle: waits on the list then fail.
    explicit Registry(boost::mutex& lock)
        : lock_(lock), events_(std::make_shared<Events const>(1, wakeEvent_.get())), buffers_(1, nullptr) {}

    ~Registry() {
        wakeEvent_.reset();
        // Those of buffers that outlive their device.
        Events const& events = *GetEvents();
        for (auto entry = events.begin() + 1; entry != events.end(); ++entry) {
            OwnedEvent const event(*entry);
        }
    }

    Registry(Registry const&) = delete;
    Registry& operator=(Registry const&) = delete;

    /// Lets one wait of the device's thread return.
    void Wake() const {
        if (wakeEvent_ != nullptr) {
            SetEvent(wakeEvent_.get());
        }
    }

    /// Registers `buffer` and returns its event (auto-reset, not signalled), which stays the registry's.
    /// Throws `std::bad_alloc`; nothing is registered then.
    HANDLE Add(Buffer& buffer) {
        OwnedEvent event(CreateEventA(nullptr, FALSE, FALSE, nullptr));
        for (;;) {
            Room room(GetEvents()->size() + 1);
            auto const guard = Hold(lock_);
            // Else others have come meanwhile.
            if (buffers_.size() < room.entries) {
                // The thread returns from its wait and waits again on the longer list.
                Wake();
                Enter(buffer, event.get(), room);
                return event.release();
            }
        }
    }

    /// Forgets `buffer` and closes its event; an unknown buffer is ignored. Needs no memory, for destructors.
    void Remove(Buffer const& buffer) {
        // Freed without the lock.
        std::shared_ptr<Events const> replaced;
        auto const guard = Hold(lock_);
        auto const found = std::find(buffers_.begin() + 1, buffers_.end(), &buffer);
        if (found == buffers_.end()) {
            return;
        }
        auto events = std::move(spares_.back());
        spares_.pop_back();
        // Without allocating: the newest spare has room for the whole list.
        events->assign(GetEvents()->begin(), GetEvents()->end());
        auto const entry = events->begin() + (found - buffers_.begin());
        OwnedEvent const event(*entry);
        events->erase(entry);
        Wake();
        buffers_.erase(found);
        replaced = Publish(std::move(events));
    }

    /// The events as they stand: a snapshot that never changes, so that a wait can use it without the lock.
    std::shared_ptr<Events const> GetEvents() const { return std::atomic_load(&events_); }

    /// Parallel to the events; entry 0 is null. To be read while `deviceLock`, on the device's lock, is held.
    std::vector<Buffer*> const& GetBuffers(boost::mutex::scoped_lock const& deviceLock) const {
        BOOST_ASSERT(deviceLock.owns_lock() && deviceLock.mutex() == &lock_);
        static_cast<void>(deviceLock);
        return buffers_;
    }

private:
    struct EventCloser {
        void operator()(HANDLE event) const { CloseHandle(event); }
    };
    using OwnedEvent = std::unique_ptr<void, EventCloser>;

    /// Memory for the lists with one buffer more, and then what they were in: freed without the lock.
    struct Room {
        /// `entries_` counts the wake event.
        explicit Room(std::size_t entries_) : entries(entries_) {
            events->reserve(entries);
            spare->reserve(entries);
            buffers.reserve(entries);
            spares.reserve(entries);
        }

        std::size_t const entries;
        std::shared_ptr<Events> events = std::make_shared<Events>();
        std::shared_ptr<Events> spare = std::make_shared<Events>();
        std::vector<Buffer*> buffers;
        std::vector<std::shared_ptr<Events>> spares;
        std::shared_ptr<Events const> replaced;
    };

    /// Moves the lists into `room`, with `buffer` at their end.
    void Enter(Buffer& buffer, HANDLE event, Room& room) {
        room.events->assign(GetEvents()->begin(), GetEvents()->end());
        room.events->push_back(event);
        room.buffers.assign(buffers_.begin(), buffers_.end());
        room.buffers.push_back(&buffer);
        room.spares.assign(spares_.begin(), spares_.end());
        room.spares.push_back(std::move(room.spare));
        buffers_.swap(room.buffers);
        spares_.swap(room.spares);
        room.replaced = Publish(std::move(room.events));
    }

    /// Returns what was published before.
    std::shared_ptr<Events const> Publish(std::shared_ptr<Events const> events) {
        return std::atomic_exchange(&events_, std::move(events));
    }

    boost::mutex& lock_;
    OwnedEvent wakeEvent_{CreateEventA(nullptr, FALSE, FALSE, nullptr)};
    // --- shared without a lock (atomic)
    std::shared_ptr<Events const> events_;
    // --- guarded by the device's lock
    std::vector<Buffer*> buffers_;
    /// One for each buffer, made while there was memory for it: what a removal publishes.
    std::vector<std::shared_ptr<Events>> spares_;
};

} // namespace DirectSound
} // namespace Media
