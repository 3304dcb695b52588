#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "files/soundsource.h"
#include "kovra/time.h"
#include "pipeline/pipeline.h"
#include "play/playbacklog.h"
#include "terminal/stopsignal.h"

namespace AudioHost {

/// What the way from the play cursor to the ear may take beyond the presentation time.
constexpr std::int64_t TailNanoSec = 300'000'000;

/// Hands the frames of several sources to the pipeline in real time: the frame at position p at start + p, to
/// be heard at start + lead + p. Deadlines are absolute, so that lateness does not add up.
///
/// **Threads:** one at a time.
/// **Ownership:** pipeline, keeper and pacer are borrowed.
class Feeder {
public:
    Feeder(Media::Pipeline& pipeline, PlaybackLogKeeper& keeper, Pacer& pacer)
        : pipeline_(pipeline), keeper_(keeper), pacer_(pacer) {}

    /// `number` is the session's number in the log.
    void Add(Media::Pipeline::SessionId_t session, std::size_t number, std::unique_ptr<SoundSource> source);

    /// Feeds until every source ends, or reaches `limitNanoSec` (0: no limit), then waits until the last
    /// frame must have been heard. False when the person asked to stop.
    bool Run(Kovra::JiffyTime start, std::int64_t leadMilliSec, std::int64_t limitNanoSec);

private:
    struct Track {
        Media::Pipeline::SessionId_t session = Media::Pipeline::InvalidSession;
        std::size_t number = 0;
        std::unique_ptr<SoundSource> source;
        /// Read ahead of its time, so that a slow disk does not delay it.
        MediaFrame next;
        bool hasNext = false;
    };

    Track* FindFirst();
    static void ReadAhead(Track& track, std::int64_t limitNanoSec);

    Media::Pipeline& pipeline_;
    PlaybackLogKeeper& keeper_;
    Pacer& pacer_;
    std::vector<Track> tracks_;
};

} // namespace AudioHost
