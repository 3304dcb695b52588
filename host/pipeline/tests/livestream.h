#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>

#include "pipeline/streamclock.h"

namespace StreamClockTests {

using Kovra::JiffyTime;
using Kovra::NanoSecPerMilliSec;
using Kovra::NanoSecPerSec;
using Media::StreamClock;
using Media::StreamClockSettings_t;
using Media::StreamEvent_t;
using Media::StreamFigures_t;
using Media::StreamPlacement_t;
using Kind_t = StreamEvent_t::Kind_t;
using Verdict_t = StreamPlacement_t::Verdict_t;

constexpr std::int64_t FrameNanoSec = 20 * NanoSecPerMilliSec;
constexpr std::int64_t LeadNanoSec = 100 * NanoSecPerMilliSec;

/// The clock weighs what it sees: without any jitter it is right to a tenth of a millisecond.
inline ::testing::AssertionResult IsNear(std::int64_t actualNanoSec, std::int64_t expectedNanoSec,
                                         std::int64_t toleranceNanoSec = 100'000) {
    std::int64_t const error = actualNanoSec - expectedNanoSec;
    return (std::abs(error) <= toleranceNanoSec ? ::testing::AssertionSuccess()
                                                : ::testing::AssertionFailure())
           << actualNanoSec << " is off by " << error << " ns";
}

/// A stream of frames of 20 ms whose sender counts 48000 ticks a second of ours, unless a test says
/// otherwise.
class LiveStream {
public:
    explicit LiveStream(StreamClockSettings_t const& settings = MakeSettings()) : clock(settings) {}

    static StreamClockSettings_t MakeSettings() {
        StreamClockSettings_t settings;
        settings.ticksPerSec = 48'000;
        return settings;
    }
    static StreamClockSettings_t MakeAdapted() {
        StreamClockSettings_t settings = MakeSettings();
        settings.isLeadAdapted = true;
        return settings;
    }

    /// The next frame, `delayNanoSec` later than it could come.
    StreamPlacement_t Next(std::int64_t delayNanoSec = 0) { return PlaceFrame(number++, delayNanoSec); }

    StreamPlacement_t PlaceFrame(std::int64_t frame, std::int64_t delayNanoSec = 0) {
        return clock.Place(TicksOf(frame), JiffyTime(SentNanoSec(frame) + delayNanoSec));
    }

    /// So many frames in step; the last one's placement.
    StreamPlacement_t Play(std::int64_t frames) {
        StreamPlacement_t placement;
        for (std::int64_t i = 0; i < frames; ++i) {
            placement = Next();
        }
        return placement;
    }

    std::uint64_t TicksOf(std::int64_t frame) const {
        return firstTicks + static_cast<std::uint64_t>(frame) * 960;
    }
    std::int64_t SentNanoSec(std::int64_t frame) const { return startNanoSec + frame * FrameNanoSec; }
    /// When a frame in step shall be heard.
    std::int64_t DueNanoSec(std::int64_t frame) const { return SentNanoSec(frame) + LeadNanoSec; }

    StreamClock clock;
    std::uint64_t firstTicks = 5'000'000;
    std::int64_t startNanoSec = 77 * NanoSecPerSec;
    std::int64_t number = 0;
};

} // namespace StreamClockTests
