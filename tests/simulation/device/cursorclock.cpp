#include "simulation/device/cursorclock.h"

#include <algorithm>

namespace Simulation {

namespace {

constexpr std::int64_t Billion = 1'000'000'000;
// At most 4 * 10^14 billionths of a frame pass in a second (200 kHz, twice as fast): an hour of them is
// 1.4 * 10^18, below 2^63.
constexpr std::int64_t MaxStepSec = 3600;

} // namespace

void CursorClock::SetRate(std::uint32_t frequencyHz, std::int64_t skewPartsPerBillion) {
    billionthsPerSec_ = frequencyHz * (PartsPerBillion + skewPartsPerBillion);
}

void CursorClock::Start(std::int64_t nanoSec) {
    nanoSec_ = nanoSec;
    isRunning_ = true;
}

void CursorClock::SetFrame(std::int64_t frame) {
    frame_ = frame;
    billionths_ = 0;
    quintillionths_ = 0;
}

void CursorClock::AdvanceTo(std::int64_t nanoSec) {
    if (!isRunning_ || nanoSec <= nanoSec_) {
        return;
    }
    std::int64_t seconds = (nanoSec - nanoSec_) / Billion;
    std::int64_t const rest = (nanoSec - nanoSec_) % Billion;
    nanoSec_ = nanoSec;
    while (seconds > 0) {
        std::int64_t const step = std::min(seconds, MaxStepSec);
        billionths_ += step * billionthsPerSec_;
        frame_ += billionths_ / Billion;
        billionths_ %= Billion;
        seconds -= step;
    }
    // Below 10^9 * 4 * 10^5 and 10^9 * 10^9: the rate is taken apart, so that no product passes 2^63.
    billionths_ += rest * (billionthsPerSec_ / Billion);
    quintillionths_ += rest * (billionthsPerSec_ % Billion);
    billionths_ += quintillionths_ / Billion;
    quintillionths_ %= Billion;
    frame_ += billionths_ / Billion;
    billionths_ %= Billion;
}

std::int64_t CursorClock::TimeOf(std::int64_t frame) const {
    if (!isRunning_) {
        return INT64_MAX;
    }
    if (frame <= frame_) {
        return nanoSec_;
    }
    // The estimate is good to far less than a second; the answer lies between its neighbours.
    double const seconds = static_cast<double>(frame - frame_) * static_cast<double>(Billion) /
                           static_cast<double>(billionthsPerSec_);
    auto const wholeSeconds = static_cast<std::int64_t>(seconds);
    std::int64_t early = nanoSec_ + std::max<std::int64_t>(wholeSeconds - 1, 0) * Billion;
    std::int64_t late = nanoSec_ + (wholeSeconds + 2) * Billion;
    while (early < late) {
        std::int64_t const middle = early + (late - early) / 2;
        CursorClock probe = *this;
        probe.AdvanceTo(middle);
        if (probe.frame_ >= frame) {
            late = middle;
        } else {
            early = middle + 1;
        }
    }
    return late;
}

} // namespace Simulation
