#include "support/recording/handovers.h"

#include <algorithm>

namespace TestSupport {

void HandOvers::Add(std::size_t session, Kovra::JiffyTime now) {
    waiting_[session].push_back({now, renderedNanoSec_});
}

bool HandOvers::Finish(std::size_t session, Kovra::JiffyTime requested, Kovra::JiffyTime begun,
                       std::int64_t renderNanoSec) {
    std::int64_t waitNanoSec = 0;
    std::deque<HandOver>& waiting = waiting_[session];
    if (!waiting.empty()) {
        HandOver const& own = waiting.front();
        // A job that had begun before the hand-over counts as a whole: not more than all of the wait.
        waitNanoSec = std::min(renderedNanoSec_ - own.renderedNanoSec,
                               std::max<std::int64_t>(0, begun.GetDiffSysTime(own.time).NanoSec()));
        waiting.pop_front();
    }
    renderedNanoSec_ += renderNanoSec;
    return requested.GetDiffSysTime(begun).NanoSec() + waitNanoSec < LateNanoSec;
}

} // namespace TestSupport
