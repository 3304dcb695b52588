#include "play/trace.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <utility>

#include "kovra/thread.h"
#include "listening/samples.h"
#include "pipeline/rendererevent.h"
#include "terminal/hosterror.h"

namespace AudioHost {

namespace {

/// In the order in which members are written down.
using Json = nlohmann::ordered_json;

/// The program's threads are one process of the trace, and each session is one of its own, which groups its
/// curves.
constexpr int ProgramProcess = 1;
constexpr int FirstLoggerTrack = 1000;
constexpr int RecordTrack = 1;
constexpr int CurveTrack = 0;

/// The log's thread gathers for a twentieth of that.
constexpr std::int64_t HeldBackNanoSec = Listening::NanoSecPerSec;

int ProcessOf(Media::Pipeline::SessionId_t session) {
    return ProgramProcess + static_cast<int>(session);
}

double ToMicroSec(std::int64_t nanoSec) {
    return static_cast<double>(nanoSec) / Listening::NanoSecPerMicroSec;
}

char const* OutcomeInWords(Media::PipelineStageJob::Outcome_t outcome) {
    switch (outcome) {
        case Media::PipelineStageJob::Outcome_t::Succeeded:
            return "succeeded";
        case Media::PipelineStageJob::Outcome_t::Aborted:
            return "aborted";
        case Media::PipelineStageJob::Outcome_t::Uncompleted:
            break;
    }
    return "uncompleted";
}

char const* LevelInWords(Kovra::LogLevel_t level) {
    switch (level) {
        case Kovra::LogLevel_t::Debug:
            return "debug";
        case Kovra::LogLevel_t::Info:
            return "info";
        case Kovra::LogLevel_t::Warning:
            return "warning";
        default:
            return "error";
    }
}

/// Texts of a log and names of files need not be UTF-8.
std::string ToLine(Json const& event) {
    return event.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string FormatCurve(char const* name, int process, double microSec, char const* unit, double value) {
    return ToLine({{"name", name},
                   {"ph", "C"},
                   {"ts", microSec},
                   {"pid", process},
                   {"tid", CurveTrack},
                   {"args", {{unit, value}}}});
}

} // namespace

Trace::Trace(std::string const& path, std::string const& program) : Trace(path, program, SIZE_MAX) {}

Trace::Trace(std::string const& path, std::string const& program, std::size_t maxEvents)
    : path_(path),
      start_(Kovra::JiffyTime::Now()),
      file_(std::filesystem::u8path(path), std::ios::binary),
      maxEvents_(maxEvents) {
    if (!file_) {
        throw HostError(ExitCode_t::Usage, "'" + path + "' cannot be written.");
    }
    file_ << '[';
    WriteName("process_name", ProgramProcess, CurveTrack, program);
    if (maxEvents_ != SIZE_MAX) {
        // Touched, not only reserved: whoever watches what the process takes must not see it grow.
        waiting_.resize(maxEvents_);
        waiting_.clear();
    }
}

Trace::~Trace() {
    try {
        Close();
    } catch (...) {
        // Whoever did not close it has another error to tell.
    }
}

void Trace::AddSession(Media::Pipeline::SessionId_t session, std::string const& name) {
    std::lock_guard<std::mutex> const guard(lock_);
    sessions_[session] = name;
}

void Trace::AddReport(Media::Pipeline::Report_t const& report) {
    Job job;
    job.report = report;
    std::int64_t const start = report.started.GetDiffSysTime(start_).NanoSec();
    std::int64_t const end = report.started.NanoSec() + report.renderNanoSec;
    job.lagNanoSec = report.achieved.GetDiffSysTime(Kovra::JiffyTime(end)).NanoSec();
    std::string const name = Kovra::GetThreadName();
    std::lock_guard<std::mutex> const guard(lock_);
    auto const [worker, isNew] = workers_.try_emplace(std::this_thread::get_id(), workers_.size() + 1);
    job.track = worker->second;
    if (isNew) {
        unnamed_[job.track] = name + ' ' + std::to_string(job.track);
    }
    Keep({start, job});
}

void Trace::AddLog(Kovra::LogRecord const& record) {
    std::lock_guard<std::mutex> const guard(lock_);
    Keep({record.time.GetDiffSysTime(start_).NanoSec(), record});
}

void Trace::Keep(Event event) {
    if (waiting_.size() < maxEvents_) {
        waiting_.push_back(std::move(event));
        return;
    }
    waiting_[oldest_] = std::move(event);
    oldest_ = (oldest_ + 1) % maxEvents_;
}

void Trace::Write() {
    WriteUntil(Kovra::JiffyTime::Now().GetDiffSysTime(start_).NanoSec() - HeldBackNanoSec);
}

void Trace::Close() {
    if (std::exchange(isClosed_, true)) {
        return;
    }
    WriteUntil(INT64_MAX);
    file_ << "\n]\n";
    file_.close();
    if (!file_) {
        throw HostError(ExitCode_t::Internal,
                        "the trace '" + path_ + "' could not be written; is the disk full?");
    }
}

void Trace::Discard() {
    if (!std::exchange(isClosed_, true)) {
        file_.close();
        std::error_code ignored;
        std::filesystem::remove(std::filesystem::u8path(path_), ignored);
    }
}

void Trace::WriteUntil(std::int64_t timeNanoSec) {
    std::vector<Event> due;
    {
        std::lock_guard<std::mutex> const guard(lock_);
        std::rotate(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(oldest_),
                    waiting_.end());
        oldest_ = 0;
        auto const isDue = [&](Event const& event) { return event.timeNanoSec < timeNanoSec; };
        auto const rest = std::stable_partition(waiting_.begin(), waiting_.end(), isDue);
        due.assign(std::make_move_iterator(waiting_.begin()), std::make_move_iterator(rest));
        waiting_.erase(waiting_.begin(), rest);
    }
    std::stable_sort(due.begin(), due.end(),
                     [](Event const& a, Event const& b) { return a.timeNanoSec < b.timeNanoSec; });
    WriteThreads();
    for (Event const& event : due) {
        WriteEvent(event);
    }
    file_.flush();
}

void Trace::WriteThreads() {
    std::map<int, std::string> tracks;
    std::map<Media::Pipeline::SessionId_t, std::string> sessions;
    {
        std::lock_guard<std::mutex> const guard(lock_);
        tracks.swap(unnamed_);
        sessions.swap(sessions_);
    }
    for (auto const& [track, name] : tracks) {
        WriteName("thread_name", ProgramProcess, track, name);
    }
    for (auto const& [session, name] : sessions) {
        WriteName("process_name", ProcessOf(session), CurveTrack,
                  "session " + std::to_string(session) + ": " + name);
        WriteName("thread_name", ProcessOf(session), RecordTrack, "records");
    }
}

void Trace::WriteEvent(Event const& event) {
    double const microSec = ToMicroSec(event.timeNanoSec);
    if (Job const* const job = std::get_if<Job>(&event.what)) {
        WriteJob(*job, microSec);
    } else {
        WriteRecord(std::get<Kovra::LogRecord>(event.what), microSec);
    }
}

void Trace::WriteJob(Job const& job, double microSec) {
    Media::Pipeline::Report_t const& report = job.report;
    int const process = ProcessOf(report.session);
    std::int64_t const error = report.achieved.GetDiffSysTime(report.requested).NanoSec();
    bool const isPresented = report.outcome == Media::PipelineStageJob::Outcome_t::Succeeded &&
                             !(report.requested < report.started);
    Json arguments = {
        {"session", report.session},
        {"job", report.jobNumber},
        {"outcome", OutcomeInWords(report.outcome)},
        {"ahead ms", Listening::ToMilliSec(report.requested.GetDiffSysTime(report.started).NanoSec())}};
    if (isPresented) {
        arguments["error ms"] = Listening::ToMilliSec(error);
    }
    WriteLine(ToLine({{"name", "session " + std::to_string(report.session)},
                      {"cat", "job"},
                      {"ph", "X"},
                      {"ts", microSec},
                      {"dur", ToMicroSec(report.renderNanoSec)},
                      {"pid", ProgramProcess},
                      {"tid", job.track},
                      {"args", std::move(arguments)}}));
    if (isPresented) {
        WriteLine(FormatCurve("error", process, microSec, "ms", Listening::ToMilliSec(error)));
        WriteLine(FormatCurve("lag", process, microSec, "ms", Listening::ToMilliSec(job.lagNanoSec)));
    }
}

void Trace::WriteRecord(Kovra::LogRecord const& record, double microSec) {
    Media::Pipeline::SessionId_t const session = Media::Pipeline::SessionOf(record);
    bool const hasSession = session != Media::Pipeline::InvalidSession;
    int const process = hasSession ? ProcessOf(session) : ProgramProcess;
    int track = RecordTrack;
    if (!hasSession) {
        auto const [logger, isNew] =
            loggers_.try_emplace(record.threadName, FirstLoggerTrack + static_cast<int>(loggers_.size()));
        track = logger->second;
        if (isNew) {
            WriteName("thread_name", process, track,
                      record.threadName.empty() ? "unnamed thread" : record.threadName);
        }
    }
    WriteLine(ToLine({{"name", record.message},
                      {"cat", "log"},
                      {"ph", "i"},
                      {"s", "t"},
                      {"ts", microSec},
                      {"pid", process},
                      {"tid", track},
                      {"args",
                       {{"channel", record.channel},
                        {"level", LevelInWords(record.level)},
                        {"thread", record.threadName}}}}));
    Media::RendererEvent_t const event = Media::ReadRendererEvent(record.message);
    std::uint32_t const hz = Media::GetFrequencyHz(event);
    if (hasSession && (hz != 0 || event.kind == Media::RendererEventKind_t::LateStop)) {
        WriteLine(FormatCurve("playback frequency", process, microSec, "Hz", hz));
    }
}

void Trace::WriteName(char const* what, int process, int track, std::string const& name) {
    WriteLine(
        ToLine({{"name", what}, {"ph", "M"}, {"pid", process}, {"tid", track}, {"args", {{"name", name}}}}));
}

void Trace::WriteLine(std::string const& line) {
    file_ << (std::exchange(isEmpty_, false) ? "\n" : ",\n") << line;
}

} // namespace AudioHost
