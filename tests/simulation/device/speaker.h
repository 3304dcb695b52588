#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "simulation/device/cursorclock.h"

namespace Simulation {

/// A stretch of sound that was heard without a break: frames one after the other at one rate, volume and
/// pan.
struct HeardRun {
    /// Instant at which the first frame began to be heard.
    std::int64_t startNanoSec = 0;
    /// Where in the ring the first frame lies.
    std::uint32_t ringFrame = 0;
    /// Index of the first frame among all frames ever heard from this buffer.
    std::uint64_t firstIndex = 0;
    std::uint64_t frameCount = 0;
    std::uint32_t frequencyHz = 0;
    std::int32_t volume = 0;
    std::int32_t pan = 0;
    /// The cursor as it stood at the first frame, which knows the time of the others.
    CursorClock clock;

    /// Instant at which frame number `index` of the run (0 is the first) began to be heard.
    std::int64_t TimeOf(std::uint64_t index) const;
};

/// What was heard from one buffer, taken from the ring at the time it passed under the play cursor, so that
/// what was written or cleared later does not matter. `buffer.EnableSpeaker()` makes one.
///
/// A frame counts as heard from the instant at which the play cursor reaches its start. The true cursor
/// counts, not the reported one (`SetCursorStep`). Only 16-bit buffers can be heard.
///
/// **Threads:** reading, while no other thread uses the buffer or moves the clock; reach it through
/// `buffer.GetSpeaker()`, which brings it up to date. The callback runs with the platform's mutex held: it
/// may keep what it gets, and call nothing of the simulation.
class Speaker {
public:
    /// `samples` are the interleaved samples of `frames` frames, which start at frame `index` of `run`.
    using Callback = std::function<void(HeardRun const& run, std::uint64_t index, std::int16_t const* samples,
                                        std::size_t frames)>;

    explicit Speaker(std::uint32_t channels) : channels_(channels) {}

    /// From now on and for good frames go to `callback` instead of the history. Runs are kept neither.
    void SetCallback(Callback callback);

    /// All runs kept, oldest first.
    std::vector<HeardRun> const& Runs() const { return runs_; }
    /// Number of frames heard since the speaker was enabled, kept or not.
    std::uint64_t HeardFrames() const { return heardFrames_; }
    /// The interleaved samples of a run that is kept.
    std::vector<std::int16_t> Samples(HeardRun const& run) const;
    /// All samples kept, runs in order without what lay between them.
    std::vector<std::int16_t> const& Samples() const { return samples_; }

    /// Instant at which a frame whose first sample is `value` was first heard, at `fromNanoSec` or later.
    std::optional<std::int64_t> TimeOfValue(std::int16_t value, std::int64_t fromNanoSec = INT64_MIN) const;
    /// The first sample of the frame that was heard at `nanoSec`; empty when the buffer was silent then
    /// because it did not play.
    std::optional<std::int16_t> ValueAt(std::int64_t nanoSec) const;

    /// For the buffer: the next frames belong to a new run; `run` tells all but index and count.
    void Break() { isContinuing_ = false; }
    bool IsContinuing() const { return isContinuing_; }
    void Begin(HeardRun run);
    /// For the buffer: `frames` further frames of the current run.
    void Hear(std::int16_t const* samples, std::size_t frames);

private:
    std::int16_t FirstSampleOf(std::uint64_t index) const { return samples_[index * channels_]; }

    std::uint32_t channels_;
    Callback callback_;
    bool isContinuing_ = false;
    std::uint64_t heardFrames_ = 0;
    std::vector<HeardRun> runs_;
    HeardRun current_;
    std::vector<std::int16_t> samples_;
};

} // namespace Simulation
