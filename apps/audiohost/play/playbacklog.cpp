#include "play/playbacklog.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <numeric>
#include <utility>

namespace AudioHost {

namespace {

constexpr std::size_t PieceSamples = std::size_t{10} * Listening::SoundRateHz;

/// Of 2^64. Multiples of it lie as evenly as can be, and keep step with nothing that repeats.
constexpr std::uint64_t GoldenRatio = 0x9E3779B97F4A7C15U;

/// Of a session: five minutes and more of frames of 20 ms, of which a percentile is told as well as of all.
constexpr std::size_t PointsForSummary = 16'384;

} // namespace

void GrowingSound::Put(std::size_t start, Listening::SampleView samples) {
    size_ = std::max(size_, start + samples.GetSize());
    while (pieces_.size() * PieceSamples < size_) {
        pieces_.emplace_back(PieceSamples);
    }
    for (std::size_t done = 0; done < samples.GetSize();) {
        std::size_t const at = start + done;
        Listening::SampleView const part = samples.Cut(
            static_cast<std::int64_t>(done), static_cast<std::int64_t>(PieceSamples - at % PieceSamples));
        std::copy(part.begin(), part.end(),
                  pieces_[at / PieceSamples].begin() + static_cast<std::ptrdiff_t>(at % PieceSamples));
        done += part.GetSize();
    }
}

Listening::Samples GrowingSound::Take() {
    Listening::Samples sound;
    sound.reserve(size_);
    for (Listening::Samples& piece : pieces_) {
        std::size_t const count = std::min(PieceSamples, size_ - sound.size());
        sound.insert(sound.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
        // An hour is not to be there twice.
        Listening::Samples().swap(piece);
    }
    pieces_.clear();
    size_ = 0;
    return sound;
}

PointKeeper::PointKeeper(std::size_t most) : most_(most) {
    // What grows by itself takes twice as much, and leaves holes where it was.
    if (most < points_.max_size()) {
        points_.reserve(most + 1);
    }
}

bool PointKeeper::Stays(Numbered const& one) const {
    return one.number < EndPoints || one.number + EndPoints >= count_ ||
           one.number * GoldenRatio <= std::numeric_limits<std::uint64_t>::max() / every_ ||
           one.number == lowest_.number || one.number == highest_.number;
}

void PointKeeper::Add(PresentationPoint const& point) {
    Numbered const latest{count_, point};
    points_.push_back(latest);
    lowest_ = count_ == 0 || point.errorMilliSec < lowest_.point.errorMilliSec ? latest : lowest_;
    highest_ = count_ == 0 || point.errorMilliSec > highest_.point.errorMilliSec ? latest : highest_;
    ++count_;
    if (points_.size() > EndPoints) {
        auto const left = points_.end() - static_cast<std::ptrdiff_t>(EndPoints) - 1;
        if (!Stays(*left)) {
            points_.erase(left);
        }
    }
    if (points_.size() > most_) {
        every_ *= 2;
        points_.erase(std::remove_if(points_.begin(), points_.end(),
                                     [this](Numbered const& one) { return !Stays(one); }),
                      points_.end());
    }
}

std::vector<PresentationPoint> PointKeeper::Take() {
    std::vector<PresentationPoint> points;
    points.reserve(points_.size());
    for (Numbered const& one : points_) {
        points.push_back(one.point);
    }
    *this = PointKeeper(most_);
    return points;
}

std::vector<double> ErrorsOf(SessionLog const& session) {
    std::vector<double> errors;
    errors.reserve(session.points.size());
    for (PresentationPoint const& point : session.points) {
        errors.push_back(point.errorMilliSec);
    }
    return errors;
}

std::uint64_t CountEvents(SessionLog const& session, EventKind_t kind) {
    return std::accumulate(session.events.begin(), session.events.end(), std::uint64_t{0},
                           [kind](std::uint64_t count, PlayEvent const& event) {
                               return count + (event.kind == kind ? event.count : 0);
                           });
}

void PlaybackLogKeeper::SetStart(Kovra::JiffyTime start) {
    std::lock_guard<std::mutex> const guard(lock_);
    start_ = start;
    log_.startedAt = Kovra::SysTime::Now();
}

std::size_t PlaybackLogKeeper::AddSession(Media::Pipeline::SessionId_t id, SessionLog session) {
    std::lock_guard<std::mutex> const guard(lock_);
    std::size_t const number = log_.sessions.size();
    numbers_[id] = number;
    log_.sessions.push_back(std::move(session));
    sounds_.emplace_back();
    points_.emplace_back(keepAll_ ? std::numeric_limits<std::size_t>::max() : PointsForSummary);
    return number;
}

void PlaybackLogKeeper::AddSent(std::size_t session, MediaFrame const& frame) {
    Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
    std::lock_guard<std::mutex> const guard(lock_);
    SessionLog& log = log_.sessions.at(session);
    std::int64_t const time = now.GetDiffSysTime(start_).NanoSec();
    ++log.framesSent;
    log.sentNanoSec = std::max(log.sentNanoSec, frame.positionNanoSec + frame.durationNanoSec);
    if (keepAll_) {
        log.handOvers.push_back(
            {time, static_cast<double>(time - frame.positionNanoSec) / Listening::NanoSecPerMilliSec});
        sounds_[session].Put(static_cast<std::size_t>(Listening::NanoSecToSamples(frame.positionNanoSec)),
                             frame.sound);
    }
}

void PlaybackLogKeeper::AddArrival(std::size_t session, std::int64_t spareNanoSec) {
    Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
    std::lock_guard<std::mutex> const guard(lock_);
    if (keepAll_) {
        log_.sessions.at(session).arrivals.push_back(
            {now.GetDiffSysTime(start_).NanoSec(), Listening::ToMilliSec(spareNanoSec)});
    }
}

void PlaybackLogKeeper::AddStream(std::size_t session, StreamState const& state) {
    Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
    std::lock_guard<std::mutex> const guard(lock_);
    std::vector<StreamPoint>& points = log_.sessions.at(session).streamPoints;
    if (!keepAll_) {
        points.clear();
    }
    points.push_back({now.GetDiffSysTime(start_).NanoSec(), state});
}

void PlaybackLogKeeper::AddReport(Media::Pipeline::Report_t const& report) {
    Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
    std::lock_guard<std::mutex> const guard(lock_);
    auto const number = numbers_.find(report.session);
    if (number == numbers_.end()) {
        return;
    }
    SessionLog& session = log_.sessions[number->second];
    if (report.outcome != Media::PipelineStageJob::Outcome_t::Succeeded) {
        ++session.jobsFailed;
        return;
    }
    ++session.jobsSucceeded;
    std::int64_t const error = report.achieved.GetDiffSysTime(report.requested).NanoSec();
    points_[number->second].Add({now.GetDiffSysTime(start_).NanoSec(),
                                 static_cast<double>(error) / Listening::NanoSecPerMilliSec,
                                 static_cast<double>(report.renderNanoSec) / Listening::NanoSecPerMicroSec});
}

void PlaybackLogKeeper::AddLog(Kovra::LogRecord const& record) {
    std::lock_guard<std::mutex> const guard(lock_);
    Media::RendererEvent_t const told = Media::ReadRendererEvent(record.message);
    std::int64_t const time = record.time.GetDiffSysTime(start_).NanoSec();
    auto const number = numbers_.find(Media::Pipeline::SessionOf(record));
    if (number == numbers_.end()) {
        AddEvent({told.kind, time, record.message}, log_.otherEvents);
        return;
    }
    SessionLog& session = log_.sessions[number->second];
    if (std::uint32_t const hz = Media::GetFrequencyHz(told); hz != 0) {
        session.steps.push_back({time, hz});
    }
    AddEvent({told.kind, time, record.message}, session.events);
}

std::vector<PlaybackLogKeeper::Progress> PlaybackLogKeeper::GetProgress() const {
    std::lock_guard<std::mutex> const guard(lock_);
    std::vector<Progress> progress;
    for (std::size_t i = 0; i < log_.sessions.size(); ++i) {
        SessionLog const& session = log_.sessions[i];
        PresentationPoint const* const latest = points_[i].GetLatest();
        Progress one;
        one.sentNanoSec = session.sentNanoSec;
        one.durationNanoSec = session.durationNanoSec;
        one.errorMilliSec = latest ? latest->errorMilliSec : 0.0;
        one.hz = session.steps.empty() ? 0 : session.steps.back().hz;
        one.jobsFailed = session.jobsFailed;
        one.name = session.name;
        if (!session.streamPoints.empty()) {
            one.stream = session.streamPoints.back().state;
        }
        progress.push_back(one);
    }
    return progress;
}

PlaybackLog PlaybackLogKeeper::Take() {
    std::lock_guard<std::mutex> const guard(lock_);
    // What comes later belongs to nothing any more.
    numbers_.clear();
    for (std::size_t i = 0; i < sounds_.size(); ++i) {
        log_.sessions[i].sound = sounds_[i].Take();
        log_.sessions[i].points = points_[i].Take();
    }
    sounds_.clear();
    points_.clear();
    return std::exchange(log_, PlaybackLog());
}

} // namespace AudioHost
