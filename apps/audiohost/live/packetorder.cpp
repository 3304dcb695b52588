#include "live/packetorder.h"

#include <utility>

namespace AudioHost {

void PacketOrder::Add(PlacedPacket packet) {
    bool const isBehind = hasBegun_ && packet.stampNanoSec <= endNanoSec_ - NextToleranceNanoSec;
    std::int64_t const stamp = packet.stampNanoSec;
    bool const isTooMuch = waiting_.size() >= MaxWaitingPackets;
    if (isBehind || isTooMuch || !waiting_.emplace(stamp, std::move(packet)).second) {
        ++leftOut_;
    }
}

bool PacketOrder::Take(Kovra::JiffyTime now, PlacedPacket& next) {
    // What came before playing began is past, too.
    while (!waiting_.empty() && !(now < waiting_.begin()->second.due)) {
        waiting_.erase(waiting_.begin());
        leftOut_ += hasBegun_ ? 1 : 0;
    }
    if (waiting_.empty()) {
        return false;
    }
    auto const first = waiting_.begin();
    std::int64_t const gap = hasBegun_ ? first->first - endNanoSec_ : 0;
    bool const isNext = gap < NextToleranceNanoSec;
    if (!isNext && now.NanoSec() < first->second.due.NanoSec() - HandOverNanoSec) {
        return false;
    }
    missingNanoSec_ += isNext ? 0 : gap;
    next = std::move(first->second);
    waiting_.erase(first);
    hasBegun_ = true;
    endNanoSec_ = next.stampNanoSec + next.packet.durationNanoSec;
    return true;
}

} // namespace AudioHost
