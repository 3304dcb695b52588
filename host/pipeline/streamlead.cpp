#include "streamlead.h"

#include <algorithm>

#include "kovra/time.h"

namespace Media {

namespace {

using Kovra::NanoSecPerMilliSec;

/// From a frame's arrival to its sound: a frame of 20 ms that waits for its turn, and the band of the
/// playback frequency, which may have the sound early by that.
constexpr double MarginNanoSec = 20.0 * NanoSecPerMilliSec;
/// The playback frequency gives 833 ppm, of which the two crystals need theirs.
constexpr double SlewPerNanoSec = 250e-6;
/// A lead that is little too long stays.
constexpr double SlackNanoSec = 5.0 * NanoSecPerMilliSec;
/// A renderer that has nothing to play for more than a second begins anew.
constexpr std::int64_t PauseNanoSec = 1'500 * NanoSecPerMilliSec;
/// `FramesToRaise` late frames within such a time break the sound.
constexpr std::int64_t LateWithinNanoSec = 10'000 * NanoSecPerMilliSec;

} // namespace

StreamLead::StreamLead(std::int64_t leadNanoSec, bool isAdapted, std::int64_t maxNanoSec)
    : isAdapted_(isAdapted),
      maxNanoSec_(static_cast<double>(maxNanoSec)),
      leadNanoSec_(static_cast<double>(isAdapted ? std::min(leadNanoSec, maxNanoSec) : leadNanoSec)) {}

void StreamLead::Follow(std::int64_t spreadNanoSec, bool isSettled, std::int64_t arrivalNanoSec) {
    std::int64_t const sinceNanoSec = lastArrivalNanoSec_ == INT64_MIN
                                          ? 0
                                          : std::max<std::int64_t>(arrivalNanoSec - lastArrivalNanoSec_, 0);
    lastArrivalNanoSec_ = std::max(lastArrivalNanoSec_, arrivalNanoSec);
    if (!isAdapted_) {
        return;
    }
    double const wanted = Wanted(spreadNanoSec);
    bool const isTooLong = isSettled && wanted < leadNanoSec_ - SlackNanoSec;
    if (sinceNanoSec > PauseNanoSec) {
        leadNanoSec_ = isSettled ? wanted : std::max(wanted, leadNanoSec_);
    } else if (wanted > leadNanoSec_ || isTooLong) {
        double const reach = SlewPerNanoSec * static_cast<double>(sinceNanoSec);
        leadNanoSec_ += std::clamp(wanted - leadNanoSec_, -reach, reach);
    }
}

std::int64_t StreamLead::Raise(std::int64_t delayNanoSec, std::int64_t arrivalNanoSec) {
    if (lateCount_ == late_.size()) {
        std::move(late_.begin() + 1, late_.end(), late_.begin());
        --lateCount_;
    }
    late_[lateCount_++] = {arrivalNanoSec, delayNanoSec};
    if (!isAdapted_ || lateCount_ < late_.size() ||
        arrivalNanoSec - late_.front().arrivalNanoSec > LateWithinNanoSec) {
        return 0;
    }
    auto const mostLate = std::max_element(late_.begin(), late_.end(), [](Late const& a, Late const& b) {
        return a.delayNanoSec < b.delayNanoSec;
    });
    double const wanted = Wanted(mostLate->delayNanoSec);
    if (wanted <= leadNanoSec_) {
        return 0;
    }
    lateCount_ = 0;
    auto const raised = static_cast<std::int64_t>(wanted - leadNanoSec_);
    leadNanoSec_ = wanted;
    return raised;
}

double StreamLead::Wanted(std::int64_t spreadNanoSec) const {
    return std::min(static_cast<double>(spreadNanoSec) + MarginNanoSec, maxNanoSec_);
}

} // namespace Media
