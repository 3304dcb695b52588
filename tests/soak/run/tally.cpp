#include "run/tally.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "listening/samples.h"

namespace Soak {

namespace {

/// Their memory is taken before the first reading of it.
constexpr std::size_t ExpectedEvents = 100'000;

constexpr char const* FrequencyText = "Adjusting audio frequency";
constexpr std::array<char const*, 3> CursorTexts = {
    "AudioBuffer timestamp drift too high",
    "AudioBuffer playback started",
    "AudioBuffer presentation requested in the past",
};

} // namespace

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
    first_ = first_.value_or(now);
    double const lateMilliSec = static_cast<double>(lateNanoSec) / Listening::NanoSecPerMilliSec;
    told_.feederMilliSec.Add(lateMilliSec);
    told_.feederCourse.Add(SecondsAt(now), lateMilliSec);
}

double Tally::SecondsAt(Kovra::JiffyTime now) const {
    return first_ ? static_cast<double>(now.GetDiffSysTime(*first_).NanoSec()) / Listening::NanoSecPerSec
                  : 0.0;
}

void Tally::AddReport(Media::Pipeline::Report_t const& report) {
    Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
    std::lock_guard<std::mutex> const guard(lock_);
    std::size_t const session = numbers_[report.session];
    ++told_.jobs;
    told_.succeeded += report.outcome == Media::PipelineStageJob::Outcome_t::Succeeded ? 1 : 0;
    // The clock is looked at somewhere between the job's begin and now: the later one is on the safe side.
    told_.overdue += report.requested < now ? 1 : 0;
    double const renderMicroSec = static_cast<double>(report.renderNanoSec) / Listening::NanoSecPerMicroSec;
    told_.renderMicroSec.Add(renderMicroSec);
    told_.renderCourse.Add(SecondsAt(now), renderMicroSec);
    Kovra::JiffyTime const submitted = submissions_[session][report.jobNumber % RememberedJobs];
    told_.doneMilliSec.Add(static_cast<double>(now.GetDiffSysTime(submitted).NanoSec()) /
                           Listening::NanoSecPerMilliSec);
    double const errorMilliSec =
        static_cast<double>(report.achieved.GetDiffSysTime(report.requested).NanoSec()) /
        Listening::NanoSecPerMilliSec;
    told_.errorMilliSec.Add(errorMilliSec);
    told_.errorCourse.Add(SecondsAt(now), errorMilliSec);
    Kovra::JiffyTime const begun(now.NanoSec() - report.renderNanoSec);
    if (handOvers_.Finish(session, report.requested, begun, report.renderNanoSec)) {
        events_.push_back({SessionEvent::Kind_t::LateFrame, session, begun});
    }
}

void Tally::AddLog(Kovra::LogRecord const& record) {
    auto const begins = [&record](char const* text) { return record.message.rfind(text, 0) == 0; };
    std::string const text = Kovra::HideNumbers(record.message);
    std::lock_guard<std::mutex> const guard(lock_);
    auto const session = numbers_.find(Media::Pipeline::SessionOf(record));
    if (session != numbers_.end()) {
        if (begins(FrequencyText)) {
            events_.push_back({SessionEvent::Kind_t::Frequency, session->second, record.time});
        } else if (std::any_of(CursorTexts.begin(), CursorTexts.end(), begins)) {
            events_.push_back({SessionEvent::Kind_t::Cursor, session->second, record.time});
        }
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
