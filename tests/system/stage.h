#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "ears/take.h"
#include "frames.h"
#include "kovra/log.h"
#include "pilot.h"
#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "score.h"
#include "support/recording/handovers.h"
#include "support/recording/recording.h"

namespace SystemTest {

using Listening::NanoSecPerMilliSec;

/// The module as a host runs it: the shipped libraries, a pipeline with worker threads, the system's sound
/// output, and the recording of what comes out; and the pilot, which tells when that output was disturbed.
///
/// **Threads:** one at a time.
class Stage {
public:
    /// Waits until the pilot has been heard for a second, or with breaks for half a minute: Wine's mixer
    /// takes its first buffers at once, so that a session on a cold output would begin up to 50 ms early.
    /// Throws `std::runtime_error` when there is no recording or no sound output.
    Stage();
    ~Stage();
    Stage(Stage const&) = delete;
    Stage& operator=(Stage const&) = delete;

    Media::Pipeline& GetPipeline() { return pipeline_; }

    /// Performs, waits until `tailMilliSec` more are recorded, and returns what was heard.
    Take Perform(Score const& score, std::int64_t tailMilliSec);

    /// A frame of the session is about to be submitted.
    void NoteHandOver(Media::Pipeline::SessionId_t session);

    /// Results of all jobs since the last call, in the order of their completion.
    std::vector<Media::Pipeline::Report_t> TakeReports();

    /// How many records since the last `ForgetLog` contain `part`.
    std::size_t CountLogged(std::string const& part) const;
    void ForgetLog();

private:
    struct DoneJob {
        Media::Pipeline::SessionId_t session;
        Kovra::JiffyTime end;
        /// The presentation asked for had passed, by the machine's fault.
        bool isExcused;
    };

    void NoteReport(Media::Pipeline::Report_t const& report);
    void NoteRecord(Kovra::LogRecord const& record);
    /// The job of the session that `event` belongs to was late, and not by the module's fault.
    bool IsExcused(SessionEvent const& event) const;

    TestSupport::Recording recording_ = TestSupport::Recording::FromEnvironment();
    mutable std::mutex lock_;
    std::vector<Media::Pipeline::Report_t> reports_;
    std::vector<std::string> log_;
    std::vector<SessionEvent> events_;
    std::vector<DoneJob> jobs_;
    std::vector<LateFrame> lateFrames_;
    TestSupport::HandOvers handOvers_;
    Pilot pilot_;
    Media::RendererAudio renderer_;
    Media::Pipeline pipeline_;
};

/// A session of the stage's pipeline.
class Session {
public:
    /// Throws `std::runtime_error` when the renderer refuses it.
    explicit Session(Stage& stage);
    ~Session();
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    /// Puts frames into `score`: the one at position p of its stream is submitted at `startMilliSec` + p, to
    /// be heard `leadMilliSec` after that (in the past when negative).
    void Play(Score& score, Stream const& frames, std::int64_t startMilliSec,
              std::int64_t leadMilliSec) const;

    /// Puts the client's wish into `score`.
    void SetVolumeAndBalance(Score& score, std::int64_t atMilliSec, float volume, float balance) const;

    Media::Pipeline::SessionId_t GetId() const { return id_; }

private:
    Stage& stage_;
    Media::Pipeline& pipeline_;
    Media::Pipeline::SessionId_t const id_;
};

} // namespace SystemTest
