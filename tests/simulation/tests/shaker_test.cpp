#include "simulation/shaker.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "simulation/testworld.h"

namespace Simulation {
namespace {

TEST(Shaker_Shake, DoesNothingUntilItIsStartedAndAfterItIsStopped) {
    TestWorld world;
    for (int i = 0; i < 1000; ++i) {
        GetDesktopWindow();
    }
    EXPECT_EQ(world.Shaking().GetCount(), 0U);
    world.Shaking().Start(1);
    for (int i = 0; i < 1000; ++i) {
        GetDesktopWindow();
    }
    world.Shaking().Stop();
    std::uint64_t const count = world.Shaking().GetCount();
    EXPECT_GT(count, 0U);
    for (int i = 0; i < 1000; ++i) {
        GetDesktopWindow();
    }
    EXPECT_EQ(world.Shaking().GetCount(), count);
}

TEST(Shaker_Shake, ShakesBeforeAndBehindEachCall) {
    TestWorld world;
    world.Shaking().Start(2);
    // Of 4000 places a quarter, give or take: 1000, where one side of the calls alone would give 500.
    for (int i = 0; i < 2000; ++i) {
        GetDesktopWindow();
    }
    EXPECT_GT(world.Shaking().GetCount(), 750U);
    EXPECT_LT(world.Shaking().GetCount(), 1250U);
}

TEST(Shaker_Shake, ShakesEachReadingOfTheClock) {
    TestWorld world;
    world.Shaking().Start(3);
    // A quarter of 2000: 500.
    for (int i = 0; i < 2000; ++i) {
        Kovra::JiffyTime::Now();
    }
    EXPECT_GT(world.Shaking().GetCount(), 375U);
    EXPECT_LT(world.Shaking().GetCount(), 625U);
}

TEST(Shaker_Start, DifferentSeedsShakeDifferently) {
    TestWorld world;
    std::uint64_t counts[2];
    for (std::uint64_t seed = 0; seed < 2; ++seed) {
        std::uint64_t const before = world.Shaking().GetCount();
        world.Shaking().Start(seed + 4);
        for (int i = 0; i < 1000; ++i) {
            world.Shaking().Shake();
        }
        counts[seed] = world.Shaking().GetCount() - before;
    }
    EXPECT_NE(counts[0], counts[1]);
}

TEST(Shaker_StartDeathTest, ASeedOfZeroEndsTheProgram) {
    TestWorld world;
    EXPECT_DEATH(world.Shaking().Start(0), "seed is not 0");
}

} // namespace
} // namespace Simulation
