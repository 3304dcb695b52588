#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "frames.h"
#include "pipeline/pipeline.h"
#include "recording.h"
#include "rendereraudio.h"
#include "score.h"

namespace SystemTest {

constexpr std::int64_t NanoSecPerMilliSec = 1'000'000;

/// The module as a host runs it: the shipped libraries, a pipeline with worker threads, the system's sound
/// output, and the recording of what comes out.
///
/// **Threads:** one at a time.
class Stage {
public:
    /// Throws `std::runtime_error` when there is no recording or no sound output.
    Stage();
    ~Stage();
    Stage(Stage const&) = delete;
    Stage& operator=(Stage const&) = delete;

    Media::Pipeline& GetPipeline() { return pipeline_; }

    /// Performs, waits until `tailMilliSec` more are recorded, and returns what was heard since the score's
    /// start. A sound of the score's time t is found at about t plus the output's delay (some tens of
    /// milliseconds, the same for all sounds of one run up to the steps in which the output works).
    HeardSound Perform(Score const& score, std::int64_t tailMilliSec) const;

    /// Results of all jobs since the last call, in the order of their completion.
    std::vector<Media::Pipeline::Report_t> TakeReports();

    /// How many records since the last `ForgetLog` contain `part`.
    std::size_t CountLogged(std::string const& part) const;
    void ForgetLog();

private:
    Recording recording_ = Recording::FromEnvironment();
    mutable std::mutex lock_;
    std::vector<Media::Pipeline::Report_t> reports_;
    std::vector<std::string> log_;
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

private:
    Media::Pipeline& pipeline_;
    Media::Pipeline::SessionId_t const id_;
};

} // namespace SystemTest
