#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "kovra/log.h"
#include "kovra/time.h"
#include "pipeline/pipeline.h"

namespace AudioHost {

/// Writes what happens into a file in the trace event format of Chrome (a JSON array), which Perfetto and
/// chrome://tracing show: each job on the thread that rendered it, with what became of it; error, lag (how
/// far ahead of the ear a job was done) and playback frequency of each session as curves; log records as
/// marks on their session's track, or on one of their thread's. Times count from when it was opened.
///
/// A program that dies leaves all but the last two seconds, without the closing bracket, which no viewer
/// needs.
///
/// **Threads:** `AddSession`, `AddReport` and `AddLog` from any thread; they write nothing. The others from
/// one.
class Trace {
public:
    /// `path` in UTF-8, `program` names the process. Throws `HostError` (`Usage`) when nothing can be written
    /// there.
    explicit Trace(std::string const& path, std::string const& program = "audiohost");
    /// Keeps the latest `maxEvents` (at least 1) of what has not been written and forgets what came before,
    /// in memory that it takes at once, but for the longer texts of records.
    Trace(std::string const& path, std::string const& program, std::size_t maxEvents);
    ~Trace();
    Trace(Trace const&) = delete;
    Trace& operator=(Trace const&) = delete;

    void AddSession(Media::Pipeline::SessionId_t session, std::string const& name);
    /// To be called by the thread that rendered the job.
    void AddReport(Media::Pipeline::Report_t const& report);
    void AddLog(Kovra::LogRecord const& record);

    /// Writes what has come until a second ago: what a thread has yet to tell may lie before what others
    /// told. To be called every now and then, so that memory stays small.
    void Write();
    /// Leaves nothing behind: nobody wants to see it. Ends it as `Close` does.
    void Discard();
    /// Writes the rest. Throws `HostError` (`Internal`) when not all could be written.
    void Close();

private:
    struct Job {
        Media::Pipeline::Report_t report;
        /// From its end until it was to be heard.
        std::int64_t lagNanoSec = 0;
        int track = 0;
    };
    struct Event {
        std::int64_t timeNanoSec = 0;
        std::variant<Kovra::LogRecord, Job> what;
    };

    void Keep(Event event);
    void WriteUntil(std::int64_t timeNanoSec);
    void WriteEvent(Event const& event);
    void WriteJob(Job const& job, double microSec);
    void WriteRecord(Kovra::LogRecord const& record, double microSec);
    void WriteThreads();
    void WriteName(char const* what, int process, int track, std::string const& name);
    void WriteLine(std::string const& line);

    std::string const path_;
    Kovra::JiffyTime const start_;
    // --- the writer's own
    std::ofstream file_;
    bool isEmpty_ = true;
    bool isClosed_ = false;
    /// Of the threads that have logged for no session, by name.
    std::map<std::string, int> loggers_;

    std::size_t const maxEvents_;
    std::mutex lock_;
    // --- guarded by lock
    std::vector<Event> waiting_;
    /// Where in it the oldest lies once it is full.
    std::size_t oldest_ = 0;
    std::map<Media::Pipeline::SessionId_t, std::string> sessions_;
    /// Of the threads that have rendered.
    std::map<std::thread::id, int> workers_;
    /// Tracks without a name in the file yet, and that name.
    std::map<int, std::string> unnamed_;
};

} // namespace AudioHost
