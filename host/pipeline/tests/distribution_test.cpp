#include "pipeline/distribution.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>

using Media::Distribution;

namespace {

constexpr std::int64_t MicroSec = 1'000;
constexpr std::int64_t MilliSec = 1'000'000;
constexpr std::int64_t Sec = 1'000'000'000;

/// What a quantile may be off by.
double ResolutionOf(std::int64_t nanoSec) {
    return std::max(50.0, 0.032 * std::fabs(static_cast<double>(nanoSec)));
}

class Distribution_GetQuantileNanoSec : public testing::TestWithParam<std::int64_t> {};

} // namespace

TEST(Distribution_Add, NothingAddedIsZero) {
    Distribution const none;
    EXPECT_EQ(none.GetCount(), 0U);
    EXPECT_EQ(none.GetMeanNanoSec(), 0.0);
    EXPECT_EQ(none.GetLeastNanoSec(), 0);
    EXPECT_EQ(none.GetMostNanoSec(), 0);
    EXPECT_EQ(none.GetQuantileNanoSec(0.5), 0);
}

// The value stands between two that are far away, so that nothing but its own step tells it.
TEST_P(Distribution_GetQuantileNanoSec, IsWithinTheResolution) {
    std::int64_t const value = GetParam();
    for (std::int64_t const one : {value, -value}) {
        Distribution told;
        told.Add(-107 * Sec);
        told.Add(one);
        told.Add(107 * Sec);
        EXPECT_NEAR(static_cast<double>(told.GetQuantileNanoSec(0.5)), static_cast<double>(one),
                    ResolutionOf(one));
    }
}

INSTANTIATE_TEST_SUITE_P(Magnitudes, Distribution_GetQuantileNanoSec,
                         testing::Values(0, 1, 99, 100, 1'599, 1'600, 3'199, 3'200, 3'201, 10 * MicroSec,
                                         999'999, MilliSec, 20 * MilliSec, 313 * MilliSec, Sec, 59 * Sec,
                                         106 * Sec),
                         [](auto const& one) { return "Of" + std::to_string(one.param) + "NanoSec"; });

TEST(Distribution_GetQuantileNanoSecOfMany, CountsFromTheLeastToTheMost) {
    Distribution told;
    for (std::int64_t i = -500; i <= 500; ++i) {
        told.Add(i * MilliSec);
    }
    EXPECT_EQ(told.GetCount(), 1001U);
    EXPECT_DOUBLE_EQ(told.GetMeanNanoSec(), 0.0);
    for (std::int64_t const percent : {1, 5, 25, 50, 75, 95, 99}) {
        std::int64_t const exact = (percent * 10 - 500) * MilliSec;
        EXPECT_NEAR(static_cast<double>(told.GetQuantileNanoSec(static_cast<double>(percent) / 100.0)),
                    static_cast<double>(exact), ResolutionOf(exact) + 1.0 * MilliSec)
            << percent;
    }
    EXPECT_EQ(told.GetQuantileNanoSec(0.0), -500 * MilliSec);
    EXPECT_EQ(told.GetQuantileNanoSec(1.0), 500 * MilliSec);
    EXPECT_EQ(told.GetQuantileNanoSec(7.0), 500 * MilliSec);
}

TEST(Distribution_Add, KeepsExtremesBeyondItsRange) {
    Distribution told;
    told.Add(INT64_MIN);
    told.Add(INT64_MAX);
    told.Add(5);
    EXPECT_EQ(told.GetLeastNanoSec(), INT64_MIN);
    EXPECT_EQ(told.GetMostNanoSec(), INT64_MAX);
    EXPECT_EQ(told.GetQuantileNanoSec(0.5), 50) << "the middle of the finest step";
}

TEST(Distribution_Add, KeepsTheExtremesExactly) {
    for (std::int64_t const sign : {-1, 1}) {
        Distribution told;
        told.Add(sign * 10);
        EXPECT_EQ(told.GetLeastNanoSec(), sign * 10);
        EXPECT_EQ(told.GetMostNanoSec(), sign * 10);
        told.Add(sign * 99);
        EXPECT_EQ(told.GetQuantileNanoSec(0.0), sign < 0 ? -99 : 10);
        EXPECT_EQ(told.GetQuantileNanoSec(1.0), sign < 0 ? -10 : 99);
        told.Add(sign * 50);
        EXPECT_EQ(told.GetQuantileNanoSec(0.0), sign < 0 ? -99 : 10);
        EXPECT_EQ(told.GetQuantileNanoSec(1.0), sign < 0 ? -10 : 99);
    }
}

TEST(Distribution_Add, BelowZeroHasTheSameSteps) {
    Distribution told;
    told.Add(-1000);
    told.Add(-199);
    told.Add(-100);
    told.Add(-99);
    told.Add(-1);
    told.Add(1000);
    EXPECT_EQ(told.GetQuantileNanoSec(2.0 / 6.0), -150) << "the middle of 100 to 199";
    EXPECT_EQ(told.GetQuantileNanoSec(3.0 / 6.0), -150);
    EXPECT_EQ(told.GetQuantileNanoSec(4.0 / 6.0), -50);
    EXPECT_EQ(told.GetQuantileNanoSec(5.0 / 6.0), -50);
}

TEST(Distribution_Merge, IsAsIfAllHadBeenAddedToOne) {
    Distribution first;
    Distribution second;
    Distribution all;
    for (std::int64_t i = 1; i <= 300; ++i) {
        std::int64_t const value = (i * i % 311 - 150) * 77'777;
        (i % 3 == 0 ? first : second).Add(value);
        all.Add(value);
    }
    first.Merge(second);
    first.Merge(Distribution());
    EXPECT_EQ(first.GetCount(), all.GetCount());
    EXPECT_NEAR(first.GetMeanNanoSec(), all.GetMeanNanoSec(), 1e-3);
    for (int percent = 0; percent <= 100; ++percent) {
        double const share = percent / 100.0;
        EXPECT_EQ(first.GetQuantileNanoSec(share), all.GetQuantileNanoSec(share)) << percent;
    }
    // Whichever has the extremes.
    Distribution wide;
    wide.Add(-60 * Sec);
    wide.Add(60 * Sec);
    for (bool const isInto : {true, false}) {
        Distribution into = isInto ? wide : all;
        into.Merge(isInto ? all : wide);
        EXPECT_EQ(into.GetLeastNanoSec(), -60 * Sec);
        EXPECT_EQ(into.GetMostNanoSec(), 60 * Sec);
    }
    Distribution none;
    none.Merge(all);
    EXPECT_EQ(none.GetLeastNanoSec(), all.GetLeastNanoSec());
    EXPECT_EQ(none.GetMostNanoSec(), all.GetMostNanoSec());
}
