#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Schedules {

/// 0 is the thread that runs the body; the others are numbered as they are made.
using ThreadId = std::uint32_t;

/// Which thread goes on where several could. Of two kinds:
///
/// - *decisions*: the running thread goes on until it blocks or ends, then the one with the lowest number;
/// but
///   at the choices that are named here the named thread does.
/// - *priorities* (PCT: probabilistic concurrency testing): the ready thread that stands first in `order`
/// goes
///   on; at each step named in `changes` the running thread falls behind all others.
struct Schedule {
    struct Decision {
        /// Counted from 0, over those points alone at which several threads could go on.
        std::uint32_t choice;
        ThreadId thread;
    };

    std::vector<Decision> decisions;
    /// Highest first; not empty in a schedule of priorities.
    std::vector<ThreadId> order;
    /// Counted from 1, over all points; ascending.
    std::vector<std::uint32_t> changes;

    /// As `ToText` wrote it: "12:1 40:0" for decisions, "order 1 0 2 changes 13 55" for priorities.
    static Schedule Parse(std::string const& text);
    std::string ToText() const;
};

} // namespace Schedules
