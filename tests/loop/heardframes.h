#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

#include "simulation/device/speaker.h"

namespace ClosedLoop {

/// Finds frames in what a speaker hears. Every frame consists of samples of one value, which tells its
/// number; so a sample that should not be heard any more gives itself away wherever it comes from.
///
/// **Threads:** those of the speaker's callback and of reading: one at a time.
/// **Units:** monotonic nanoseconds.
class HeardFrames {
public:
    /// Where frame `number`, presented at `presentationNanoSec`, began to be heard.
    using Listener =
        std::function<void(std::int64_t number, std::int64_t presentationNanoSec, std::int64_t heardNanoSec)>;

    explicit HeardFrames(Listener listener) : listener_(std::move(listener)) {}

    /// The value of all samples of frame `number`; never 0.
    static std::int16_t ValueOf(std::int64_t number);

    /// Says when frame `number`, the next in order, shall be heard. Earlier than it can be heard.
    void Expect(std::int64_t number, std::int64_t presentationNanoSec);

    /// The speaker's callback.
    void Hear(Simulation::HeardRun const& run, std::uint64_t index, std::int16_t const* samples,
              std::size_t frames);

    /// Frames of which at least one sample was heard.
    std::int64_t FrameCount() const { return frameCount_; }
    /// The latest of them; -1 before the first.
    std::int64_t LastNumber() const { return lastNumber_; }
    /// How often a frame was heard anew behind silence or behind a later frame.
    std::int64_t StaleCount() const { return staleCount_; }
    /// Stretches of silence heard since the first frame.
    std::int64_t SilenceCount() const { return silenceCount_; }
    /// Stretches of sound without a break; each change of the frequency makes one, each jump of the cursor
    /// too.
    std::int64_t RunCount() const { return runCount_; }
    /// Samples heard in all, silent ones included.
    std::uint64_t SampleCount() const { return sampleCount_; }
    /// A number that any other sound heard, or at any other time after `originNanoSec`, would have changed.
    std::uint64_t Digest() const { return digest_; }
    void SetOrigin(std::int64_t originNanoSec) { originNanoSec_ = originNanoSec; }

private:
    static constexpr std::int64_t ValueCount = 30000;
    /// More than are on their way at once.
    static constexpr std::size_t PendingCount = 4096;

    void HearValue(std::int16_t value, Simulation::HeardRun const& run, std::uint64_t index);
    void Digest(std::uint64_t number);

    Listener listener_;
    std::array<std::int64_t, PendingCount> presentations_{};
    std::int16_t lastValue_ = 0;
    std::int64_t lastNumber_ = -1;
    std::int64_t frameCount_ = 0;
    std::int64_t staleCount_ = 0;
    std::int64_t silenceCount_ = 0;
    std::int64_t runCount_ = 0;
    std::uint64_t sampleCount_ = 0;
    std::uint64_t digest_ = 0;
    std::int64_t originNanoSec_ = 0;
};

} // namespace ClosedLoop
