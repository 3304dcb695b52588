#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>

#include "kovra/time.h"

namespace TestSupport {

/// A frame in the module's hands less than so long before its presentation may be written behind the mixer,
/// which works ahead in steps of 10 ms.
constexpr std::int64_t LateNanoSec = 30'000'000;

/// Tells frames that the machine was late with from those that the module took long for. A frame is the
/// machine's when its job began late, though the test's threads had nothing else to do: the time that the
/// module took for other jobs meanwhile is taken off, and so its slowness never excuses itself.
///
/// **Threads:** one at a time.
class HandOvers {
public:
    /// The session's next frame is about to be handed over.
    void Add(std::size_t session, Kovra::JiffyTime now);

    /// A job of the session, each in its order, began at `begun` and took `renderNanoSec`. True when its
    /// frame, to be heard at `requested`, was late by the machine's fault.
    bool Finish(std::size_t session, Kovra::JiffyTime requested, Kovra::JiffyTime begun,
                std::int64_t renderNanoSec);

private:
    struct HandOver {
        Kovra::JiffyTime time;
        /// `renderedNanoSec_` of then.
        std::int64_t renderedNanoSec = 0;
    };

    std::map<std::size_t, std::deque<HandOver>> waiting_;
    /// What all jobs have taken.
    std::int64_t renderedNanoSec_ = 0;
};

} // namespace TestSupport
