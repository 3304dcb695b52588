#pragma once

#include <cstdint>

namespace Simulation {

/// The exact position of a cursor that moves at a constant rate: integers only, down to the 10^-18 part of a
/// frame, so that nothing drifts however often it is read and however long it runs.
///
/// **Threads:** none of its own; a plain value.
/// **Units:** frames (one sample of every channel) counted from an origin that never wraps; monotonic
/// nanoseconds.
class CursorClock {
public:
    static constexpr std::int64_t PartsPerBillion = 1'000'000'000;

    /// Rate from the current instant on: `frequencyHz` frames a second on a device whose crystal runs fast
    /// by `skewPartsPerBillion`, which lies above minus one billion and below one billion.
    void SetRate(std::uint32_t frequencyHz, std::int64_t skewPartsPerBillion);

    /// Moves from instant `nanoSec` on; before it the cursor stands.
    void Start(std::int64_t nanoSec);
    void Stop() { isRunning_ = false; }

    /// Puts the cursor onto the start of `frame`.
    void SetFrame(std::int64_t frame);

    /// Brings the position to instant `nanoSec`; an earlier one than the last changes nothing.
    void AdvanceTo(std::int64_t nanoSec);

    /// The instant that the position belongs to: the latest that it was brought to, or the start when that
    /// lies ahead.
    std::int64_t NanoSec() const { return nanoSec_; }
    /// The frame that the cursor is in.
    std::int64_t Frame() const { return frame_; }
    /// True when the cursor stands exactly where that frame starts.
    bool IsAtFrameStart() const { return billionths_ == 0 && quintillionths_ == 0; }

    /// The first nanosecond at which the cursor is in or behind `frame`, if nothing changes: the current
    /// instant when it is there already, INT64_MAX when it stands.
    std::int64_t TimeOf(std::int64_t frame) const;

private:
    bool isRunning_ = false;
    std::int64_t nanoSec_ = 0;
    std::int64_t frame_ = 0;
    /// Position within the frame: billionths of it, and billionths of those.
    std::int64_t billionths_ = 0;
    std::int64_t quintillionths_ = 0;
    /// Billionths of a frame that pass in a second.
    std::int64_t billionthsPerSec_ = 0;
};

} // namespace Simulation
