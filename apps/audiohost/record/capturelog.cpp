#include "record/capturelog.h"

#include <algorithm>
#include <utility>

#include "listening/soundlevel.h"
#include "terminal/levelbar.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

/// Slots within which sound that was only late must have come in.
constexpr std::size_t SettleSlots = 10;
/// A rise from here on is a loss: whole frames are lost, and reading and the sound card's clock waver by less
/// than the rest of a frame.
constexpr std::int64_t MinLossNanoSec = 15'000'000;
/// A single read may be late for many reasons: so many slots with frames must agree, which leaves out the
/// last half second of a take.
constexpr std::size_t MinSlots = 3;
/// What the delay may grow in a slot without any loss: sound card and machine have clocks of their own, and
/// the first reads of a take may come early.
constexpr std::int64_t MaxDriftNanoSec = 1'000'000;
constexpr std::int64_t NeighbourSlots = 2;
constexpr std::uint32_t BackwardFrom = 0x80000000U;

/// The least delay from each slot on, for as long as it may take to settle; nothing where too few slots have
/// frames to tell.
std::vector<std::optional<std::int64_t>> Settle(std::vector<CaptureSlot> const& slots) {
    std::vector<std::optional<std::int64_t>> settled;
    for (std::size_t i = 0; i < slots.size(); ++i) {
        std::vector<std::int64_t> delays;
        for (std::size_t k = i; k < std::min(i + SettleSlots, slots.size()); ++k) {
            if (slots[k].behindNanoSec) {
                delays.push_back(*slots[k].behindNanoSec);
            }
        }
        bool const isEnough = delays.size() >= MinSlots;
        settled.push_back(isEnough ? std::optional(*std::min_element(delays.begin(), delays.end()))
                                   : std::nullopt);
    }
    return settled;
}

/// A loss shows in the slot behind it, or a slot sooner where reads happen to come late.
bool HasRingEnded(std::vector<CaptureSlot> const& slots, std::size_t slot, std::uint64_t lostBefore,
                  std::uint64_t lost) {
    std::uint64_t const from = slot < 2 ? 0 : slots[slot - 2].framesRead;
    std::uint64_t const to = slots[std::min(slot + 1, slots.size() - 1)].framesRead;
    return (from + lostBefore) / CaptureRingFrames != (to + lostBefore + lost) / CaptureRingFrames;
}

/// What shows in neighbouring slots is one loss.
void AddLoss(CaptureLoss const& loss, std::vector<CaptureLoss>& losses) {
    if (losses.empty() ||
        loss.timeNanoSec - losses.back().timeNanoSec > NeighbourSlots * CaptureSlot::LengthNanoSec) {
        losses.push_back(loss);
        return;
    }
    losses.back().frames += loss.frames;
    losses.back().isAtRingEnd = losses.back().isAtRingEnd || loss.isAtRingEnd;
}

} // namespace

std::vector<CaptureLoss> FindLosses(std::vector<CaptureSlot> const& slots) {
    std::vector<std::optional<std::int64_t>> const settled = Settle(slots);
    std::vector<CaptureLoss> losses;
    std::optional<std::int64_t> reference;
    std::uint64_t lostBefore = 0;
    for (std::size_t i = 0; i < settled.size(); ++i) {
        if (!settled[i]) {
            continue;
        }
        std::int64_t const rise = *settled[i] - reference.value_or(*settled[i]);
        if (rise >= MinLossNanoSec) {
            auto const frames = static_cast<std::uint64_t>((rise + CaptureFrameNanoSec - MinLossNanoSec) /
                                                           CaptureFrameNanoSec);
            AddLoss({static_cast<std::int64_t>(i) * CaptureSlot::LengthNanoSec, frames,
                     HasRingEnded(slots, i, lostBefore, frames)},
                    losses);
            lostBefore += frames;
            reference = *reference + static_cast<std::int64_t>(frames) * CaptureFrameNanoSec;
        } else {
            reference = reference.value_or(*settled[i]) + std::min(rise, MaxDriftNanoSec);
        }
    }
    return losses;
}

std::uint64_t CaptureLog::GetFramesLost() const {
    std::uint64_t lost = 0;
    for (CaptureLoss const& loss : losses) {
        lost += loss.frames;
    }
    return lost;
}

void CaptureLogKeeper::SetStart(Kovra::JiffyTime start) {
    std::lock_guard<std::mutex> const guard(lock_);
    start_ = start;
    log_.startedAt = Kovra::SysTime::Now();
}

void CaptureLogKeeper::CheckIdent(Media::FrameIdent const& ident) {
    if (previous_) {
        // Numbers wrap; half of their range is forward.
        std::uint32_t const skipped = ident.sequenceNumber - previous_->sequenceNumber - 1U;
        bool const isForward = skipped < BackwardFrom;
        log_.numbersMissing += isForward ? skipped : 0;
        log_.numbersBack += isForward ? 0 : 1;
        bool const isOnTime = (ident.time - previous_->time).NanoSec() == CaptureFrameNanoSec;
        log_.timestampsOff += isOnTime ? 0 : 1;
    }
    previous_ = ident;
}

CaptureSlot& CaptureLogKeeper::SlotAt(std::int64_t nanoSec) {
    auto const index = static_cast<std::size_t>(nanoSec / CaptureSlot::LengthNanoSec);
    CaptureSlot empty;
    empty.framesRead = log_.slots.empty() ? 0 : log_.slots.back().framesRead;
    empty.level = log_.slots.empty() ? 0.0F : log_.slots.back().level;
    log_.slots.resize(std::max(log_.slots.size(), index + 1), empty);
    return log_.slots[index];
}

void CaptureLogKeeper::AddFrames(std::vector<std::shared_ptr<Media::FrameAud>> const& frames, float level) {
    Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
    std::lock_guard<std::mutex> const guard(lock_);
    std::int64_t const time = std::max<std::int64_t>(0, now.GetDiffSysTime(start_).NanoSec());
    for (std::shared_ptr<Media::FrameAud> const& frame : frames) {
        CheckIdent(frame->GetIdent());
    }
    log_.firstNanoSec = log_.frames == 0 ? time : log_.firstNanoSec;
    log_.lastNanoSec = time;
    log_.frames += frames.size();
    CaptureSlot& slot = SlotAt(time);
    std::int64_t const behind = time - log_.GetReadNanoSec();
    slot.behindNanoSec = std::min(slot.behindNanoSec.value_or(behind), behind);
    slot.framesRead = log_.frames;
    slot.level = level;
}

void CaptureLogKeeper::AddSound(Listening::SampleView sound) {
    std::lock_guard<std::mutex> const guard(lock_);
    log_.peak = std::max(log_.peak, Listening::Peak(sound));
    energy_ += Listening::SumOfSquares(sound);
    log_.samples += sound.GetSize();
    if (keepSound_) {
        log_.sound.insert(log_.sound.end(), sound.begin(), sound.end());
    }
}

void CaptureLogKeeper::AddFailure(int status) {
    std::lock_guard<std::mutex> const guard(lock_);
    ++log_.readsFailed;
    log_.failedStatus = status;
}

CaptureLogKeeper::Progress CaptureLogKeeper::GetProgress() const {
    std::lock_guard<std::mutex> const guard(lock_);
    return {log_.GetReadNanoSec(), log_.frames, log_.slots.empty() ? 0.0F : log_.slots.back().level};
}

CaptureLog CaptureLogKeeper::Take() {
    std::lock_guard<std::mutex> const guard(lock_);
    log_.levelDecibel = Listening::EnergyDecibel(energy_, log_.samples);
    log_.losses = FindLosses(log_.slots);
    return std::exchange(log_, CaptureLog());
}

std::string FormatCaptureProgress(CaptureLogKeeper::Progress const& progress) {
    return FormatClock(progress.readNanoSec) + "  " + FormatCount(progress.frames, "frame") + "  " +
           FormatLevelBar(LineLevelDecibel(progress.level));
}

} // namespace AudioHost
