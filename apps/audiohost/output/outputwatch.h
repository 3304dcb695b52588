#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#include "listening/outputglitch.h"
#include "output/silentsound.h"
#include "terminal/stopsignal.h"

namespace AudioHost {

/// Looks at the cursor of a silent sound every few milliseconds for as long as it lives. That keeps the
/// device running, so that no session is its first, and is a witness apart from the renderer: when this
/// cursor stands still or leaps, it is the output's doing.
///
/// **Threads:** watches on one of its own; all operations from any other.
/// **Ownership:** owns the sound; it plays until `Stop`.
class OutputWatch {
public:
    /// `sound` may be null: nothing is watched then.
    explicit OutputWatch(std::unique_ptr<SilentSound> sound);
    ~OutputWatch();
    OutputWatch(OutputWatch const&) = delete;
    OutputWatch& operator=(OutputWatch const&) = delete;

    /// Returns when the sound has played for a second and its cursor has moved steadily for the last half of
    /// it; after three seconds in any case; at once when nothing is watched or `pacer` says that the person
    /// asked to stop.
    void WaitUntilSteady(Pacer& pacer) const;

    /// Ends the watch and the sound; what was seen since `startNanoSec` (of the monotonic clock), from which
    /// its times count. Nothing watched the second time.
    Listening::OutputLog Stop(std::int64_t startNanoSec);

private:
    void End();
    void Watch();
    void Note(std::int64_t nowNanoSec, std::int64_t positionNanoSec, std::int64_t lengthNanoSec);
    bool IsSteady() const;

    std::atomic<bool> isOver_{false};
    mutable std::mutex lock_;
    // --- guarded by lock
    /// The latest, for a little longer than the cursor must be steady.
    std::deque<Listening::CursorStay> stays_;
    std::int64_t firstNanoSec_ = 0;
    Listening::GlitchFinder finder_;
    // --- the watching thread's own
    std::unique_ptr<SilentSound> sound_;
    std::int64_t lastPositionNanoSec_ = 0;

    std::thread thread_;
};

} // namespace AudioHost
