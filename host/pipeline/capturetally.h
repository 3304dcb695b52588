#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "kovra/time.h"
#include "mediacore/frame.h"
#include "pipeline/capturelosses.h"
#include "pipeline/statistics.h"

namespace Media {

/// Keeps the statistics of what is read from the microphone.
///
/// **Threads:** all operations from any thread; none allocates.
class CaptureTally {
public:
    void Add(std::vector<std::shared_ptr<FrameAud>> const& frames);
    CaptureStatistics_t Get() const;

private:
    void CheckNumber(std::uint32_t number, std::int64_t nowNanoSec);
    void Begin(std::int64_t nowNanoSec);
    void EndSlot();

    mutable std::mutex lock_;
    // --- guarded by lock
    CaptureStatistics_t told_;
    std::optional<std::uint32_t> number_;
    /// Since the frame numbers began: when, how many frames, and the slot of now.
    std::int64_t beginNanoSec_ = 0;
    std::int64_t frames_ = 0;
    CaptureLossFinder finder_;
    std::int64_t slot_ = 0;
    std::optional<std::int64_t> behindNanoSec_;
};

} // namespace Media
