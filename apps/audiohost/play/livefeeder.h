#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "kovra/time.h"
#include "live/livestream.h"
#include "pipeline/pipeline.h"
#include "play/playbacklog.h"
#include "terminal/stopsignal.h"

namespace AudioHost {

/// Hands the frames of several streams to the pipeline, each when it comes and its turn has come.
///
/// **Threads:** one at a time.
/// **Ownership:** pipeline, keeper and pacer are borrowed.
class LiveFeeder {
public:
    LiveFeeder(Media::Pipeline& pipeline, PlaybackLogKeeper& keeper, Pacer& pacer)
        : pipeline_(pipeline), keeper_(keeper), pacer_(pacer) {}
    ~LiveFeeder();
    LiveFeeder(LiveFeeder const&) = delete;
    LiveFeeder& operator=(LiveFeeder const&) = delete;

    /// `number` is the session's number in the log.
    void Add(Media::Pipeline::SessionId_t session, std::size_t number, std::unique_ptr<LiveStream> stream);

    /// Feeds until every stream is over, or for `limitNanoSec` from `start` (0: no limit), then waits until
    /// the last frame must have been heard. False when the person asked to stop.
    bool Run(Kovra::JiffyTime start, std::int64_t limitNanoSec);

private:
    struct Track {
        Media::Pipeline::SessionId_t session = Media::Pipeline::InvalidSession;
        std::size_t number = 0;
        std::unique_ptr<LiveStream> stream;
        bool hasBegun = false;
        /// From the stream's timeline to the log's.
        std::int64_t offsetNanoSec = 0;
    };

    void Hand(Track& track, LiveFrame& frame);
    void Tell();
    bool IsOver() const;

    Media::Pipeline& pipeline_;
    PlaybackLogKeeper& keeper_;
    Pacer& pacer_;
    std::vector<Track> tracks_;
    std::int64_t startNanoSec_ = 0;
    /// When the last frame has been heard.
    std::int64_t endNanoSec_ = 0;
};

} // namespace AudioHost
