#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ears/histogram.h"
#include "kovra/log.h"
#include "pipeline/pipeline.h"
#include "run/course.h"
#include "support/recording/handovers.h"

namespace Soak {

/// What the module and the pipeline told during a run. Times in milliseconds unless named otherwise.
struct Told {
    std::uint64_t jobs = 0;
    std::uint64_t succeeded = 0;
    /// Jobs whose presentation time had passed when they were done: the machine was too slow for them.
    std::uint64_t overdue = 0;
    /// What one `Divide` costs, in microseconds.
    Histogram renderMicroSec{0.0, 20000.0, 10.0};
    /// From handing a frame to the pipeline until its job was done.
    Histogram doneMilliSec{0.0, 400.0, 0.1};
    /// Achieved minus requested presentation time.
    Histogram errorMilliSec{-400.0, 400.0, 0.5};
    /// The feeder's lateness in handing a frame over.
    Histogram feederMilliSec{0.0, 400.0, 0.1};
    /// The same over time, of all sessions.
    Course renderCourse;
    Course errorCourse;
    Course feederCourse;
    /// By text, with # for every number in it.
    std::map<std::string, std::uint64_t> logged;
};

/// The module told that it touched a session's playback.
struct SessionEvent {
    enum class Kind_t {
        /// Another playback frequency.
        Frequency,
        /// The play cursor was moved, or playback stopped or started.
        Cursor,
        /// A frame came to the module so late that it need not be heard, though it has not refused it.
        LateFrame,
    };
    Kind_t kind = Kind_t::Frequency;
    std::size_t session = 0;
    Kovra::JiffyTime time;
};

/// Counts what happens, in no more memory for hours than for minutes.
///
/// **Threads:** all operations from any thread.
class Tally {
public:
    explicit Tally(std::size_t sessions);

    /// Sessions are known to the pipeline by `id`, here by their number.
    void AddSession(Media::Pipeline::SessionId_t id, std::size_t session);
    /// Job `number` of the session is about to be handed over, `lateNanoSec` after it was due.
    void AddSubmission(std::size_t session, std::uint64_t number, std::int64_t lateNanoSec);
    void AddReport(Media::Pipeline::Report_t const& report);
    void AddLog(Kovra::LogRecord const& record);

    Told Get() const;
    std::vector<SessionEvent> GetEvents() const;
    std::uint64_t CountLogged(std::string const& part) const;

private:
    /// Far more than jobs of one session can wait at a time.
    static constexpr std::size_t RememberedJobs = 1024;

    /// Seconds since the first frame was handed over, or 0.0 before.
    double SecondsAt(Kovra::JiffyTime now) const;

    mutable std::mutex lock_;
    Told told_;
    std::optional<Kovra::JiffyTime> first_;
    std::map<Media::Pipeline::SessionId_t, std::size_t> numbers_;
    std::vector<std::array<Kovra::JiffyTime, RememberedJobs>> submissions_;
    TestSupport::HandOvers handOvers_;
    std::vector<SessionEvent> events_;
};

} // namespace Soak
