#include "simulation/manualclock.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "helpers.h"
#include "simulation/testworld.h"

namespace Simulation {
namespace {

TEST(ManualClock_Advance, MovesBothClocksOfTheBaseLibrary) {
    ManualClock clock;
    std::int64_t const jiffy = Kovra::JiffyTime::Now().NanoSec();
    std::int64_t const system = Kovra::SysTime::Now().NanoSec();
    clock.Advance(1);
    clock.AdvanceMilliSec(2);
    EXPECT_EQ(Kovra::JiffyTime::Now().NanoSec() - jiffy, 2'000'001);
    EXPECT_EQ(Kovra::SysTime::Now().NanoSec() - system, 2'000'001);
    EXPECT_EQ(clock.ElapsedNanoSec(), 2'000'001);
}

TEST(ManualClock_StepSystem, LeavesTheMonotonicClockAlone) {
    ManualClock clock;
    clock.StepSystem(-5 * NanoSecPerSec);
    EXPECT_EQ(Kovra::JiffyTime::Now().NanoSec(), ManualClock::StartMonotonicNanoSec);
    EXPECT_EQ(Kovra::SysTime::Now().NanoSec(), ManualClock::StartSystemNanoSec - 5 * NanoSecPerSec);
}

TEST(ManualClock_Destructor, BringsTheMachinesClocksBack) {
    { ManualClock const clock; }
    // The machine's date lies behind the date at which this clock starts.
    EXPECT_GT(Kovra::SysTime::Now().NanoSec(), ManualClock::StartSystemNanoSec);
}

TEST(ManualClockDeathTest, RefusesToRunBackwards) {
    ManualClock clock;
    EXPECT_DEATH(clock.Advance(-1), "never runs backwards");
}

TEST(ManualClock_Advance, PassesTwelveHoursInMillisecondStepsWithoutAnythingDue) {
    TestWorld world;
    Playable playable;
    playable->Play(0, 0, DSBPLAY_LOOPING);
    constexpr std::int64_t Steps = 12LL * 3600 * 1000;
    for (std::int64_t i = 0; i < Steps; ++i) {
        world.Clock().AdvanceMilliSec(1);
    }
    EXPECT_EQ(world.Clock().ElapsedNanoSec(), 12 * NanoSecPerHour);
    // 12 h hold a whole number of rings of five seconds.
    EXPECT_EQ(playable.PlayCursor(), 0U);
}

} // namespace
} // namespace Simulation
