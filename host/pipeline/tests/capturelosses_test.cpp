#include "pipeline/capturelosses.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

using Media::CaptureLossFinder;

namespace {

constexpr std::int64_t OneMilliSec = 1'000'000;
constexpr int SettleSlots = static_cast<int>(CaptureLossFinder::SettleSlots);

class CaptureLossFinder_Add : public testing::Test {
protected:
    /// The frames that so many slots like this tell of.
    std::uint64_t Add(int slots, std::optional<std::int64_t> behindNanoSec) {
        std::uint64_t lost = 0;
        for (int slot = 0; slot < slots; ++slot) {
            lost += finder.Add(behindNanoSec);
        }
        return lost;
    }

    CaptureLossFinder finder;
};

} // namespace

TEST_F(CaptureLossFinder_Add, RiseFrom15MilliSecIsALoss) {
    Add(SettleSlots, 0);
    EXPECT_EQ(Add(SettleSlots, 15 * OneMilliSec - 1), 0U);
    finder = CaptureLossFinder();
    Add(SettleSlots, 0);
    EXPECT_EQ(Add(SettleSlots, 15 * OneMilliSec), 1U);
}

TEST_F(CaptureLossFinder_Add, CountsFramesToTheNearest) {
    Add(SettleSlots, 0);
    EXPECT_EQ(Add(SettleSlots, 35 * OneMilliSec - 1), 1U);
    finder = CaptureLossFinder();
    Add(SettleSlots, 0);
    EXPECT_EQ(Add(SettleSlots, 35 * OneMilliSec), 2U);
    // From there on it counts anew.
    EXPECT_EQ(Add(5 * SettleSlots, 40 * OneMilliSec), 0U);
}

// Clocks of their own: a millisecond a slot is taken for that, and what is left for a loss.
TEST_F(CaptureLossFinder_Add, FollowsAMilliSecondASlot) {
    for (std::int64_t const beside : {0, -1}) {
        finder = CaptureLossFinder();
        Add(SettleSlots, 0);
        std::int64_t const behind = 16 * OneMilliSec + beside;
        EXPECT_EQ(Add(1, 15 * OneMilliSec - 1) + Add(SettleSlots - 1, behind), 0U);
        EXPECT_EQ(Add(1, behind), beside == 0 ? 1U : 0U);
    }
}

TEST_F(CaptureLossFinder_Add, ThreeSlotsWithFramesTellTwoDoNot) {
    for (int const told : {2, 3}) {
        finder = CaptureLossFinder();
        Add(SettleSlots, 0);
        std::uint64_t const before = Add(SettleSlots - told, std::nullopt);
        EXPECT_EQ(before + Add(told, 40 * OneMilliSec), told == 3 ? 2U : 0U);
    }
}

TEST_F(CaptureLossFinder_Add, TellsWithTheLastOfTenSlots) {
    Add(1, 0);
    EXPECT_EQ(Add(SettleSlots - 1, 40 * OneMilliSec), 0U);
    EXPECT_EQ(Add(1, 40 * OneMilliSec), 2U);
}
