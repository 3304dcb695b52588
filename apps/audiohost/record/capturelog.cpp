#include "record/capturelog.h"

#include <algorithm>
#include <utility>

#include "listening/soundlevel.h"
#include "terminal/levelbar.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

constexpr std::int64_t NeighbourSlots = 2;
constexpr std::uint32_t BackwardFrom = 0x80000000U;

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
    constexpr std::size_t Delay = Media::CaptureLossFinder::SettleSlots - 1;
    Media::CaptureLossFinder finder;
    std::vector<CaptureLoss> losses;
    std::uint64_t lostBefore = 0;
    for (std::size_t i = 0; i < slots.size() + Delay; ++i) {
        std::uint64_t const frames = finder.Add(i < slots.size() ? slots[i].behindNanoSec : std::nullopt);
        if (frames != 0) {
            std::size_t const slot = i - Delay;
            AddLoss({static_cast<std::int64_t>(slot) * CaptureSlot::LengthNanoSec, frames,
                     HasRingEnded(slots, slot, lostBefore, frames)},
                    losses);
            lostBefore += frames;
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
