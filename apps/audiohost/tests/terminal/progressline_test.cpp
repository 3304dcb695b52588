#include "terminal/progressline.h"

#include <gtest/gtest.h>

#include <sstream>

#include "support/testrenderer.h"

namespace AudioHost {

namespace {

struct ProgressLineFixture {
    TestRenderer renderer;
    StopSignal stop;
    std::ostringstream out;
    std::size_t columns = 80;

    Surroundings Make(bool isTerminal) {
        Surroundings surroundings{renderer, stop, out, isTerminal};
        surroundings.countColumns = [this] { return columns; };
        return surroundings;
    }
};

} // namespace

TEST(ProgressLine_Show, OnATerminalRewritesTheLineAndWipesTheRestOfALongerOne) {
    ProgressLineFixture fixture;
    ProgressLine line(fixture.Make(true));
    line.Show("0:01.0  [######]");
    line.Show("0:01.2  [##]");
    line.End();
    line.End();
    EXPECT_EQ(fixture.out.str(),
              "\r0:01.0  [######]"
              "\r0:01.2  [##]    \n");
    EXPECT_EQ(line.GetIntervalMilliSec(), 200);
}

TEST(ProgressLine_Show, NeverTakesTheLastPlaceOfATerminalHoweverNarrow) {
    ProgressLineFixture fixture;
    ProgressLine line(fixture.Make(true));
    fixture.columns = 5;
    line.Show("1234");
    line.Show("12345");
    // Narrowed while a longer line stood there.
    fixture.columns = 3;
    line.Show("x");
    fixture.columns = 0;
    line.Show("yz");
    EXPECT_EQ(fixture.out.str(), "\r1234\r1234\rx \ry");
}

TEST(ProgressLine_Show, ElsewhereWritesWholeLinesASecondApart) {
    ProgressLineFixture fixture;
    fixture.columns = 3;
    ProgressLine line(fixture.Make(false));
    line.Show("0:01.0");
    line.End();
    EXPECT_EQ(fixture.out.str(), "0:01.0\n");
    EXPECT_EQ(line.GetIntervalMilliSec(), 1000);
}

} // namespace AudioHost
