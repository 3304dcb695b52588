#pragma once

#include <cstdint>
#include <functional>
#include <queue>
#include <random>
#include <vector>

#include "kovra/time.h"
#include "network/severity.h"

namespace Network {

using Kovra::NanoSecPerMilliSec;
using Kovra::NanoSecPerSec;

/// A sender of frames whose crystal is not ours.
struct Sender {
    /// Fast is positive.
    double skewPartsPerMillion = 0.0;
    std::int64_t ticksPerSec = 48'000;
    std::int64_t ticksPerFrame = 960;
    unsigned int wrapBits = 32;
    std::uint64_t firstTicks = 1'234'567;
    /// When it sends its first frame.
    std::int64_t startNanoSec = 1'000'000'000'000;
};

struct Packet {
    std::int64_t number = 0;
    /// As sent, wrapped.
    std::uint64_t ticks = 0;
    std::int64_t sentNanoSec = 0;
    std::int64_t arrivalNanoSec = 0;
};

/// Frames of one sender through a network of a severity, in the order in which they arrive.
///
/// **Threads:** one at a time. **Units:** nanoseconds of the receiver's monotonic clock.
class VirtualNetwork {
public:
    /// What a faulty sender stamps frame `number` with, instead of `ticks`.
    using Stamp = std::function<std::uint64_t(std::int64_t number, std::uint64_t ticks)>;

    VirtualNetwork(Severity const& severity, Sender const& sender, std::uint64_t seed);

    void SetStamp(Stamp stamp) { stamp_ = std::move(stamp); }
    /// Frames for which it says so are not sent: silence that is suppressed.
    void SetSilence(std::function<bool(std::int64_t number)> isSilent) { isSilent_ = std::move(isSilent); }
    /// From an instant on the way takes so much longer, on top of the severity's own changes.
    void SetDetour(std::int64_t fromNanoSec, std::int64_t nanoSec);
    /// Frames wait until so many are there, and are then sent at once.
    void SetBurst(std::int64_t frames) { burstFrames_ = frames; }

    Packet Next();

    /// What the way takes without jitter.
    std::int64_t DelayAt(std::int64_t sentNanoSec) const;
    /// The last time before it, or at it, at which `DelayAt` changed; far in the past when it never did.
    std::int64_t LastChange(std::int64_t sentNanoSec) const;
    std::int64_t SentNanoSec(std::int64_t number) const;
    std::int64_t LostCount() const { return lostCount_; }

private:
    struct IsLater {
        bool operator()(Packet const& a, Packet const& b) const {
            return a.arrivalNanoSec != b.arrivalNanoSec ? a.arrivalNanoSec > b.arrivalNanoSec
                                                        : a.number > b.number;
        }
    };

    void Send();
    double Random();

    Severity const severity_;
    Sender const sender_;
    std::mt19937_64 random_;
    std::int64_t routePhaseNanoSec_ = 0;
    std::int64_t outagePhaseNanoSec_ = 0;
    std::int64_t detourFromNanoSec_ = INT64_MAX;
    std::int64_t detourNanoSec_ = 0;
    std::int64_t burstFrames_ = 1;
    Stamp stamp_;
    std::function<bool(std::int64_t)> isSilent_;
    std::int64_t nextNumber_ = 0;
    std::int64_t lostCount_ = 0;
    std::priority_queue<Packet, std::vector<Packet>, IsLater> onTheWay_;
};

} // namespace Network
