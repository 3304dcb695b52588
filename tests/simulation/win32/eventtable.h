#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

#include "simulation/win32/dsoundheaders.h"

namespace Simulation {

/// A Win32 event. It outlives its handle: a wait on it goes on when the handle is closed.
struct EventObject {
    std::uint32_t number;
    bool isManualReset;
    bool isSignalled;
    bool isOpen;
};

/// All events that were ever made, by handle. No handle value is used twice, so that a closed one is always
/// known as such.
///
/// **Threads:** the platform's mutex is held in every operation.
class EventTable {
public:
    HANDLE Create(bool isManualReset, bool isSignalled);
    /// The event behind an open handle, or null.
    EventObject* Find(HANDLE handle);
    EventObject const* Find(HANDLE handle) const;
    /// The number of the event behind an open or closed handle; 0 for none.
    std::uint32_t NumberOf(HANDLE handle) const;
    /// False when the handle is not open.
    bool Close(HANDLE handle);
    std::size_t OpenCount() const { return openCount_; }
    std::deque<EventObject> const& All() const { return events_; }

private:
    /// Stable addresses: waits hold pointers.
    std::deque<EventObject> events_;
    std::size_t openCount_ = 0;
};

} // namespace Simulation
