#pragma once

#include <cstdint>
#include <mutex>

#include "kovra/time.h"
#include "pipeline/pipeline.h"
#include "pipeline/rendererevent.h"
#include "pipeline/statistics.h"
#include "trend.h"

namespace Media {

/// Keeps one session's statistics, in the same memory for a year as for a minute.
///
/// **Threads:** all operations from any thread; none allocates.
class SessionTally {
public:
    explicit SessionTally(Pipeline::SessionId_t session) { told_.session = session; }

    /// A job that is done, in the order of the session's jobs.
    void AddJob(Pipeline::Report_t const& report);
    /// A record of the renderer's about this session. It may come some time after later jobs.
    void AddEvent(RendererEvent_t const& event, Kovra::JiffyTime time);

    SessionStatistics_t Get() const;

private:
    void NotePause(std::int64_t startNanoSec);
    void SetFrequency(std::uint32_t hz, std::int64_t nanoSec);
    void CountFrequencyTime(std::int64_t untilNanoSec);

    mutable std::mutex lock_;
    // --- guarded by lock
    SessionStatistics_t told_;
    Trend trend_;
    bool hasJobs_ = false;
    /// Of the latest job.
    std::int64_t endNanoSec_ = 0;
    /// Time at the frequency of now is counted up to here.
    std::int64_t countedNanoSec_ = 0;
};

} // namespace Media
