#include "play/playbacklog.h"

#include <algorithm>
#include <utility>

namespace AudioHost {

namespace {

void AddEvent(PlayEvent event, std::uint32_t hz, SessionLog& session) {
    if (hz != 0) {
        session.steps.push_back({event.timeNanoSec, hz});
    }
    session.events.push_back(std::move(event));
}

constexpr std::size_t PieceSamples = std::size_t{10} * Listening::SoundRateHz;

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

std::vector<double> ErrorsOf(SessionLog const& session) {
    std::vector<double> errors;
    errors.reserve(session.points.size());
    for (PresentationPoint const& point : session.points) {
        errors.push_back(point.errorMilliSec);
    }
    return errors;
}

std::uint64_t CountEvents(SessionLog const& session, EventKind_t kind) {
    return static_cast<std::uint64_t>(
        std::count_if(session.events.begin(), session.events.end(),
                      [kind](PlayEvent const& event) { return event.kind == kind; }));
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
    return number;
}

void PlaybackLogKeeper::AddSent(std::size_t session, MediaFrame const& frame) {
    Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
    std::lock_guard<std::mutex> const guard(lock_);
    SessionLog& log = log_.sessions.at(session);
    std::int64_t const time = now.GetDiffSysTime(start_).NanoSec();
    log.handOvers.push_back(
        {time, static_cast<double>(time - frame.positionNanoSec) / Listening::NanoSecPerMilliSec});
    ++log.framesSent;
    log.sentNanoSec = std::max(log.sentNanoSec, frame.positionNanoSec + frame.durationNanoSec);
    if (keepSound_) {
        sounds_[session].Put(static_cast<std::size_t>(Listening::NanoSecToSamples(frame.positionNanoSec)),
                             frame.sound);
    }
}

void PlaybackLogKeeper::AddArrival(std::size_t session, std::int64_t spareNanoSec) {
    Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
    std::lock_guard<std::mutex> const guard(lock_);
    log_.sessions.at(session).arrivals.push_back(
        {now.GetDiffSysTime(start_).NanoSec(), Listening::ToMilliSec(spareNanoSec)});
}

void PlaybackLogKeeper::AddStream(std::size_t session, StreamState const& state) {
    Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
    std::lock_guard<std::mutex> const guard(lock_);
    log_.sessions.at(session).streamPoints.push_back({now.GetDiffSysTime(start_).NanoSec(), state});
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
    session.points.push_back({now.GetDiffSysTime(start_).NanoSec(),
                              static_cast<double>(error) / Listening::NanoSecPerMilliSec,
                              static_cast<double>(report.renderNanoSec) / Listening::NanoSecPerMicroSec});
}

void PlaybackLogKeeper::AddLog(Kovra::LogRecord const& record) {
    std::lock_guard<std::mutex> const guard(lock_);
    Media::RendererEvent_t const told = Media::ReadRendererEvent(record.message);
    PlayEvent event{told.kind, record.time.GetDiffSysTime(start_).NanoSec(), record.message};
    auto const number = numbers_.find(Media::Pipeline::SessionOf(record));
    if (number == numbers_.end()) {
        log_.otherEvents.push_back(std::move(event));
    } else {
        AddEvent(std::move(event), Media::GetFrequencyHz(told), log_.sessions[number->second]);
    }
}

std::vector<PlaybackLogKeeper::Progress> PlaybackLogKeeper::GetProgress() const {
    std::lock_guard<std::mutex> const guard(lock_);
    std::vector<Progress> progress;
    for (SessionLog const& session : log_.sessions) {
        Progress one;
        one.sentNanoSec = session.sentNanoSec;
        one.durationNanoSec = session.durationNanoSec;
        one.errorMilliSec = session.points.empty() ? 0.0 : session.points.back().errorMilliSec;
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
    }
    sounds_.clear();
    return std::exchange(log_, PlaybackLog());
}

} // namespace AudioHost
