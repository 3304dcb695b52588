#pragma once

#include <algorithm>
#include <atomic>
#include <boost/thread/mutex.hpp>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "rendereraudiodirectsound.h"

namespace Media {

/// The live buffers of one device, each with the event that DirectSound signals for it, and one event that
/// wakes the device's thread.
///
/// **Threads:** `Add` and `Remove` from any thread, under the device's lock that they take themselves;
/// `GetBuffers` with that lock held; the rest from any thread without it.
/// **Ownership:** owns the events; the buffers are plain pointers that come and go by their own doing.
template <class Buffer>
class RendererAudioRegistry {
public:
    /// Entry 0 is the wake event, entry i the event of buffer i.
    using Events = std::vector<HANDLE>;

    /// `lock` is the device's and must outlive the registry. An event that cannot be created is kept as a
    /// null handle: waits on the list then fail.
    explicit RendererAudioRegistry(boost::mutex& lock)
        : lock_(lock),
          events_(std::make_shared<Events const>(1, CreateEventA(nullptr, FALSE, FALSE, nullptr))),
          buffers_(1, nullptr) {}

    ~RendererAudioRegistry() {
        // The wake event, and those of buffers that outlive their device.
        for (HANDLE const handle : *GetEvents()) {
            OwnedEvent const event(handle);
        }
    }

    RendererAudioRegistry(RendererAudioRegistry const&) = delete;
    RendererAudioRegistry& operator=(RendererAudioRegistry const&) = delete;

    /// Lets one wait of the device's thread return.
    void Wake() const { Signal(GetEvents()->front()); }

    /// Registers `buffer` and returns its event (auto-reset, not signalled), which stays the registry's.
    HANDLE Add(Buffer& buffer) {
        OwnedEvent event(CreateEventA(nullptr, FALSE, FALSE, nullptr));
        boost::mutex::scoped_lock const guard(lock_);
        // What may throw comes first, so that the two lists change together or not at all.
        auto events = std::make_shared<Events>(*GetEvents());
        events->push_back(event.get());
        buffers_.reserve(events->size());
        spares_.reserve(events->size());
        auto spare = std::make_shared<Events>();
        spare->reserve(events->size());
        // The thread returns from its wait and waits again on the longer list.
        Wake();
        buffers_.push_back(&buffer);
        spares_.push_back(std::move(spare));
        Publish(std::move(events));
        return event.release();
    }

    /// Forgets `buffer` and closes its event; an unknown buffer is ignored. Needs no memory, for destructors.
    void Remove(Buffer const& buffer) {
        boost::mutex::scoped_lock const guard(lock_);
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
        Publish(std::move(events));
    }

    /// The events as they stand: a snapshot that never changes, so that a wait can use it without the lock.
    std::shared_ptr<Events const> GetEvents() const { return std::atomic_load(&events_); }

    /// Parallel to the events; entry 0 is null.
    std::vector<Buffer*> const& GetBuffers() const { return buffers_; }

private:
    struct EventCloser {
        void operator()(HANDLE event) const { CloseHandle(event); }
    };
    using OwnedEvent = std::unique_ptr<void, EventCloser>;

    void Publish(std::shared_ptr<Events const> events) { std::atomic_store(&events_, std::move(events)); }

    static void Signal(HANDLE event) {
        if (event != nullptr) {
            SetEvent(event);
        }
    }

    boost::mutex& lock_;
    // --- shared without a lock (atomic)
    std::shared_ptr<Events const> events_;
    // --- guarded by the device's lock
    std::vector<Buffer*> buffers_;
    /// One for each buffer, made while there was memory for it: what a removal publishes.
    std::vector<std::shared_ptr<Events>> spares_;
};

} // namespace Media
