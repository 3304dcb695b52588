#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "playbackloop.h"
#include "simulation/testworld.h"

namespace ClosedLoop {
namespace {

constexpr std::int64_t Two31 = std::int64_t{1} << 31;
constexpr std::int64_t LapNanoSec = 5 * NanoSecPerSec;
/// How long before the wrap the run begins, rounded up to whole laps of the ring.
constexpr std::int64_t BeforeNanoSec = 10 * NanoSecPerSec;

/// A counter that is about to wrap.
struct Wrap {
    char const* name;
    /// What the stream has played before, in whole laps.
    std::int64_t streamNanoSec = 0;
    /// Reading of the monotonic clock at the start; 0 for where the simulation begins.
    std::int64_t clockNanoSec = 0;
    /// Timestamp of the stream's origin.
    std::int64_t originNanoSec = Conditions().originNanoSec;
};

void PrintTo(Wrap const& wrap, std::ostream* out) {
    *out << wrap.name;
}

constexpr std::int64_t BeginStream(std::int64_t wrapNanoSec) {
    return (wrapNanoSec - BeforeNanoSec) / LapNanoSec * LapNanoSec;
}

constexpr std::int64_t SamplesNanoSec(std::int64_t samples) {
    return samples / 48 * NanoSecPerMilliSec;
}

/// All that could tell one run from another.
struct Course {
    std::vector<std::string> calls;
    std::uint64_t digest = 0;
    std::uint64_t samples = 0;
    std::int64_t frames = 0;
};

/// Twenty seconds, with a device out of step, jitter, a loss, and idleness at the end.
Course PlayThrough(Wrap const& wrap) {
    Conditions conditions;
    conditions.skewPartsPerMillion = 500;
    conditions.cursorStepSamples = 480;
    conditions.jitterMilliSec = 30;
    conditions.originNanoSec = wrap.originNanoSec;
    conditions.firstOffsetNanoSec = wrap.streamNanoSec;
    Simulation::TestWorld world;
    if (wrap.clockNanoSec != 0) {
        world.Clock().AdvanceTo(wrap.clockNanoSec);
    }
    world.Journal().Enable();
    Course course;
    {
        PlaybackLoop loop(world, conditions, [](std::int64_t, std::int64_t, std::int64_t) {});
        while (loop.NextNumber() * FrameNanoSec < 2 * BeforeNanoSec) {
            if (loop.NextNumber() % 400 < 10) {
                loop.LoseFrame();
            } else {
                loop.PlayFrame();
            }
        }
        loop.Wait(2 * NanoSecPerSec);
        course.digest = loop.Heard().Digest();
        course.samples = loop.Heard().SampleCount();
        course.frames = loop.Heard().FrameCount();
        EXPECT_EQ(loop.Heard().StaleCount(), 0);
        for (auto const& record : world.Journal().Records()) {
            course.calls.push_back(std::to_string(record.nanoSec - loop.StartNanoSec()) + " " +
                                   record.Text());
        }
    }
    return course;
}

class ClosedLoop_Wrap : public ::testing::TestWithParam<Wrap> {};

TEST_P(ClosedLoop_Wrap, ChangesNoCallAndNoSample) {
    Course const fresh = PlayThrough(Wrap());
    // All but three losses of ten.
    ASSERT_EQ(fresh.frames, 1000 - 30);
    Course const wrapping = PlayThrough(GetParam());
    EXPECT_EQ(wrapping.calls, fresh.calls);
    EXPECT_EQ(wrapping.digest, fresh.digest);
    EXPECT_EQ(wrapping.samples, fresh.samples);
    EXPECT_EQ(wrapping.frames, fresh.frames);
}

INSTANTIATE_TEST_SUITE_P(
    Counters, ClosedLoop_Wrap,
    ::testing::Values(Wrap{"TwoTo31Bytes", BeginStream(SamplesNanoSec(Two31 / 2))},
                      Wrap{"TwoTo32BytesAndTwoTo31Samples", BeginStream(SamplesNanoSec(Two31))},
                      Wrap{"TwoTo32Samples", BeginStream(SamplesNanoSec(2 * Two31))},
                      Wrap{"TwoTo31MilliSecOfStream", BeginStream(Two31* NanoSecPerMilliSec)},
                      Wrap{"TwoTo32MilliSecOfStream", BeginStream(2 * Two31 * NanoSecPerMilliSec)},
                      Wrap{"TwoTo31MilliSecOfTimestamp", 0, 0, Two31* NanoSecPerMilliSec - BeforeNanoSec},
                      Wrap{"TwoTo32MilliSecOfTimestamp", 0, 0, 2 * Two31* NanoSecPerMilliSec - BeforeNanoSec},
                      Wrap{"TwoTo31MilliSecOfClock", 0, Two31* NanoSecPerMilliSec - BeforeNanoSec},
                      Wrap{"TwoTo32MilliSecOfClock", 0, 2 * Two31* NanoSecPerMilliSec - BeforeNanoSec},
                      Wrap{"TwoTo63NanoSecOfTimestamp", 0, 0, INT64_MAX - BeforeNanoSec},
                      Wrap{"TimestampZero", 0, 0, -BeforeNanoSec - 1}),
    [](auto const& info_) { return std::string(info_.param.name); });

} // namespace
} // namespace ClosedLoop
