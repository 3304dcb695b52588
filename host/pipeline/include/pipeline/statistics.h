#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "kovra/time.h"
#include "pipeline/distribution.h"
#include "pipeline/export.h"

namespace Media {

/// What happens again within this time is one episode: an outage of three seconds that stops playback at
/// every frame is one outage.
constexpr std::int64_t EpisodeQuietNanoSec = 2 * Kovra::NanoSecPerSec;

/// Happenings of one kind, as a person counts them and one by one.
struct Episodes_t {
    std::uint64_t episodes = 0;
    std::uint64_t times = 0;
    /// Of the latest; nothing before the first.
    std::optional<Kovra::JiffyTime> last;

    void Add(Kovra::JiffyTime time) {
        bool const isOld = last && time.GetDiffSysTime(*last).NanoSec() <= EpisodeQuietNanoSec;
        episodes += isOld ? 0 : 1;
        ++times;
        last = time;
    }
};

/// How long playback ran at one frequency.
struct FrequencyTime_t {
    /// 0: at others than those that have a place of their own.
    std::uint32_t hz = 0;
    std::int64_t nanoSec = 0;
};

/// Of one session, since it was opened. What is marked *log* comes from the renderer's log records and stays
/// at its beginning for as long as nobody hands them on (`Pipeline::AddLog`).
struct SessionStatistics_t {
    /// The renderer's three, and one place for what else might come.
    static constexpr std::size_t Frequencies = 4;

    /// 0 for several sessions together.
    std::uint32_t session = 0;
    std::uint64_t jobs = 0;
    /// Jobs that the renderer did not complete with success.
    Episodes_t failures;
    /// Jobs that came to the renderer when their presentation time had passed.
    Episodes_t lateJobs;
    /// Times without a job for longer than the renderer waits until it stops a session as idle, one second.
    Episodes_t pauses;

    /// Achieved minus requested presentation time, of jobs that were neither failures nor late: the latest,
    /// and all. Above zero the sound is late.
    std::int64_t errorNanoSec = 0;
    Distribution error;
    /// How fast that error grows, over about the last half minute since the latest start, jump or pause;
    /// nothing for the first five seconds.
    std::optional<double> trendPpm;
    /// How long the renderer worked on each job.
    Distribution renderTime;

    /// *log* Of now, in Hz; 0 while nothing plays or is known.
    std::uint32_t frequencyHz = 0;
    /// *log* In the order in which they came first; pauses do not count.
    std::array<FrequencyTime_t, Frequencies> frequencyTimes{};
    /// *log*
    Episodes_t starts;
    /// *log* Playback stopped because a frame came after its presentation time.
    Episodes_t lateStops;
    /// *log* The play cursor was set anew because the drift was too high.
    Episodes_t jumps;
    /// *log* Frames were missing, and how many samples in all.
    Episodes_t losses;
    std::uint64_t lostSamples = 0;
    /// *log* Gaps of some samples between frames, closed.
    Episodes_t smallGaps;
    /// *log* Frames came with another sampling rate.
    Episodes_t rateChanges;
};

/// Adds what `other` counted to `sum`; of what is now, the session further out of time stands for both.
MEDIAPIPELINE_API void Merge(SessionStatistics_t const& other, SessionStatistics_t& sum);

/// Of what was read from the microphone (`Pipeline::AddCaptured`).
struct CaptureStatistics_t {
    std::uint64_t frames = 0;
    /// Frames that the numbers say others have read.
    std::uint64_t skippedFrames = 0;
    /// Sound that is missing for good although no number tells: from then on less has come than time has
    /// passed. Found two seconds later.
    Episodes_t losses;
    std::uint64_t lostFrames = 0;
    /// Times that frame numbers began anew.
    std::uint64_t restarts = 0;
};

/// Of a whole pipeline, since it was made.
struct PipelineStatistics_t {
    /// Of the sessions that are open, in the order of their numbers.
    std::vector<SessionStatistics_t> sessions;
    /// Of those that have ended, together, and how many they are.
    SessionStatistics_t ended;
    std::uint64_t endedSessions = 0;
    /// *log* Playback of a session that had no frames was stopped; which one, the record does not tell.
    Episodes_t idleStops;
    CaptureStatistics_t capture;
};

} // namespace Media
