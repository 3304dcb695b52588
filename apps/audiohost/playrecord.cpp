#include "playrecord.h"

#include <algorithm>
#include <utility>

namespace AudioHost {

namespace {

constexpr double NanoSecPerMilliSec = 1e6;

void AddEvent(PlayEvent event, SessionRecord& session) {
    if (std::optional<std::uint32_t> const hz = ReadFrequency(event.text)) {
        session.steps.push_back({event.timeNanoSec, *hz});
    }
    session.events.push_back(std::move(event));
}

/// Puts the frame's sound where its position in the stream says, over what stood there.
void AddSound(MediaFrame const& frame, Samples& sound) {
    auto const start = static_cast<std::size_t>(NanoSecToSamples(frame.positionNanoSec));
    sound.resize(std::max(sound.size(), start + frame.sound.size()));
    std::copy(frame.sound.begin(), frame.sound.end(), sound.begin() + static_cast<std::ptrdiff_t>(start));
}

} // namespace

std::vector<double> ErrorsOf(SessionRecord const& session) {
    std::vector<double> errors;
    errors.reserve(session.points.size());
    for (PresentationPoint const& point : session.points) {
        errors.push_back(point.errorMilliSec);
    }
    return errors;
}

std::uint64_t CountEvents(SessionRecord const& session, EventKind_t kind) {
    return static_cast<std::uint64_t>(
        std::count_if(session.events.begin(), session.events.end(),
                      [kind](PlayEvent const& event) { return event.kind == kind; }));
}

void PlayRecorder::SetStart(Kovra::JiffyTime start) {
    std::lock_guard<std::mutex> const guard(lock_);
    start_ = start;
    record_.startedAt = Kovra::SysTime::Now();
}

std::size_t PlayRecorder::AddSession(Media::Pipeline::SessionId_t id, SessionRecord session) {
    std::lock_guard<std::mutex> const guard(lock_);
    std::size_t const number = record_.sessions.size();
    numbers_[id] = number;
    record_.sessions.push_back(std::move(session));
    return number;
}

void PlayRecorder::AddSent(std::size_t session, MediaFrame const& frame) {
    std::lock_guard<std::mutex> const guard(lock_);
    SessionRecord& record = record_.sessions.at(session);
    ++record.framesSent;
    record.sentNanoSec = std::max(record.sentNanoSec, frame.positionNanoSec + frame.durationNanoSec);
    if (keepSound_) {
        AddSound(frame, record.sound);
    }
}

void PlayRecorder::AddReport(Media::Pipeline::Report_t const& report) {
    Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
    std::lock_guard<std::mutex> const guard(lock_);
    auto const number = numbers_.find(report.session);
    if (number == numbers_.end()) {
        return;
    }
    SessionRecord& session = record_.sessions[number->second];
    if (report.outcome != Media::PipelineStageJob::Outcome_t::Succeeded) {
        ++session.jobsFailed;
        return;
    }
    ++session.jobsSucceeded;
    std::int64_t const error = report.achieved.GetDiffSysTime(report.requested).NanoSec();
    session.points.push_back(
        {now.GetDiffSysTime(start_).NanoSec(), static_cast<double>(error) / NanoSecPerMilliSec});
}

void PlayRecorder::AddLog(Kovra::LogRecord const& log) {
    std::lock_guard<std::mutex> const guard(lock_);
    PlayEvent event{ReadKind(log.message), log.time.GetDiffSysTime(start_).NanoSec(), log.message};
    auto const number = numbers_.find(static_cast<Media::Pipeline::SessionId_t>(log.subject));
    if (number == numbers_.end()) {
        record_.otherEvents.push_back(std::move(event));
    } else {
        AddEvent(std::move(event), record_.sessions[number->second]);
    }
}

std::vector<PlayRecorder::Progress> PlayRecorder::GetProgress() const {
    std::lock_guard<std::mutex> const guard(lock_);
    std::vector<Progress> progress;
    for (SessionRecord const& session : record_.sessions) {
        Progress one;
        one.sentNanoSec = session.sentNanoSec;
        one.durationNanoSec = session.durationNanoSec;
        one.errorMilliSec = session.points.empty() ? 0.0 : session.points.back().errorMilliSec;
        one.hz = session.steps.empty() ? 0 : session.steps.back().hz;
        one.jobsFailed = session.jobsFailed;
        progress.push_back(one);
    }
    return progress;
}

PlayRecord PlayRecorder::Take() {
    std::lock_guard<std::mutex> const guard(lock_);
    return std::exchange(record_, PlayRecord());
}

} // namespace AudioHost
