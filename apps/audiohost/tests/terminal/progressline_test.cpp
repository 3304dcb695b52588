#include "terminal/progressline.h"

#include <gtest/gtest.h>

#include <sstream>

namespace AudioHost {

TEST(ProgressLine_Show, OnATerminalRewritesTheLineAndWipesTheRestOfALongerOne) {
    std::ostringstream out;
    ProgressLine line(out, true);
    line.Show("0:01.0  [######]");
    line.Show("0:01.2  [##]");
    line.End();
    line.End();
    EXPECT_EQ(out.str(),
              "\r0:01.0  [######]"
              "\r0:01.2  [##]    \n");
    EXPECT_EQ(line.GetIntervalMilliSec(), 200);
}

TEST(ProgressLine_Show, ElsewhereWritesWholeLinesASecondApart) {
    std::ostringstream out;
    ProgressLine line(out, false);
    line.Show("0:01.0");
    line.End();
    EXPECT_EQ(out.str(), "0:01.0\n");
    EXPECT_EQ(line.GetIntervalMilliSec(), 1000);
}

} // namespace AudioHost
