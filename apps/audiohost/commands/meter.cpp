#include "commands/meter.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>

#include "files/outputfile.h"
#include "listening/samples.h"
#include "pipeline/pipeline.h"
#include "terminal/atend.h"
#include "terminal/levelbar.h"
#include "terminal/progressline.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

/// Short enough for a bar to follow speech.
constexpr int TerminalIntervalMilliSec = 50;

/// What the line-level thread and the command share.
///
/// **Threads:** all operations from any thread.
class LevelFeed {
public:
    /// False when no more levels are wanted.
    bool Take(float level) {
        std::lock_guard<std::mutex> const guard(lock_);
        latest_ = level;
        highest_ = std::max(highest_, level);
        ++count_;
        return isWanted_;
    }

    void End() {
        std::lock_guard<std::mutex> const guard(lock_);
        isWanted_ = false;
    }

    /// The thread has ended: it will never call again.
    void SetReleased() {
        {
            std::lock_guard<std::mutex> const guard(lock_);
            isReleased_ = true;
        }
        released_.notify_all();
    }
    bool IsReleased() const {
        std::lock_guard<std::mutex> const guard(lock_);
        return isReleased_;
    }
    void WaitUntilReleased() {
        std::unique_lock<std::mutex> guard(lock_);
        released_.wait(guard, [this] { return isReleased_; });
    }

    struct Reading {
        float latest = 0.0F;
        /// Since the reading before.
        float highest = 0.0F;
        /// Levels that came so far.
        std::uint64_t count = 0;
    };
    Reading Read() {
        std::lock_guard<std::mutex> const guard(lock_);
        return {latest_, std::exchange(highest_, latest_), count_};
    }

private:
    mutable std::mutex lock_;
    std::condition_variable released_;
    // --- guarded by lock
    float latest_ = 0.0F;
    float highest_ = 0.0F;
    std::uint64_t count_ = 0;
    bool isWanted_ = true;
    bool isReleased_ = false;
};

/// Lives in every copy of the callback: with the last one the line-level thread has let go of it, whether or
/// not it was ever called.
class Hold {
public:
    explicit Hold(std::shared_ptr<LevelFeed> feed) : feed_(std::move(feed)) {}
    ~Hold() { feed_->SetReleased(); }
    Hold(Hold const&) = delete;
    Hold& operator=(Hold const&) = delete;

    bool Take(float level) const { return feed_->Take(level); }

private:
    std::shared_ptr<LevelFeed> const feed_;
};

/// The instants at which levels are shown; the last one is the end.
class Schedule {
public:
    Schedule(Kovra::JiffyTime start, int intervalMilliSec, double seconds)
        : next_(start), intervalMilliSec_(intervalMilliSec) {
        if (seconds > 0.0) {
            auto const span =
                static_cast<std::int64_t>(seconds * static_cast<double>(Listening::NanoSecPerSec));
            end_ = Kovra::JiffyTime(start.NanoSec() + span);
        }
    }

    bool HasEnded() const { return end_ && !(next_ < *end_); }
    Kovra::JiffyTime Advance() {
        next_ = next_.AddMilliSec(intervalMilliSec_);
        next_ = end_ && *end_ < next_ ? *end_ : next_;
        return next_;
    }

private:
    Kovra::JiffyTime next_;
    int const intervalMilliSec_;
    std::optional<Kovra::JiffyTime> end_;
};

std::string DescribeBar(LevelFeed::Reading const& reading, std::int64_t nanoSec, PeakHold& hold) {
    double const peak = hold.Add(LineLevelDecibel(reading.highest), nanoSec);
    return FormatLevelBar(LineLevelDecibel(reading.latest), peak) + "  peak " + FormatLevel(peak);
}

std::string DescribeNumbers(LevelFeed::Reading const& reading, std::int64_t nanoSec) {
    return FormatClock(nanoSec) + "  level " + FormatLevel(LineLevelDecibel(reading.latest)) + "  highest " +
           FormatLevel(LineLevelDecibel(reading.highest));
}

/// False when the person asked to stop.
bool ShowLevels(LevelFeed& feed, MeterOptions const& options, Surroundings const& surroundings) {
    ProgressLine line(surroundings);
    PeakHold hold;
    AtEnd const end([&line] { line.End(); });
    Kovra::JiffyTime const start = Kovra::JiffyTime::Now();
    Schedule schedule(start, surroundings.isTerminal ? TerminalIntervalMilliSec : line.GetIntervalMilliSec(),
                      options.seconds);
    while (!schedule.HasEnded()) {
        Kovra::JiffyTime const next = schedule.Advance();
        if (!surroundings.stop.WaitUntil(next)) {
            return false;
        }
        if (feed.IsReleased()) {
            throw HostError(ExitCode_t::NoInput, "the microphone gives no level any more.");
        }
        LevelFeed::Reading const reading = feed.Read();
        if (reading.count > 0) {
            std::int64_t const time = next.GetDiffSysTime(start).NanoSec();
            line.Show(surroundings.isTerminal ? DescribeBar(reading, time, hold)
                                              : DescribeNumbers(reading, time));
        }
    }
    return true;
}

/// The callback, its copies and the feed are gone from the renderer when this returns, whatever the way.
bool RunMeter(MeterOptions const& options, Surroundings const& surroundings, CaptureAccess& capture) {
    auto const feed = std::make_shared<LevelFeed>();
    bool isStarted = false;
    {
        auto const hold = std::make_shared<Hold>(feed);
        isStarted = capture.StartMeter([hold](float level) { return hold->Take(level); });
    }
    if (!isStarted) {
        throw HostError(ExitCode_t::NoInput, "there is no microphone whose level could be shown.");
    }
    AtEnd const release([&feed] {
        feed->End();
        feed->WaitUntilReleased();
    });
    return ShowLevels(*feed, options, surroundings);
}

} // namespace

ExitCode_t Meter(MeterOptions const& options, Surroundings const& surroundings, CaptureAccess& capture) {
    LogTo(options.logPath);
    surroundings.renderer.Initialize();
    AtEnd const close([&] { surroundings.renderer.Shutdown(); });
    // The line-level thread asks the pipeline for the renderer.
    Media::Pipeline::SetAudioRenderer(&surroundings.renderer);
    AtEnd const forget([] { Media::Pipeline::SetAudioRenderer(nullptr); });
    return RunMeter(options, surroundings, capture) ? ExitCode_t::Ok : ExitCode_t::Interrupted;
}

} // namespace AudioHost
