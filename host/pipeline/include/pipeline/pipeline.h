#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "kovra/log.h"
#include "kovra/time.h"
#include "mediacore/frame.h"
#include "pipeline/export.h"
#include "pipeline/pipelinejob.h"
#include "pipeline/pipelinesessionparams.h"
#include "pipeline/pipelinestate.h"
#include "pipeline/statistics.h"

namespace Media {

/// Runs render jobs on worker threads. Jobs of one session run in the order of their submission and never
/// two at a time, because each needs the session's exclusive state; jobs of different sessions run side by
/// side. Client-state updates are delivered on the workers too, between the jobs. What is logged while a job
/// is rendered has its session's number for a subject (`Kovra::LogSubject`).
///
/// **Threads:** every operation from any thread, except that the pipeline must not be destroyed by one of
/// its own workers.
/// **Ownership:** the renderer is borrowed and must outlive the pipeline.
class MEDIAPIPELINE_API Pipeline {
public:
    using SessionId_t = std::uint32_t;
    /// No session has this number.
    static constexpr SessionId_t InvalidSession = 0;

    /// What became of one job, told on the worker that ran it, before the session's next job runs.
    struct Report_t {
        SessionId_t session = InvalidSession;
        /// Counts the session's submitted jobs from 0.
        std::uint64_t jobNumber = 0;
        PipelineStageJob::Outcome_t outcome = PipelineStageJob::Outcome_t::Uncompleted;
        /// What was asked for, and what the renderer expects.
        Kovra::JiffyTime requested;
        Kovra::JiffyTime achieved;
        /// When the renderer was given it, and how long it worked on it, in nanoseconds.
        Kovra::JiffyTime started;
        std::int64_t renderNanoSec = 0;
    };
    /// Called with each report. What it throws is dropped.
    using Observer = std::function<void(Report_t const&)>;

    /// The renderer that audio goes to, for the whole process; null when there is none.
    static IPipelineRenderer const* GetAudioRenderer();
    /// Makes `renderer` (borrowed; null for none) the one that `GetAudioRenderer` returns.
    static void SetAudioRenderer(IPipelineRenderer* renderer);

    /// The session whose job was rendered when the record was made, of whatever pipeline; `InvalidSession`
    /// for none, and for a subject that is longer than a session's number.
    static SessionId_t SessionOf(Kovra::LogRecord const& record);

    /// Starts `workers` threads (at least 1), named "Media.Pipeline.Worker".
    Pipeline(IPipelineRenderer& renderer, std::size_t workers, Observer observer = {});
    /// Drops what has not run yet, waits for what runs, ends every session.
    ~Pipeline();
    Pipeline(Pipeline const&) = delete;
    Pipeline& operator=(Pipeline const&) = delete;

    /// Registers a session with the renderer; `InvalidSession` when the renderer gives it no state.
    SessionId_t OpenSession(PipelineSessionParams_t params);

    /// Lets the session's waiting jobs and update run, then ends it: its state is told (`Unregister`) and let
    /// go. The session takes no new work from the moment of the call. Unknown sessions are ignored. Waits for
    /// the end unless a worker of this pipeline calls it.
    void CloseSession(SessionId_t session);

    /// Queues a job for `frame` (raw or coded; null makes a job without a frame), to be heard at
    /// `presentation`. A job whose rendering throws counts as uncompleted. False when the session is unknown.
    bool Submit(SessionId_t session, std::shared_ptr<FrameAud> frame, Kovra::JiffyTime presentation);

    /// Stores the client's wishes and queues their delivery, ahead of the waiting jobs; updates that wait are
    /// merged. False when the session is unknown.
    bool SetClientState(SessionId_t session, PipelineClientState_t const& state);

    /// Waits until no job and no update waits or runs. Returns at once on a worker of this pipeline, which
    /// would wait for itself.
    void Drain();

    /// What has happened in the sessions so far.
    PipelineStatistics_t GetStatistics() const;

    /// What the pipeline cannot see of playback it takes from the renderer's log: an observer of the log
    /// hands the records on (`Kovra::LogManager::SetObserver`; any record may come, also on the log's
    /// thread). One that comes when its session has ended is not counted: flush the log before
    /// `CloseSession`. Allocates nothing.
    void AddLog(Kovra::LogRecord const& record);

    /// Likewise for the microphone, which no session reads: whoever reads it hands over the frames of each
    /// read.
    void AddCaptured(std::vector<std::shared_ptr<FrameAud>> const& frames);

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace Media
