#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "kovra/log.h"
#include "pipeline/pipeline.h"
#include "play/liveview.h"
#include "play/trace.h"
#include "terminal/options.h"
#include "terminal/surroundings.h"

namespace AudioHost {

/// What `play` shows and keeps of the pipeline's figures beside its own log: the live table, the trace and
/// the statistics, each if asked for.
///
/// **Threads:** `AddReport` and `AddLog` from any thread; the others from one.
/// **Ownership:** pipeline and surroundings are borrowed.
class PlayFigures {
public:
    /// Throws `HostError` (`Usage`) when a file that is asked for cannot be written.
    PlayFigures(PlayOptions const& options, Surroundings const& surroundings);

    /// From now on records go to `pipeline` too.
    void Attach(Media::Pipeline& pipeline);
    /// When this returns no call to the pipeline is running or will run.
    void Detach();
    void AddSession(Media::Pipeline::SessionId_t session, std::string const& name);

    void AddReport(Media::Pipeline::Report_t const& report);
    void AddLog(Kovra::LogRecord const& record);

    /// How often to call `Show` when it shows something; nothing when there is no live table.
    std::optional<int> GetIntervalMilliSec() const;
    /// `streams` stand below the table. Writes the trace on, and shows the table when it is time for
    /// that. To be called at that interval, else once a second or more often, while the pipeline is attached.
    void Show(std::vector<StreamRow> const& streams = {});
    /// Before the sessions end: their statistics so far, shown for the last time.
    void TakeStatistics(std::vector<StreamRow> const& streams = {});

    /// Writes the files that were asked for, when all is over, and says so. Throws `HostError` (`Internal`)
    /// when one could not be written.
    void Write();

private:
    void WriteTrace();
    void ShowView(std::vector<StreamRow> const& streams);

    Surroundings const& surroundings_;
    std::string const tracePath_;
    std::string const statisticsPath_;
    bool const isLive_;
    /// None beside an object, which has standard output to itself.
    Screen* const screen_;
    int const viewIntervalMilliSec_;
    int sinceShownMilliSec_ = 0;
    SessionNames names_;
    Media::PipelineStatistics_t statistics_;
    std::optional<LiveView> view_;
    std::unique_ptr<Trace> trace_;

    std::mutex lock_;
    // --- guarded by lock
    Media::Pipeline* pipeline_ = nullptr;
};

} // namespace AudioHost
