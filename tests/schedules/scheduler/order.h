#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace Schedules {

constexpr std::size_t MaxThreads = 8;

/// What a thread, or who last used an object, knows to have happened: of each thread the number of its latest
/// release that is known (a vector clock).
struct Clock {
    std::array<std::uint32_t, MaxThreads> known{};

    void Join(Clock const& other) {
        for (std::size_t i = 0; i < MaxThreads; ++i) {
            known[i] = std::max(known[i], other.known[i]);
        }
    }
};

/// What is known of each address in one run. Emptied at no cost.
template <class Entry, std::size_t Capacity>
class AddressTable {
public:
    /// The address's entry, a new one when there is none. Its place does not change until the table is
    /// emptied.
    Entry& operator[](void const* address) {
        auto const value = reinterpret_cast<std::uintptr_t>(address);
        std::size_t place = static_cast<std::size_t>((value >> 2U) * 0x9E3779B97F4A7C15U >> 40U) % Capacity;
        for (std::size_t tries = 0; tries < Capacity; ++tries, place = (place + 1) % Capacity) {
            Slot& slot = slots_[place];
            if (slot.run != run_) {
                slot = {run_, address, {}};
            }
            if (slot.address == address) {
                return slot.entry;
            }
        }
        std::fputs("Schedules: a run uses more addresses than there is room for\n", stderr);
        std::abort();
    }

    void Clear() { ++run_; }

private:
    struct Slot {
        std::uint64_t run = 0;
        void const* address = nullptr;
        Entry entry{};
    };

    std::unique_ptr<Slot[]> const slots_ = std::make_unique<Slot[]>(Capacity);
    std::uint64_t run_ = 1;
};

} // namespace Schedules
