#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <random>

#include "extent.h"
#include "playbackloop.h"
#include "simulation/testworld.h"

namespace ClosedLoop {
namespace {

constexpr std::int64_t SilenceLeadsMilliSec[] = {20, 60, 100, 200, 300};
/// More than two laps of the ring.
constexpr std::int64_t AfterwardsNanoSec = 12 * NanoSecPerSec;

Conditions MakeConditions(std::mt19937& random) {
    Conditions conditions;
    conditions.leadMilliSec = SilenceLeadsMilliSec[random() % std::size(LeadsMilliSec)];
    conditions.skewPartsPerMillion = static_cast<std::int64_t>(random() % 1601) - 800;
    // Small enough for no cursor to jump at the longest lead.
    conditions.cursorStepSamples = static_cast<std::uint32_t>(1 + random() % 480);
    conditions.jitterMilliSec = static_cast<std::int64_t>(random() % 2) * conditions.leadMilliSec / 3;
    // The first measurement clears from position 0 to the cursor. What is not to be lost by it lies behind
    // the cursor and does not reach round to 0 (PlaybackChain pins what is lost otherwise).
    conditions.firstOffsetNanoSec = static_cast<std::int64_t>(400 + random() % 4500) * NanoSecPerMilliSec;
    conditions.seed = static_cast<std::uint32_t>(random());
    return conditions;
}

TEST(ClosedLoop_Silence, FollowsTheLastFrameWhateverWasPlayed) {
    std::mt19937 random(1);
    for (std::int64_t i = 0; i < Extent::Get().silences; ++i) {
        SCOPED_TRACE(i);
        Conditions const conditions = MakeConditions(random);
        Simulation::TestWorld world;
        PlaybackLoop loop(world, conditions, [](std::int64_t, std::int64_t, std::int64_t) {});
        // Up to a quarter of a lap beyond two: the stop comes at any place of the ring.
        std::int64_t const frames = 3 + static_cast<std::int64_t>(random() % 560);
        for (std::int64_t frame = 0; frame < frames; ++frame) {
            loop.PlayFrame();
        }
        loop.Wait(AfterwardsNanoSec);
        EXPECT_FALSE(loop.Sound().IsPlaying());
        EXPECT_EQ(loop.Heard().LastNumber(), frames - 1);
        EXPECT_EQ(loop.Heard().FrameCount(), frames);
        EXPECT_EQ(loop.Heard().StaleCount(), 0);
        EXPECT_EQ(loop.Heard().SilenceCount(), 1);
        EXPECT_TRUE(loop.Sound().IsSilent(0, 240000));
    }
}

TEST(ClosedLoop_Silence, StandsWhereFramesWereLostAndSessionsWentIdle) {
    std::mt19937 random(2);
    for (std::int64_t i = 0; i < Extent::Get().silences; ++i) {
        SCOPED_TRACE(i);
        Conditions const conditions = MakeConditions(random);
        Simulation::TestWorld world;
        PlaybackLoop loop(world, conditions, [](std::int64_t, std::int64_t, std::int64_t) {});
        for (int part = 0; part < 8; ++part) {
            std::int64_t const frames = 1 + static_cast<std::int64_t>(random() % 150);
            for (std::int64_t frame = 0; frame < frames; ++frame) {
                loop.PlayFrame();
            }
            // Up to two seconds: losses that go on sounding, pauses that are cleared, sessions that go idle.
            std::int64_t const lost = static_cast<std::int64_t>(random() % 100);
            for (std::int64_t frame = 0; frame < lost; ++frame) {
                loop.LoseFrame();
            }
        }
        loop.Wait(AfterwardsNanoSec);
        EXPECT_FALSE(loop.Sound().IsPlaying());
        EXPECT_EQ(loop.Heard().StaleCount(), 0);
        EXPECT_TRUE(loop.Sound().IsSilent(0, 240000));
    }
}

} // namespace
} // namespace ClosedLoop
