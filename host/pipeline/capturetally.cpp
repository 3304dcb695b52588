#include "capturetally.h"

#include <algorithm>

namespace Media {

namespace {

constexpr std::uint32_t BackwardFrom = 0x80000000U;
constexpr auto SettleSlots = static_cast<std::int64_t>(CaptureLossFinder::SettleSlots);

} // namespace

void CaptureTally::Add(std::vector<std::shared_ptr<FrameAud>> const& frames) {
    std::int64_t const now = Kovra::JiffyTime::Now().NanoSec();
    std::lock_guard<std::mutex> const guard(lock_);
    if (frames.empty()) {
        return;
    }
    for (std::shared_ptr<FrameAud> const& frame : frames) {
        CheckNumber(frame->GetIdent().sequenceNumber, now);
        ++told_.frames;
        ++frames_;
    }
    std::int64_t const passed = now - beginNanoSec_;
    std::int64_t const slot = passed / CaptureLossFinder::SlotNanoSec;
    // In a longer pause all further slots would be empty.
    std::int64_t const skipped = std::min(slot - slot_, SettleSlots);
    for (std::int64_t i = 0; i < skipped; ++i) {
        EndSlot();
    }
    slot_ = std::max(slot_, slot);
    std::int64_t const behind = passed - frames_ * CaptureFrameNanoSec;
    behindNanoSec_ = std::min(behindNanoSec_.value_or(behind), behind);
}

void CaptureTally::CheckNumber(std::uint32_t number, std::int64_t nowNanoSec) {
    if (!number_) {
        Begin(nowNanoSec);
    } else if (std::uint32_t const skipped = number - *number_ - 1U; skipped < BackwardFrom) {
        // Numbers wrap; half of their range is forward.
        told_.skippedFrames += skipped;
        frames_ += skipped;
    } else {
        ++told_.restarts;
        Begin(nowNanoSec);
    }
    number_ = number;
}

/// What comes now is compared with the clock from here on.
void CaptureTally::Begin(std::int64_t nowNanoSec) {
    beginNanoSec_ = nowNanoSec;
    frames_ = 0;
    finder_ = CaptureLossFinder();
    slot_ = 0;
    behindNanoSec_.reset();
}

void CaptureTally::EndSlot() {
    std::uint64_t const lost = finder_.Add(behindNanoSec_);
    behindNanoSec_.reset();
    if (lost != 0) {
        told_.losses.Add(Kovra::JiffyTime::Now());
        told_.lostFrames += lost;
    }
}

CaptureStatistics_t CaptureTally::Get() const {
    std::lock_guard<std::mutex> const guard(lock_);
    return told_;
}

} // namespace Media
