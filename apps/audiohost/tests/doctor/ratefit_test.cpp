#include "doctor/ratefit.h"

#include <gtest/gtest.h>

namespace AudioHost {

namespace {

constexpr std::int64_t StepNanoSec = 10'000'000;
/// Weeks after the clock's zero.
constexpr std::int64_t FirstNanoSec = 3'000'000'000'000'000;

/// A minute in steps; `late` shifts the time at which each odd one is seen.
Rate Fit(std::int64_t ppm, std::int64_t lateNanoSec) {
    RateFit fit;
    for (std::int64_t i = 0; i < 6000; ++i) {
        std::int64_t const time = i * StepNanoSec;
        fit.Add(FirstNanoSec + time + (i % 2) * lateNanoSec, 5000 + time + time * ppm / 1'000'000);
    }
    return fit.GetRate().value_or(Rate{});
}

/// A stand every ten seconds, by which the device stays behind.
Rate FitWithStands(std::int64_t standNanoSec) {
    RateFit fit;
    for (std::int64_t i = 0; i < 6000; ++i) {
        std::int64_t const time = i * StepNanoSec;
        fit.Add(FirstNanoSec + time + i / 1000 * standNanoSec, time + time * 50 / 1'000'000);
    }
    return fit.GetRate().value_or(Rate{});
}

} // namespace

TEST(RateFit_GetRate, OfAStraightLineIsItsSlopeWithoutAnError) {
    for (std::int64_t const ppm : {-833, -1, 0, 50}) {
        EXPECT_NEAR(Fit(ppm, 0).ppm, static_cast<double>(ppm), 0.001);
        EXPECT_NEAR(Fit(ppm, 0).uncertaintyPpm, 0.0, 0.01);
    }
}

TEST(RateFit_GetRate, OfLateLooksTellsHowSureItIs) {
    Rate const rate = Fit(50, 4'000'000);
    EXPECT_NEAR(rate.ppm, 50.0, 3.0 * rate.uncertaintyPpm);
    // Deviates by 2 ms; times are spread over 60 / sqrt(12) = 17.3 s: 2e-3 / 17.3 / sqrt(6000) = 1.5e-6.
    EXPECT_NEAR(rate.uncertaintyPpm, 1.5, 0.05);
}

TEST(RateFit_GetRate, OfADeviceThatStoodStillIsItsSpeedBetweenThat) {
    // The step itself is 500 ns longer for the speed.
    EXPECT_NEAR(FitWithStands(15'000'501).ppm, 50.0, 0.01);
    EXPECT_NEAR(FitWithStands(100'000'000).uncertaintyPpm, 0.0, 0.01);
    EXPECT_NEAR(FitWithStands(-15'000'000).ppm, 50.0, 0.01);
    // As slow as that it may be.
    EXPECT_LT(FitWithStands(15'000'500).ppm, -1000.0);
}

TEST(RateFit_GetRate, OfTooLittleIsNothing) {
    RateFit fit;
    EXPECT_FALSE(fit.GetRate());
    fit.Add(1000, 0);
    fit.Add(2000, 1000);
    EXPECT_FALSE(fit.GetRate());
    fit.Add(3000, 2000);
    EXPECT_TRUE(fit.GetRate());
    RateFit broken;
    broken.Add(1000, 0);
    broken.Add(2000, 1000);
    // What stands alone says nothing.
    broken.Add(1'000'000'000, 2000);
    EXPECT_FALSE(broken.GetRate());
    RateFit still;
    for (int i = 0; i < 5; ++i) {
        still.Add(1000, i);
    }
    EXPECT_FALSE(still.GetRate());
}

} // namespace AudioHost
