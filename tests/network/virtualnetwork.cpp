#include "network/virtualnetwork.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Network {

namespace {

std::int64_t FromMilliSec(double milliSec) {
    return std::llround(milliSec * 1e6);
}

std::int64_t FromSec(double sec) {
    return std::llround(sec * 1e9);
}

} // namespace

VirtualNetwork::VirtualNetwork(Severity const& severity, Sender const& sender, std::uint64_t seed)
    : severity_(severity), sender_(sender), random_(seed) {
    routePhaseNanoSec_ = FromSec(severity.routeSec * Random());
    outagePhaseNanoSec_ = FromSec(severity.outageSec * Random());
}

void VirtualNetwork::SetDetour(std::int64_t fromNanoSec, std::int64_t nanoSec) {
    detourFromNanoSec_ = fromNanoSec;
    detourNanoSec_ = nanoSec;
}

Packet VirtualNetwork::Next() {
    // What is sent from now on takes at least as long as the shortest way.
    std::int64_t const minNanoSec =
        FromMilliSec(severity_.delayMilliSec) + std::min<std::int64_t>(detourNanoSec_, 0);
    while (onTheWay_.empty() || SentNanoSec(nextNumber_) + minNanoSec <= onTheWay_.top().arrivalNanoSec) {
        Send();
    }
    Packet const packet = onTheWay_.top();
    onTheWay_.pop();
    return packet;
}

std::int64_t VirtualNetwork::DelayAt(std::int64_t sentNanoSec) const {
    std::int64_t delayNanoSec = FromMilliSec(severity_.delayMilliSec);
    std::int64_t const intervalNanoSec = FromSec(severity_.routeSec);
    if (intervalNanoSec != 0 &&
        (sentNanoSec - sender_.startNanoSec + routePhaseNanoSec_) / intervalNanoSec % 2 != 0) {
        delayNanoSec += FromMilliSec(severity_.routeMilliSec);
    }
    return delayNanoSec + (sentNanoSec >= detourFromNanoSec_ ? detourNanoSec_ : 0);
}

std::int64_t VirtualNetwork::LastChange(std::int64_t sentNanoSec) const {
    std::int64_t const intervalNanoSec = FromSec(severity_.routeSec);
    std::int64_t last = INT64_MIN / 2;
    if (intervalNanoSec != 0) {
        std::int64_t const sinceNanoSec = sentNanoSec - sender_.startNanoSec + routePhaseNanoSec_;
        last = sinceNanoSec >= intervalNanoSec ? sentNanoSec - sinceNanoSec % intervalNanoSec : last;
    }
    return sentNanoSec >= detourFromNanoSec_ ? std::max(last, detourFromNanoSec_) : last;
}

std::int64_t VirtualNetwork::SentNanoSec(std::int64_t number) const {
    // A burst leaves with its last frame.
    std::int64_t const last = number - number % burstFrames_ + burstFrames_ - 1;
    // Below 2^53 up to 100 days of the finest ticks.
    double const ticks = static_cast<double>(last * sender_.ticksPerFrame);
    double const rate = static_cast<double>(sender_.ticksPerSec) * (1.0 + sender_.skewPartsPerMillion * 1e-6);
    return sender_.startNanoSec + std::llround(ticks / rate * static_cast<double>(NanoSecPerSec));
}

void VirtualNetwork::Send() {
    Packet packet;
    packet.number = nextNumber_++;
    packet.sentNanoSec = SentNanoSec(packet.number);
    packet.ticks = sender_.firstTicks + static_cast<std::uint64_t>(packet.number) *
                                            static_cast<std::uint64_t>(sender_.ticksPerFrame);
    if (stamp_) {
        packet.ticks = stamp_(packet.number, packet.ticks);
    }
    if (sender_.wrapBits < 64) {
        packet.ticks &= (std::uint64_t{1} << sender_.wrapBits) - 1;
    }
    if (isSilent_ && isSilent_(packet.number)) {
        return;
    }
    std::int64_t const sinceNanoSec = packet.sentNanoSec - sender_.startNanoSec + outagePhaseNanoSec_;
    std::int64_t const intervalNanoSec = FromSec(severity_.outageSec);
    bool const isOut = intervalNanoSec != 0 && sinceNanoSec >= intervalNanoSec &&
                       sinceNanoSec % intervalNanoSec < FromMilliSec(severity_.outageMilliSec);
    // Drawn for every packet, so that an outage does not change what happens later.
    double const jitterMilliSec = severity_.jitterMilliSec * Random();
    if (Random() * 100.0 < severity_.lossPerCent || isOut) {
        ++lostCount_;
        return;
    }
    packet.arrivalNanoSec = packet.sentNanoSec + DelayAt(packet.sentNanoSec) + FromMilliSec(jitterMilliSec);
    onTheWay_.push(packet);
}

double VirtualNetwork::Random() {
    // Not a distribution of the library's, which differs from one library to the next.
    return static_cast<double>(random_() >> 11U) * 0x1p-53;
}

} // namespace Network
