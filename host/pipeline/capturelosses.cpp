#include "pipeline/capturelosses.h"

#include <algorithm>

namespace Media {

namespace {

/// A rise from here on is a loss: whole frames are lost, and reading and the sound card's clock waver by less
/// than the rest of a frame.
constexpr std::int64_t MinLossNanoSec = 15'000'000;
/// A single read may be late for many reasons: so many slots with frames must agree, which leaves out the
/// last half second of a take.
constexpr std::size_t MinSlots = 3;
/// What the delay may grow in a slot without any loss: sound card and machine have clocks of their own, and
/// the first reads of a take may come early.
constexpr std::int64_t MaxDriftNanoSec = 1'000'000;

} // namespace

/// The least delay of the slots kept; nothing where too few have frames to tell.
std::optional<std::int64_t> CaptureLossFinder::FindLeast() const {
    std::optional<std::int64_t> least;
    std::size_t count = 0;
    for (std::optional<std::int64_t> const& behind : slots_) {
        if (behind) {
            least = std::min(least.value_or(*behind), *behind);
            ++count;
        }
    }
    return count < MinSlots ? std::nullopt : least;
}

std::uint64_t CaptureLossFinder::Add(std::optional<std::int64_t> behindNanoSec) {
    slots_[next_ % SettleSlots] = behindNanoSec;
    ++next_;
    std::optional<std::int64_t> const settled = next_ < SettleSlots ? std::nullopt : FindLeast();
    if (!settled) {
        return 0;
    }
    std::int64_t const rise = *settled - reference_.value_or(*settled);
    if (rise < MinLossNanoSec) {
        reference_ = reference_.value_or(*settled) + std::min(rise, MaxDriftNanoSec);
        return 0;
    }
    std::int64_t const frames = (rise + CaptureFrameNanoSec - MinLossNanoSec) / CaptureFrameNanoSec;
    reference_ = *reference_ + frames * CaptureFrameNanoSec;
    return static_cast<std::uint64_t>(frames);
}

} // namespace Media
