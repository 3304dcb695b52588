#include "terminal/levelbar.h"

#include <gtest/gtest.h>

#include <limits>

namespace AudioHost {

TEST(FormatLevelBar, FillsTwentyPlacesInProportion) {
    EXPECT_EQ(FormatLevelBar(0.0F), "[....................] 0.00");
    // 0.28 of 20 places is 5.6.
    EXPECT_EQ(FormatLevelBar(0.28F), "[######..............] 0.28");
    EXPECT_EQ(FormatLevelBar(1.0F), "[####################] 1.00");
}

TEST(FormatLevelBar, OfALevelOutsideShowsTheEnd) {
    EXPECT_EQ(FormatLevelBar(-1.0F), FormatLevelBar(0.0F));
    EXPECT_EQ(FormatLevelBar(7.0F), FormatLevelBar(1.0F));
    EXPECT_EQ(FormatLevelBar(std::numeric_limits<float>::quiet_NaN()), FormatLevelBar(0.0F));
}

} // namespace AudioHost
