#pragma once

#include <cstddef>
#include <cstdint>
#include <map>

#include "kovra/time.h"
#include "live/streamconnection.h"

namespace AudioHost {

/// A packet that the stream clock has placed.
struct PlacedPacket {
    LivePacket packet;
    /// On the stream's timeline, in nanoseconds.
    std::int64_t stampNanoSec = 0;
    Kovra::JiffyTime due;
};

/// A packet is the next one when it begins less than this behind the one before: timestamps are rounded, and
/// some senders tell the time of sending.
constexpr std::int64_t NextToleranceNanoSec = 5 * Kovra::NanoSecPerMilliSec;
/// A packet waits for those before it until so long before it is due: the renderer needs that.
constexpr std::int64_t HandOverNanoSec = 20 * Kovra::NanoSecPerMilliSec;

/// What waits at most: ten seconds of frames of 10 ms. A sender whose packets lie further ahead is not kept.
constexpr std::size_t MaxWaitingPackets = 1000;

/// Puts the packets of a stream into their order, each as soon as none can come before it in time.
///
/// **Threads:** one at a time.
class PacketOrder {
public:
    /// What comes a second time, behind what was taken already, or when too many wait, is left out.
    void Add(PlacedPacket packet);
    /// The next packet, if its time has come. What is due already is left out.
    bool Take(Kovra::JiffyTime now, PlacedPacket& next);
    /// Where the sound of what was taken last ends.
    void SetEnd(std::int64_t stampNanoSec) { endNanoSec_ = stampNanoSec; }

    /// Drops what waits: the stream has been opened anew.
    void Forget() { waiting_.clear(); }

    bool IsEmpty() const { return waiting_.empty(); }
    /// Packets that were left out since the first one was taken.
    std::uint64_t CountLeftOut() const { return leftOut_; }
    /// Sound that is missing between what was taken.
    std::int64_t GetMissingNanoSec() const { return missingNanoSec_; }

private:
    std::map<std::int64_t, PlacedPacket> waiting_;
    bool hasBegun_ = false;
    std::int64_t endNanoSec_ = 0;
    std::int64_t missingNanoSec_ = 0;
    std::uint64_t leftOut_ = 0;
};

} // namespace AudioHost
