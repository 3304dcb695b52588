#include "simulation/device/cursorclock.h"

#include <gtest/gtest.h>

#include "helpers.h"

namespace Simulation {
namespace {

CursorClock Running(std::uint32_t frequencyHz, std::int64_t skewPartsPerBillion = 0) {
    CursorClock clock;
    clock.SetRate(frequencyHz, skewPartsPerBillion);
    clock.Start(0);
    return clock;
}

TEST(CursorClock_AdvanceTo, ReachesAFrameInTheNanosecondInWhichItBegins) {
    // At 48 kHz frame 1 begins at 20833 1/3 ns: it is reached within the nanosecond that 20834 ends.
    CursorClock clock = Running(48'000);
    clock.AdvanceTo(20'833);
    EXPECT_EQ(clock.Frame(), 0);
    clock.AdvanceTo(20'834);
    EXPECT_EQ(clock.Frame(), 1);
}

TEST(CursorClock_AdvanceTo, IsExactAfterTwelveHoursInOneStep) {
    CursorClock clock = Running(48'000);
    clock.AdvanceTo(12 * NanoSecPerHour - 1);
    EXPECT_EQ(clock.Frame(), 12LL * 3600 * 48'000 - 1);
    clock.AdvanceTo(12 * NanoSecPerHour);
    EXPECT_EQ(clock.Frame(), 12LL * 3600 * 48'000);
    EXPECT_TRUE(clock.IsAtFrameStart());
}

TEST(CursorClock_AdvanceTo, IsExactAfterTwelveHoursOfOddStepsWithSkew) {
    // 100 ppm fast: 48004.8 frames a second, 12 h of it 2,073,807,360 frames to the nanosecond.
    CursorClock clock = Running(48'000, 100'000);
    constexpr std::int64_t EndNanoSec = 12 * NanoSecPerHour;
    for (std::int64_t now = 0; now < EndNanoSec; now += 9'999'991) {
        clock.AdvanceTo(now);
    }
    clock.AdvanceTo(EndNanoSec - 1);
    EXPECT_EQ(clock.Frame(), 2'073'807'359);
    clock.AdvanceTo(EndNanoSec);
    EXPECT_EQ(clock.Frame(), 2'073'807'360);
    EXPECT_TRUE(clock.IsAtFrameStart());
}

TEST(CursorClock_AdvanceTo, StandsUntilItsStartAndAfterItsStop) {
    CursorClock clock;
    clock.SetRate(1000, 0);
    clock.AdvanceTo(NanoSecPerSec);
    EXPECT_EQ(clock.Frame(), 0);
    clock.Start(2 * NanoSecPerSec);
    clock.AdvanceTo(2 * NanoSecPerSec - 1);
    EXPECT_EQ(clock.Frame(), 0);
    clock.AdvanceTo(3 * NanoSecPerSec);
    EXPECT_EQ(clock.Frame(), 1000);
    clock.Stop();
    clock.AdvanceTo(4 * NanoSecPerSec);
    EXPECT_EQ(clock.Frame(), 1000);
}

TEST(CursorClock_TimeOf, GivesTheFirstNanosecondOfAFrame) {
    CursorClock const clock = Running(48'000);
    EXPECT_EQ(clock.TimeOf(0), 0);
    EXPECT_EQ(clock.TimeOf(1), 20'834);
    EXPECT_EQ(clock.TimeOf(2), 41'667);
    EXPECT_EQ(clock.TimeOf(3), 62'500);
    EXPECT_EQ(clock.TimeOf(48'000 * 3600LL), NanoSecPerHour);
}

TEST(CursorClock_TimeOf, AgreesWithAdvanceAtEveryRate) {
    for (std::uint32_t const frequencyHz : {100U, 47'960U, 48'040U, 200'000U}) {
        for (std::int64_t const skew : {-999'999'000LL, -800'000LL, 0LL, 800'000LL, 999'999'000LL}) {
            for (std::int64_t const frame : {1, 2, 999, 239'999}) {
                CursorClock clock = Running(frequencyHz, skew);
                std::int64_t const time = clock.TimeOf(frame);
                clock.AdvanceTo(time - 1);
                EXPECT_EQ(clock.Frame(), frame - 1) << frequencyHz << " Hz " << skew;
                clock.AdvanceTo(time);
                EXPECT_EQ(clock.Frame(), frame) << frequencyHz << " Hz " << skew;
            }
        }
    }
}

TEST(CursorClock_TimeOf, IsNeverForAStandingCursor) {
    CursorClock clock = Running(48'000);
    clock.Stop();
    EXPECT_EQ(clock.TimeOf(1), INT64_MAX);
}

} // namespace
} // namespace Simulation
