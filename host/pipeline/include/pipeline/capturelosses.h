#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "pipeline/export.h"

namespace Media {

/// What one frame from the microphone stands for.
constexpr std::int64_t CaptureFrameNanoSec = 20'000'000;

/// Finds sound from the microphone that is missing for good, from how far behind the clock the frames come:
/// what is only late comes in within two seconds. Neither frame numbers nor timestamps show such a loss.
/// Constant memory.
///
/// **Threads:** one at a time.
class MEDIAPIPELINE_API CaptureLossFinder {
public:
    /// Time is looked at in slots of a fifth of a second.
    static constexpr std::int64_t SlotNanoSec = 200'000'000;
    /// The verdict on a slot comes with the last of so many: it and those within which late sound must have
    /// come.
    static constexpr std::size_t SettleSlots = 10;

    /// Of the next slot: the least time by which the sound read so far was behind the time that had passed,
    /// in nanoseconds; nothing when no frame came in it. Returns the frames that are missing from
    /// `SettleSlots` - 1 slots before it on. Add as many empty slots at the end for the verdict on the last.
    std::uint64_t Add(std::optional<std::int64_t> behindNanoSec);

private:
    std::optional<std::int64_t> FindLeast() const;

    std::array<std::optional<std::int64_t>, SettleSlots> slots_;
    std::size_t next_ = 0;
    std::optional<std::int64_t> reference_;
};

} // namespace Media
