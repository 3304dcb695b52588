#include "tally.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>

namespace Soak {

namespace {

constexpr double NanoSecPerMilliSec = 1e6;
constexpr double NanoSecPerMicroSec = 1e3;

/// Their memory is taken before the first reading of it.
constexpr std::size_t ExpectedEvents = 100'000;

constexpr char const* FrequencyText = "Adjusting audio frequency";
constexpr std::array<char const*, 3> CursorTexts = {
    "AudioBuffer timestamp drift too high",
    "AudioBuffer playback started",
    "AudioBuffer presentation requested in the past",
};

} // namespace

std::string HideNumbers(std::string const& text) {
    std::string hidden;
    bool wasDigit = false;
    for (char const letter : text) {
        bool const isDigit = std::isdigit(static_cast<unsigned char>(letter)) != 0;
        if (!isDigit) {
            hidden += letter;
        } else if (!wasDigit) {
            hidden += '#';
        }
        wasDigit = isDigit;
    }
    return hidden;
}

Tally::Tally(std::size_t sessions) : submissions_(sessions) {
    events_.resize(ExpectedEvents);
    events_.clear();
}

void Tally::AddSession(Media::Pipeline::SessionId_t id, std::size_t session) {
    std::lock_guard<std::mutex> const guard(lock_);
    numbers_[id] = session;
}

void Tally::AddSubmission(std::size_t session, std::uint64_t number, std::int64_t lateNanoSec) {
    std::lock_guard<std::mutex> const guard(lock_);
    Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
    submissions_[session][number % RememberedJobs] = now;
    handOvers_.Add(session, now);
    told_.feederMilliSec.Add(static_cast<double>(lateNanoSec) / NanoSecPerMilliSec);
}

void Tally::AddReport(Media::Pipeline::Report_t const& report) {
    Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
    std::lock_guard<std::mutex> const guard(lock_);
    std::size_t const session = numbers_[report.session];
    ++told_.jobs;
    told_.succeeded += report.outcome == Media::PipelineStageJob::Outcome_t::Succeeded ? 1 : 0;
    // The clock is looked at somewhere between the job's begin and now: the later one is on the safe side.
    told_.overdue += report.requested < now ? 1 : 0;
    told_.renderMicroSec.Add(static_cast<double>(report.renderNanoSec) / NanoSecPerMicroSec);
    Kovra::JiffyTime const submitted = submissions_[session][report.jobNumber % RememberedJobs];
    told_.doneMilliSec.Add(static_cast<double>(now.GetDiffSysTime(submitted).NanoSec()) / NanoSecPerMilliSec);
    told_.errorMilliSec.Add(static_cast<double>(report.achieved.GetDiffSysTime(report.requested).NanoSec()) /
                            NanoSecPerMilliSec);
    std::vector<SessionEvent>& ofThisJob = eventsOfJobs_[std::this_thread::get_id()];
    for (SessionEvent event : ofThisJob) {
        event.session = session;
        events_.push_back(event);
    }
    ofThisJob.clear();
    Kovra::JiffyTime const begun(now.NanoSec() - report.renderNanoSec);
    if (handOvers_.Finish(session, report.requested, begun, report.renderNanoSec)) {
        events_.push_back({SessionEvent::Kind_t::LateFrame, session, begun});
    }
}

void Tally::AddLog(Kovra::LogRecord const& record) {
    auto const begins = [&record](char const* text) { return record.message.rfind(text, 0) == 0; };
    std::string const text = HideNumbers(record.message);
    std::lock_guard<std::mutex> const guard(lock_);
    auto const note = [&](SessionEvent::Kind_t kind) {
        eventsOfJobs_[std::this_thread::get_id()].push_back({kind, 0, record.time});
    };
    if (begins(FrequencyText)) {
        note(SessionEvent::Kind_t::Frequency);
    } else if (std::any_of(CursorTexts.begin(), CursorTexts.end(), begins)) {
        note(SessionEvent::Kind_t::Cursor);
    }
    ++told_.logged[text];
}

Told Tally::Get() const {
    std::lock_guard<std::mutex> const guard(lock_);
    return told_;
}

std::vector<SessionEvent> Tally::GetEvents() const {
    std::lock_guard<std::mutex> const guard(lock_);
    return events_;
}

std::uint64_t Tally::CountLogged(std::string const& part) const {
    std::lock_guard<std::mutex> const guard(lock_);
    std::uint64_t count = 0;
    for (auto const& [text, times] : told_.logged) {
        count += text.find(part) != std::string::npos ? times : 0;
    }
    return count;
}

} // namespace Soak
