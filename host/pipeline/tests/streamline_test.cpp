#include "streamline.h"

#include <gtest/gtest.h>

#include "kovra/time.h"

namespace StreamLineTests {
namespace {

using Kovra::NanoSecPerMilliSec;
using Media::StreamLine;

constexpr auto MaxBuckets = static_cast<std::int64_t>(StreamLine::MaxBuckets);

/// The first frame of each bucket from `begin` to `end`, all on the same route.
void Play(StreamLine& line, std::int64_t begin, std::int64_t end, std::int64_t delayNanoSec) {
    for (std::int64_t bucket = begin; bucket < end; ++bucket) {
        std::int64_t const stream = bucket * StreamLine::BucketNanoSec;
        line.Add(stream, stream + delayNanoSec);
    }
}

TEST(StreamLine_Window, GrowsToItsLimitWithoutAnyJitter) {
    StreamLine line;
    line.Begin(0, 0);
    Play(line, 1, MaxBuckets - 1, 0);
    EXPECT_EQ(line.CountBuckets(), StreamLine::MaxBuckets - 1);
    Play(line, MaxBuckets - 1, MaxBuckets + 10, 0);
    EXPECT_EQ(line.CountBuckets(), StreamLine::MaxBuckets);
}

TEST(StreamLine_Window, HoldsItsLimitOnARouteThatBecomesShorter) {
    constexpr std::int64_t LongNanoSec = 80 * NanoSecPerMilliSec;
    constexpr std::int64_t ShortNanoSec = 50 * NanoSecPerMilliSec;
    StreamLine line;
    line.Begin(0, LongNanoSec);
    Play(line, 1, MaxBuckets + 10, LongNanoSec);
    Play(line, MaxBuckets + 10, MaxBuckets + 30, ShortNanoSec);
    EXPECT_LE(line.CountBuckets(), StreamLine::MaxBuckets);
    Play(line, MaxBuckets + 30, 2 * MaxBuckets, ShortNanoSec);
    EXPECT_EQ(line.CountBuckets(), StreamLine::MaxBuckets);
    EXPECT_NEAR(static_cast<double>(line.EarliestArrival(0)), static_cast<double>(ShortNanoSec), 1e4);
}

} // namespace
} // namespace StreamLineTests
