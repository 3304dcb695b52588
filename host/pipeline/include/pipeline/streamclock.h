#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "kovra/time.h"
#include "pipeline/export.h"

namespace Media {

/// How a stream counts its time, and how late it shall be heard.
struct StreamClockSettings_t {
    /// How fast the stream's timestamps count, 1 to 2^33; another rate is taken for the nearest of these.
    std::int64_t ticksPerSec = 90'000;
    /// They begin anew after two to the power of so many: 32 for RTP, 33 for MPEG-TS, 64 for who has them
    /// unwrapped. 1 to 64; another number is taken for the nearest of these.
    unsigned int wrapBits = 32;
    /// From the earliest that a frame can arrive to when it shall be heard. When adapted: at first.
    std::int64_t leadNanoSec = 100 * Kovra::NanoSecPerMilliSec;
    /// The lead follows the jitter seen, up to the limit.
    bool isLeadAdapted = false;
    std::int64_t maxLeadNanoSec = 300 * Kovra::NanoSecPerMilliSec;
};

/// What a stream clock noticed, for the host to tell.
struct StreamEvent_t {
    /// What happened; the span is of this.
    enum class Kind_t : int {
        None = 0,
        /// The way of the frames takes longer (positive) or shorter now, and what is due has moved by as
        /// much.
        RouteChanged = 1,
        /// The timestamps go on elsewhere, so much later (positive) than they would have. The reports so far
        /// are forgotten.
        Restarted = 2,
        /// Frames came too late, and the lead was raised at once.
        LeadRaised = 3,
        /// A sender report is off by so much from the reports before it, and is left out.
        ReportRefused = 4,
    };

    Kind_t kind = Kind_t::None;
    std::int64_t spanNanoSec = 0;

    /// In plain words, with the span in milliseconds; empty for `None`.
    MEDIAPIPELINE_API std::string Describe() const;
};

/// Where a frame belongs.
struct StreamPlacement_t {
    /// Whether it shall be played.
    enum class Verdict_t : int {
        Play = 0,
        /// It came after it was due. Leave it out.
        TooLate = 1,
        /// Its timestamp fits nothing that is known, or begins a new timeline that is not certain yet. Leave
        /// it out.
        OutOfLine = 2,
    };

    Verdict_t verdict = Verdict_t::Play;
    /// For the frame: counts on without a jump where the sender's own timestamps wrap or begin anew. Begins
    /// with the arrival of the first frame, and is never 0. Not set for what is out of line.
    Kovra::SysTime timestamp;
    /// When the frame shall be heard. Not set for what is out of line.
    Kovra::JiffyTime due;
    /// One at a time: what came to light with it waits for the next frame.
    StreamEvent_t event;
};

/// Figures of a stream so far.
struct StreamFigures_t {
    std::int64_t frames = 0;
    std::int64_t tooLate = 0;
    std::int64_t outOfLine = 0;
    std::int64_t routeChanges = 0;
    std::int64_t restarts = 0;
    /// How much faster than ours the sender's clock runs.
    double skewPartsPerMillion = 0.0;
    /// Smoothed difference of delay between one frame and the next, as RFC 3550 has it.
    std::int64_t jitterNanoSec = 0;
    /// What the delays of the last minute differed by.
    std::int64_t spreadNanoSec = 0;
    std::int64_t leadNanoSec = 0;
};

/// Tells when the frames of a live stream are due, from their timestamps: a sender's clock runs at another
/// rate than ours, and the network delays each frame differently. Keeps the line of the earliest arrivals
/// (docs/timing.md, "The sender's clock"): a timestamp is due a lead after it. Follows wraps, pauses, changed
/// routes and timelines that begin anew. Reads no clock and has no effects; the same calls give the same
/// answers.
///
/// **Threads:** one at a time.
/// **Units:** arrivals and due times are instants of the monotonic clock.
class MEDIAPIPELINE_API StreamClock {
public:
    explicit StreamClock(StreamClockSettings_t const& settings);
    ~StreamClock();
    StreamClock(StreamClock const&) = delete;
    StreamClock& operator=(StreamClock const&) = delete;

    /// Takes in a frame with its timestamp, and says where it belongs. In the order of arrival.
    StreamPlacement_t Place(std::uint64_t ticks, Kovra::JiffyTime arrival);

    /// The source has changed or was opened again: the next frame begins a new timeline, whatever its
    /// timestamp. What comes then goes on where the stream has been, as far as time has passed. The reports
    /// so far are forgotten, and those before that frame are of no use.
    void Restart();

    /// A sender report (RTCP): `wallTime` of the sender's clock is the instant of `ticks`. Moves nothing that
    /// is due, as the arrivals know better; `None`, or `ReportRefused` when it disagrees with the reports
    /// before it. Two that agree with each other replace those. One that is of more than five seconds from
    /// now, or comes with frames out of line, is passed over: it may be of a timeline that is not certain
    /// yet.
    StreamEvent_t Report(Kovra::SysTime wallTime, std::uint64_t ticks, Kovra::JiffyTime arrival);

    /// When the sender captured the frame placed at `timestamp`, on its own clock, by its reports: lines up
    /// several streams of one sender. Nothing before the timeline's first report, anew after `Restart`.
    std::optional<Kovra::SysTime> GetWallTime(Kovra::SysTime timestamp) const;

    StreamFigures_t GetFigures() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace Media
