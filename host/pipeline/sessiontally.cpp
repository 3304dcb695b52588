#include "sessiontally.h"

#include <algorithm>

namespace Media {

namespace {

/// As the renderer's: longer without a frame, and a session is stopped as idle.
constexpr std::int64_t IdleNanoSec = Kovra::NanoSecPerSec;

void AddFrequencyTime(FrequencyTime_t const& time,
                      std::array<FrequencyTime_t, SessionStatistics_t::Frequencies>& times) {
    auto const last = times.end() - 1;
    auto const place = std::find_if(
        times.begin(), last, [&](FrequencyTime_t const& one) { return one.hz == time.hz || one.hz == 0; });
    place->hz = place == last ? 0 : time.hz;
    place->nanoSec += time.nanoSec;
}

void MergeEpisodes(Episodes_t const& other, Episodes_t& sum) {
    sum.episodes += other.episodes;
    sum.times += other.times;
    if (!sum.last || (other.last && *sum.last < *other.last)) {
        sum.last = other.last;
    }
}

} // namespace

void Merge(SessionStatistics_t const& other, SessionStatistics_t& sum) {
    sum.session = 0;
    sum.jobs += other.jobs;
    for (auto const episodes :
         {&SessionStatistics_t::failures, &SessionStatistics_t::lateJobs, &SessionStatistics_t::pauses,
          &SessionStatistics_t::starts, &SessionStatistics_t::lateStops, &SessionStatistics_t::jumps,
          &SessionStatistics_t::losses, &SessionStatistics_t::smallGaps, &SessionStatistics_t::rateChanges}) {
        MergeEpisodes(other.*episodes, sum.*episodes);
    }
    sum.lostSamples += other.lostSamples;
    for (FrequencyTime_t const& time : other.frequencyTimes) {
        if (time.nanoSec != 0) {
            AddFrequencyTime(time, sum.frequencyTimes);
        }
    }
    auto const magnitude = [](std::int64_t nanoSec) { return nanoSec < 0 ? -nanoSec : nanoSec; };
    if (sum.error.GetCount() == 0 || magnitude(sum.errorNanoSec) < magnitude(other.errorNanoSec)) {
        sum.errorNanoSec = other.errorNanoSec;
        sum.trendPpm = other.trendPpm;
        sum.frequencyHz = other.frequencyHz;
    }
    sum.error.Merge(other.error);
    sum.renderTime.Merge(other.renderTime);
}

void SessionTally::AddJob(Pipeline::Report_t const& report) {
    std::int64_t const start = report.started.NanoSec();
    std::lock_guard<std::mutex> const guard(lock_);
    NotePause(start);
    ++told_.jobs;
    told_.renderTime.Add(report.renderNanoSec);
    if (report.outcome != PipelineStageJob::Outcome_t::Succeeded) {
        told_.failures.Add(report.started);
    } else if (report.requested < report.started) {
        // The renderer has not presented it, and tells back what was asked for.
        told_.lateJobs.Add(report.started);
    } else {
        // Saturates, and has a magnitude.
        told_.errorNanoSec = std::max(report.achieved.GetDiffSysTime(report.requested).NanoSec(), -INT64_MAX);
        told_.error.Add(told_.errorNanoSec);
        trend_.Add(start, told_.errorNanoSec);
    }
    hasJobs_ = true;
    endNanoSec_ = start + report.renderNanoSec;
}

/// A job begins, perhaps after a pause.
void SessionTally::NotePause(std::int64_t startNanoSec) {
    if (!hasJobs_ || startNanoSec - endNanoSec_ <= IdleNanoSec) {
        return;
    }
    told_.pauses.Add(Kovra::JiffyTime(startNanoSec));
    trend_.Restart();
    CountFrequencyTime(startNanoSec);
}

/// Of a pause only what was still played counts.
void SessionTally::CountFrequencyTime(std::int64_t untilNanoSec) {
    std::int64_t const playedUntil = std::min(untilNanoSec, endNanoSec_ + IdleNanoSec);
    if (told_.frequencyHz != 0 && playedUntil > countedNanoSec_) {
        AddFrequencyTime({told_.frequencyHz, playedUntil - countedNanoSec_}, told_.frequencyTimes);
    }
    countedNanoSec_ = std::max(countedNanoSec_, untilNanoSec);
}

void SessionTally::SetFrequency(std::uint32_t hz, std::int64_t nanoSec) {
    CountFrequencyTime(nanoSec);
    told_.frequencyHz = hz;
}

void SessionTally::AddEvent(RendererEvent_t const& event, Kovra::JiffyTime time) {
    std::lock_guard<std::mutex> const guard(lock_);
    switch (event.kind) {
        case RendererEventKind_t::Started:
            told_.starts.Add(time);
            trend_.Restart();
            break;
        case RendererEventKind_t::DriftReset:
            told_.jumps.Add(time);
            trend_.Restart();
            break;
        case RendererEventKind_t::LateStop:
            told_.lateStops.Add(time);
            SetFrequency(0, time.NanoSec());
            break;
        case RendererEventKind_t::PacketLoss:
            told_.losses.Add(time);
            told_.lostSamples += event.number;
            break;
        case RendererEventKind_t::SmallGap:
            told_.smallGaps.Add(time);
            break;
        case RendererEventKind_t::RateChange:
            told_.rateChanges.Add(time);
            break;
        case RendererEventKind_t::FrequencyChange:
        case RendererEventKind_t::IdleStop:
        case RendererEventKind_t::Other:
            break;
    }
    if (std::uint32_t const hz = GetFrequencyHz(event)) {
        SetFrequency(hz, time.NanoSec());
    }
}

SessionStatistics_t SessionTally::Get() const {
    std::int64_t const now = Kovra::JiffyTime::Now().NanoSec();
    std::lock_guard<std::mutex> const guard(lock_);
    SessionStatistics_t told = told_;
    told.trendPpm = trend_.GetPpm();
    if (told.frequencyHz != 0 && endNanoSec_ > countedNanoSec_) {
        AddFrequencyTime({told.frequencyHz, endNanoSec_ - countedNanoSec_}, told.frequencyTimes);
    }
    if (now - endNanoSec_ > IdleNanoSec) {
        told.frequencyHz = 0;
    }
    return told;
}

} // namespace Media
