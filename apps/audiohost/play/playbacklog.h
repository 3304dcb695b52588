#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "files/framemaker.h"
#include "kovra/log.h"
#include "kovra/time.h"
#include "listening/mix/mixcompare.h"
#include "listening/outputglitch.h"
#include "listening/samples.h"
#include "listening/soundcompare.h"
#include "live/streamstate.h"
#include "page/facts.h"
#include "pipeline/pipeline.h"
#include "play/logwatch.h"

namespace AudioHost {

/// What the pipeline told about one frame. Times count from the first frame's handing over.
struct PresentationPoint {
    std::int64_t timeNanoSec = 0;
    /// When it will be heard minus when it was asked for.
    double errorMilliSec = 0.0;
    /// How long the renderer worked on it.
    double renderMicroSec = 0.0;
};

/// One frame's way to the pipeline. Times count as above.
struct HandOver {
    std::int64_t timeNanoSec = 0;
    /// After it was due.
    double lateMilliSec = 0.0;
};

struct FrequencyStep {
    std::int64_t timeNanoSec = 0;
    std::uint32_t hz = 0;
};

/// How a stream stood. Times count as above.
struct StreamPoint {
    std::int64_t timeNanoSec = 0;
    StreamState state;
};

/// A stream's packet that was played. Times count as above.
struct Arrival {
    std::int64_t timeNanoSec = 0;
    /// How long before it was due it came.
    double spareMilliSec = 0.0;
};

/// One file's playback.
struct SessionLog {
    std::string name;
    std::string description;
    /// As the file's headers tell; 0 when they do not.
    std::int64_t durationNanoSec = 0;
    /// End of the last frame handed over.
    std::int64_t sentNanoSec = 0;
    std::uint64_t framesSent = 0;
    std::uint64_t jobsSucceeded = 0;
    std::uint64_t jobsFailed = 0;
    /// Empty unless all is kept.
    std::vector<HandOver> handOvers;
    /// Of jobs that succeeded, as `PointKeeper` has them.
    std::vector<PresentationPoint> points;
    std::vector<FrequencyStep> steps;
    std::vector<PlayEvent> events;
    /// Of a stream, the last one alone unless all is kept; empty of a file.
    std::vector<StreamPoint> streamPoints;
    /// Empty unless all is kept, as is the sound.
    std::vector<Arrival> arrivals;
    /// What the frames stand for.
    Listening::Samples sound;
};

/// One run of the play command.
struct PlaybackLog {
    Kovra::SysTime startedAt;
    std::int64_t leadMilliSec = 0;
    bool isInterrupted = false;
    /// What was run, and on what.
    std::vector<Fact> facts;
    std::vector<SessionLog> sessions;
    /// Records that belong to no frame, such as a stop for idleness.
    std::vector<PlayEvent> otherEvents;
    Listening::OutputLog output;
    /// Samples that a recorder had put down when playing began.
    std::int64_t heardBefore = 0;
    /// What a recorder heard, and the verdict; empty without a recording.
    Listening::Samples heard;
    std::optional<Listening::SoundComparison> comparison;
    /// Of several sessions, what became of each one's sound; empty of one alone, and without a recording.
    std::vector<Listening::SoundInMix> mix;
    /// Amplitude at which volume and balance ask for it to be heard.
    double askedGain = 1.0;
};

std::vector<double> ErrorsOf(SessionLog const& session);
std::uint64_t CountEvents(SessionLog const& session, EventKind_t kind);

/// A sound that grows. In pieces: one block of memory would now and then be copied as a whole, which takes
/// longer than a frame lasts once it is a few minutes long, and all sessions wait meanwhile.
class GrowingSound {
public:
    /// Puts `samples` at `start`, over what stood there; what nobody put is silence.
    void Put(std::size_t start, Listening::SampleView samples);
    /// The whole sound, taken out.
    Listening::Samples Take();

private:
    std::vector<Listening::Samples> pieces_;
    std::size_t size_ = 0;
};

/// Points of a run of any length. Of more than `most` those that are left out lie evenly between the others;
/// the first and the last `EndPoints` stay, and so do the lowest and the highest error.
class PointKeeper {
public:
    static constexpr std::size_t EndPoints = 25;

    explicit PointKeeper(std::size_t most);

    void Add(PresentationPoint const& point);
    /// Null when there is none.
    PresentationPoint const* GetLatest() const { return points_.empty() ? nullptr : &points_.back().point; }
    std::vector<PresentationPoint> Take();

private:
    struct Numbered {
        std::uint64_t number = 0;
        PresentationPoint point;
    };

    bool Stays(Numbered const& one) const;

    std::size_t most_;
    std::uint64_t count_ = 0;
    /// Of the others one of so many stays.
    std::uint64_t every_ = 1;
    std::vector<Numbered> points_;
    Numbered lowest_;
    Numbered highest_;
};

/// Gathers a `PlaybackLog` while frames are handed over and rendered.
///
/// **Threads:** all operations from any thread.
class PlaybackLogKeeper {
public:
    /// With `keepAll` all that a report shows is kept, the sound that is sent among it: 100 kB a second and
    /// session. Without, as much as a summary needs, a megabyte a session and its records, however long it
    /// takes.
    explicit PlaybackLogKeeper(bool keepAll) : keepAll_(keepAll) {}

    /// Before the first frame: the instant that times count from.
    void SetStart(Kovra::JiffyTime start);
    /// Before the session's first frame: its number in the log is the count of sessions so far.
    std::size_t AddSession(Media::Pipeline::SessionId_t id, SessionLog session);

    void AddSent(std::size_t session, MediaFrame const& frame);
    /// One of the session's stream was handed over, which came `spareNanoSec` before it was due.
    void AddArrival(std::size_t session, std::int64_t spareNanoSec);
    void AddStream(std::size_t session, StreamState const& state);
    void AddReport(Media::Pipeline::Report_t const& report);
    /// A record belongs to the session that is its subject.
    void AddLog(Kovra::LogRecord const& record);

    /// What progress needs of each session: everything but its points, events and sound.
    struct Progress {
        std::int64_t sentNanoSec = 0;
        std::int64_t durationNanoSec = 0;
        double errorMilliSec = 0.0;
        std::uint32_t hz = 0;
        std::uint64_t jobsFailed = 0;
        std::string name;
        /// Of a stream.
        std::optional<StreamState> stream;
    };
    std::vector<Progress> GetProgress() const;

    /// The whole log, taken out.
    PlaybackLog Take();

private:
    mutable std::mutex lock_;
    bool const keepAll_;
    // --- guarded by lock
    Kovra::JiffyTime start_;
    PlaybackLog log_;
    std::map<Media::Pipeline::SessionId_t, std::size_t> numbers_;
    /// Of the log's sessions, in their order.
    std::vector<GrowingSound> sounds_;
    std::vector<PointKeeper> points_;
};

} // namespace AudioHost
