#include "output/outputwatch.h"

#include <algorithm>
#include <utility>

#include "kovra/thread.h"
#include "listening/samples.h"

namespace AudioHost {

namespace {

using Listening::NanoSecPerMilliSec;

/// Of ten sessions started after a second of silence all began within 4 ms, of ten started at once five 40 ms
/// early.
constexpr std::int64_t WarmUpNanoSec = 1000 * NanoSecPerMilliSec;
constexpr std::int64_t SteadyNanoSec = 500 * NanoSecPerMilliSec;
/// A device that never gets there is played on all the same.
constexpr std::int64_t LongestWarmUpNanoSec = 3000 * NanoSecPerMilliSec;
/// Between the cursor's latest and earliest against the clock: a step of 10 to 16 ms, as devices have them,
/// and as much again for a late look.
constexpr std::int64_t SteadyBandNanoSec = 30 * NanoSecPerMilliSec;
constexpr std::int64_t LookMilliSec = 20;

} // namespace

OutputWatch::OutputWatch(std::unique_ptr<SilentSound> sound) : sound_(std::move(sound)) {
    if (sound_) {
        thread_ = std::thread([this] { Watch(); });
    }
}

OutputWatch::~OutputWatch() {
    End();
}

void OutputWatch::WaitUntilSteady(Pacer& pacer) const {
    Kovra::JiffyTime const start = Kovra::JiffyTime::Now();
    Kovra::JiffyTime now = start;
    while (sound_ && !IsSteady() && now.GetDiffSysTime(start).NanoSec() < LongestWarmUpNanoSec) {
        if (!pacer.WaitUntil(now.AddMilliSec(LookMilliSec))) {
            return;
        }
        now = Kovra::JiffyTime::Now();
    }
}

Listening::OutputLog OutputWatch::Stop(std::int64_t startNanoSec) {
    End();
    if (!stays_.empty()) {
        finder_.Add(stays_.back());
        stays_.clear();
    }
    return std::exchange(finder_, Listening::GlitchFinder()).Finish(startNanoSec);
}

void OutputWatch::End() {
    isOver_ = true;
    if (thread_.joinable()) {
        thread_.join();
    }
    sound_.reset();
}

void OutputWatch::Watch() {
    Kovra::SetThreadName("AudioHost.OutputWatch");
    Kovra::SetThreadPriority(Kovra::ThreadPriority_t::AboveNormal);
    while (!isOver_) {
        std::optional<std::int64_t> const position = sound_->GetPositionNanoSec();
        std::int64_t const now = Kovra::JiffyTime::Now().NanoSec();
        if (position) {
            Note(now, *position, sound_->GetLengthNanoSec());
        }
        sound_->Rest();
    }
}

void OutputWatch::Note(std::int64_t nowNanoSec, std::int64_t positionNanoSec, std::int64_t lengthNanoSec) {
    std::lock_guard<std::mutex> const guard(lock_);
    if (stays_.empty()) {
        firstNanoSec_ = nowNanoSec;
        stays_.push_back({nowNanoSec, nowNanoSec, 0});
    } else if (positionNanoSec == lastPositionNanoSec_) {
        stays_.back().lastNanoSec = nowNanoSec;
    } else {
        std::int64_t const ahead = (positionNanoSec - lastPositionNanoSec_ + lengthNanoSec) % lengthNanoSec;
        // The shorter way round: a cursor may be set back a little.
        std::int64_t const moved = ahead > lengthNanoSec / 2 ? ahead - lengthNanoSec : ahead;
        finder_.Add(stays_.back());
        stays_.push_back({nowNanoSec, nowNanoSec, stays_.back().playedNanoSec + moved});
        while (stays_.front().lastNanoSec < nowNanoSec - SteadyNanoSec) {
            stays_.pop_front();
        }
    }
    lastPositionNanoSec_ = positionNanoSec;
}

bool OutputWatch::IsSteady() const {
    std::lock_guard<std::mutex> const guard(lock_);
    if (stays_.empty() || stays_.back().lastNanoSec - firstNanoSec_ < WarmUpNanoSec) {
        return false;
    }
    std::int64_t latest = stays_.back().lastNanoSec - stays_.back().playedNanoSec;
    std::int64_t earliest = latest;
    for (Listening::CursorStay const& stay : stays_) {
        latest = std::max(latest, stay.lastNanoSec - stay.playedNanoSec);
        earliest = std::min(earliest, stay.firstNanoSec - stay.playedNanoSec);
    }
    return latest - earliest <= SteadyBandNanoSec;
}

} // namespace AudioHost
