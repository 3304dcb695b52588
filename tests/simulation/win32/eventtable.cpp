#include "simulation/win32/eventtable.h"

namespace Simulation {

namespace {

// Handle values look like the kernel's: small multiples of four, none of them zero.
constexpr std::uintptr_t FirstHandle = 0x100;
constexpr std::uintptr_t HandleStep = 4;

} // namespace

HANDLE EventTable::Create(bool isManualReset, bool isSignalled) {
    auto const number = static_cast<std::uint32_t>(events_.size() + 1);
    events_.push_back({number, isManualReset, isSignalled, true});
    ++openCount_;
    return reinterpret_cast<HANDLE>(FirstHandle + HandleStep * (number - 1));
}

std::uint32_t EventTable::NumberOf(HANDLE handle) const {
    auto const value = reinterpret_cast<std::uintptr_t>(handle);
    if (value < FirstHandle || value % HandleStep != 0) {
        return 0;
    }
    std::uintptr_t const index = (value - FirstHandle) / HandleStep;
    return index < events_.size() ? static_cast<std::uint32_t>(index + 1) : 0;
}

EventObject const* EventTable::Find(HANDLE handle) const {
    std::uint32_t const number = NumberOf(handle);
    if (number == 0 || !events_[number - 1].isOpen) {
        return nullptr;
    }
    return &events_[number - 1];
}

EventObject* EventTable::Find(HANDLE handle) {
    return const_cast<EventObject*>(static_cast<EventTable const*>(this)->Find(handle));
}

bool EventTable::Close(HANDLE handle) {
    EventObject* const event = Find(handle);
    if (event == nullptr) {
        return false;
    }
    event->isOpen = false;
    --openCount_;
    return true;
}

} // namespace Simulation
