#include "terminal/levelbar.h"

#include <gtest/gtest.h>

#include <limits>

namespace AudioHost {

TEST(LineLevelDecibel, UndoesTheRenderersBend) {
    EXPECT_EQ(LineLevelDecibel(1.0F), 0.0);
    // Half of the range, -6.02 dB, is shown as 0.5 to the power of 21/32, 0.6345.
    EXPECT_NEAR(LineLevelDecibel(0.6345F), -6.02, 0.01);
    // A hundredth, -40 dB: 0.01 to the power of 21/32 is 0.0487.
    EXPECT_NEAR(LineLevelDecibel(0.0487F), -40.0, 0.1);
}

TEST(LineLevelDecibel, OfALevelOutsideIsTheEnd) {
    EXPECT_EQ(LineLevelDecibel(0.0F), -48.0);
    EXPECT_EQ(LineLevelDecibel(-1.0F), -48.0);
    EXPECT_EQ(LineLevelDecibel(7.0F), 0.0);
    EXPECT_EQ(LineLevelDecibel(std::numeric_limits<float>::quiet_NaN()), -48.0);
}

TEST(FormatLevelBar, HasAPlaceForTwoDecibels) {
    EXPECT_EQ(FormatLevelBar(-48.0), "[........................] under -48 dBFS");
    EXPECT_EQ(FormatLevelBar(-36.0), "[######..................] -36.0 dBFS");
    EXPECT_EQ(FormatLevelBar(0.0), "[########################] 0.0 dBFS");
}

TEST(FormatLevelBar, MarksAPeakThatTheBarDoesNotReach) {
    EXPECT_EQ(FormatLevelBar(-36.0, -6.0), "[######..............|...] -36.0 dBFS");
    EXPECT_EQ(FormatLevelBar(-36.0, 0.0), "[######.................|] -36.0 dBFS");
    EXPECT_EQ(FormatLevelBar(-36.0, -36.0), "[######..................] -36.0 dBFS");
}

TEST(PeakHold_Add, KeepsTheHighestForTwoSeconds) {
    PeakHold peak;
    EXPECT_EQ(peak.Add(-10.0, 5'000'000'000), -10.0);
    EXPECT_EQ(peak.Add(-30.0, 6'000'000'000), -10.0);
    EXPECT_EQ(peak.Add(-30.0, 6'999'999'999), -10.0);
    EXPECT_EQ(peak.Add(-30.0, 7'000'000'000), -30.0);
    EXPECT_EQ(peak.Add(-20.0, 7'100'000'000), -20.0);
    // From the new peak on.
    EXPECT_EQ(peak.Add(-30.0, 9'000'000'000), -20.0);
    EXPECT_EQ(peak.Add(-30.0, 9'100'000'000), -30.0);
}

} // namespace AudioHost
