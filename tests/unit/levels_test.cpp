#include "arithmetic/levels.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using Media::Levels::AttenuationForVolume;
using Media::Levels::ClampToUnit;
using Media::Levels::PanForBalance;

constexpr float NoNumber = std::numeric_limits<float>::quiet_NaN();
constexpr float Infinity = std::numeric_limits<float>::infinity();

TEST(Levels_AttenuationForVolume, FullVolumeIsNotAttenuated) {
    EXPECT_EQ(AttenuationForVolume(1.0F), 0);
}

TEST(Levels_AttenuationForVolume, NoVolumeIsSilence) {
    EXPECT_EQ(AttenuationForVolume(0.0F), -10000);
    EXPECT_EQ(AttenuationForVolume(-0.0F), -10000);
}

TEST(Levels_AttenuationForVolume, FollowsThePowerOfElevenThirtySeconds) {
    // 0.5 ^ (11/32) = 2 ^ -0.34375 = 0.787990: -10000 + 7879.
    EXPECT_EQ(AttenuationForVolume(0.5F), -2121);
    // 0.25 ^ (11/32) = 2 ^ -0.6875 = 0.620929: -10000 + 6209.
    EXPECT_EQ(AttenuationForVolume(0.25F), -3791);
    // 0.1 ^ (11/32) = 0.453158: -10000 + 4531.
    EXPECT_EQ(AttenuationForVolume(0.1F), -5469);
    // 0.75 ^ (11/32) = 0.905842: -10000 + 9058.
    EXPECT_EQ(AttenuationForVolume(0.75F), -942);
}

TEST(Levels_AttenuationForVolume, FractionsAreTruncatedTowardsSilence) {
    // (2 ^ -32) ^ (11/32) = 2 ^ -11, and 10000 / 2048 = 4.88.
    EXPECT_EQ(AttenuationForVolume(0x1p-32F), -9996);
    // (2 ^ -64) ^ (11/32) = 2 ^ -22, and 10000 / 4194304 = 0.002.
    EXPECT_EQ(AttenuationForVolume(0x1p-64F), -10000);
}

TEST(Levels_AttenuationForVolume, ThePowerIsTakenInSinglePrecision) {
    // The exact power times 10000 is 2948.9999944; the nearest single-precision number to the power is 0.2949
    // and a little more, so that 2949 is left after truncation.
    EXPECT_EQ(AttenuationForVolume(0x1.d5858cp-6F), -7051);
}

TEST(Levels_AttenuationForVolume, VolumeAboveOneIsFullLevel) {
    EXPECT_EQ(AttenuationForVolume(1.0001F), 0);
    EXPECT_EQ(AttenuationForVolume(2.0F), 0);
    EXPECT_EQ(AttenuationForVolume(std::numeric_limits<float>::max()), 0);
    EXPECT_EQ(AttenuationForVolume(Infinity), 0);
}

TEST(Levels_AttenuationForVolume, NegativeVolumeWhichHasNoPowerIsSilence) {
    EXPECT_EQ(AttenuationForVolume(-0.0001F), -10000);
    EXPECT_EQ(AttenuationForVolume(-1.0F), -10000);
}

TEST(Levels_AttenuationForVolume, VolumeThatIsNoNumberIsSilence) {
    EXPECT_EQ(AttenuationForVolume(NoNumber), -10000);
}

TEST(Levels_PanForBalance, RunsFromLeftOverCentreToRight) {
    EXPECT_EQ(PanForBalance(0.0F), -10000);
    EXPECT_EQ(PanForBalance(0.25F), -5000);
    EXPECT_EQ(PanForBalance(0.5F), 0);
    EXPECT_EQ(PanForBalance(0.75F), 5000);
    EXPECT_EQ(PanForBalance(1.0F), 10000);
}

TEST(Levels_PanForBalance, FractionsAreTruncatedTowardsTheLeft) {
    // 20000 / 16384 = 1.22, 20000 / 32768 = 0.61.
    EXPECT_EQ(PanForBalance(0x1p-14F), -9999);
    EXPECT_EQ(PanForBalance(0x1p-15F), -10000);
    // 20000 - 20000 / 32768 = 19999.39.
    EXPECT_EQ(PanForBalance(1.0F - 0x1p-15F), 9999);
    // 10000 + 20000 / 32768 = 10000.61 and 10000 - 0.61 = 9999.39.
    EXPECT_EQ(PanForBalance(0.5F + 0x1p-15F), 0);
    EXPECT_EQ(PanForBalance(0.5F - 0x1p-15F), -1);
}

TEST(Levels_PanForBalance, BalanceOutsideTheUnitIsClamped) {
    EXPECT_EQ(PanForBalance(-0.5F), -10000);
    EXPECT_EQ(PanForBalance(-Infinity), -10000);
    EXPECT_EQ(PanForBalance(1.5F), 10000);
    EXPECT_EQ(PanForBalance(Infinity), 10000);
}

TEST(Levels_PanForBalance, BalanceThatIsNoNumberCountsAsZero) {
    EXPECT_EQ(PanForBalance(NoNumber), -10000);
}

TEST(Levels_ClampToUnit, LeavesTheUnitAlone) {
    EXPECT_EQ(ClampToUnit(0.0), 0.0);
    EXPECT_EQ(ClampToUnit(0.3), 0.3);
    EXPECT_EQ(ClampToUnit(1.0), 1.0);
}

TEST(Levels_ClampToUnit, TakesTheNearerEndOutsideAndZeroForNoNumber) {
    EXPECT_EQ(ClampToUnit(-0.3), 0.0);
    EXPECT_EQ(ClampToUnit(1.3), 1.0);
    EXPECT_EQ(ClampToUnit(std::numeric_limits<double>::quiet_NaN()), 0.0);
}

} // namespace
