#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "order.h"
#include "schedule.h"

namespace Schedules {

/// Finds plain accesses of two threads to one field that nothing puts in order. A thread may then be
/// preempted before its synchronising operations alone: without such accesses nothing else can tell where it
/// was.
///
/// Fields are told by their first byte.
class Accesses {
public:
    void Clear() { cells_.Clear(); }

    /// A description of the race that this access makes; empty for none. `clock` is what `thread` knows,
    /// `place` where in the code it is.
    std::string Read(void const* field, ThreadId thread, Clock const& clock, void const* place);
    std::string Write(void const* field, ThreadId thread, Clock const& clock, void const* place);

private:
    struct Cell {
        ThreadId writer = 0;
        /// 0 for never.
        std::uint32_t written = 0;
        void const* writePlace = nullptr;
        std::array<std::uint32_t, MaxThreads> read{};
        std::array<void const*, MaxThreads> readPlaces{};
    };

    AddressTable<Cell, std::size_t{1} << 16U> cells_;
};

} // namespace Schedules
