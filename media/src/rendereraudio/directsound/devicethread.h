#pragma once

#include <atomic>
#include <boost/thread/thread.hpp>
#include <memory>
#include <utility>

namespace Media {
namespace DirectSound {

/// A device's hold on its thread, owned: while it is not null the thread, which reads it without a lock, goes
/// on.
using ThreadPointer = std::atomic<boost::thread*>;

/// Starts a thread on `body` and stores it in `pointer`, which is null. Passes through what starting it
/// throws.
///
/// The pointer is stored last: a thread quicker than that finds it null and ends at once, unless a lock keeps
/// it waiting. Wanted (docs/kept-behaviour.md).
template <class Body>
void StartThread(ThreadPointer& pointer, Body body) {
    auto thread = std::make_unique<boost::thread>(std::move(body));
    pointer.store(thread.release(), std::memory_order_release);
}

/// Tells the thread of `pointer` to end, calls `wake`, and waits for it. Without a thread only `wake` is
/// called.
template <class Wake>
void EndThread(ThreadPointer& pointer, Wake wake) {
    std::unique_ptr<boost::thread> const thread(pointer.exchange(nullptr, std::memory_order_acq_rel));
    wake();
    if (thread != nullptr) {
        // A host that interrupts its own boost::thread must not leave this one unjoined.
        boost::this_thread::disable_interruption const uninterrupted;
        thread->join();
    }
}

} // namespace DirectSound
} // namespace Media
