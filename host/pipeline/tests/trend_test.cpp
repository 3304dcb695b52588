#include "trend.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "kovra/time.h"

using Media::Trend;

namespace {

/// A trend of values so far apart that grow by 100 ppm.
Trend MakeTrend(int values, std::int64_t apartNanoSec) {
    Trend trend;
    for (std::int64_t i = 0; i < values; ++i) {
        trend.Add(i * apartNanoSec, i * apartNanoSec / 10'000);
    }
    return trend;
}

} // namespace

TEST(Trend, IsToldFromTenValuesOn) {
    EXPECT_FALSE(MakeTrend(9, Kovra::NanoSecPerSec).GetPpm());
    ASSERT_TRUE(MakeTrend(10, Kovra::NanoSecPerSec).GetPpm());
    EXPECT_NEAR(*MakeTrend(10, Kovra::NanoSecPerSec).GetPpm(), 100.0, 1e-6);
}

TEST(Trend, IsToldFromFiveSecondsOn) {
    EXPECT_FALSE(MakeTrend(11, Kovra::NanoSecPerSec / 2 - 1).GetPpm());
    EXPECT_TRUE(MakeTrend(11, Kovra::NanoSecPerSec / 2).GetPpm());
}

TEST(Trend, BeginsAnewAfterMoreThanHalfAMinuteWithoutAValue) {
    for (std::int64_t const beyond : {0, 1}) {
        Trend trend = MakeTrend(10, Kovra::NanoSecPerSec);
        trend.Add(39 * Kovra::NanoSecPerSec + beyond, 0);
        EXPECT_EQ(trend.GetPpm().has_value(), beyond == 0);
    }
}
