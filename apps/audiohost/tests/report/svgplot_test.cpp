#include "report/svgplot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace AudioHost {

using testing::HasSubstr;
using testing::Not;

TEST(RoundTickStep, IsOneTwoOrFiveTimesAPowerOfTen) {
    EXPECT_DOUBLE_EQ(RoundTickStep({0.0, 12.0}, 10), 1.0);
    EXPECT_DOUBLE_EQ(RoundTickStep({0.0, 20.0}, 10), 2.0);
    EXPECT_DOUBLE_EQ(RoundTickStep({-25.0, 25.0}, 10), 5.0);
    EXPECT_DOUBLE_EQ(RoundTickStep({0.0, 0.9}, 10), 0.1);
}

TEST(ThinOut, KeepsTheExtremesInTheOrderOfTime) {
    std::vector<PlotPoint> points;
    for (int i = 0; i < 1000; ++i) {
        points.push_back({static_cast<double>(i), 0.0});
    }
    points[333].y = 7.0;
    points[700].y = -5.0;
    std::vector<PlotPoint> const thinned = ThinOut(points, 20);
    EXPECT_EQ(thinned.size(), 20U);
    EXPECT_TRUE(
        std::any_of(thinned.begin(), thinned.end(), [](auto const& point) { return point.y == 7.0; }));
    EXPECT_TRUE(
        std::any_of(thinned.begin(), thinned.end(), [](auto const& point) { return point.y == -5.0; }));
    EXPECT_TRUE(std::is_sorted(thinned.begin(), thinned.end(),
                               [](auto const& a, auto const& b) { return a.x < b.x; }));
}

TEST(ThinOut, LeavesFewPointsAlone) {
    EXPECT_EQ(ThinOut({{0.0, 1.0}, {1.0, 2.0}}, 20).size(), 2U);
}

TEST(SvgPlot_AddLine, PutsTheMiddleOfBothRangesInTheMiddleOfThePicture) {
    // Plot area: x 66 to 990, y 8 to 100 - 42 = 58. Middle: 528, 33. Ends: 66, 58 and 990, 8.
    SvgPlot plot("test", 100.0, {0.0, 10.0}, {-1.0, 1.0});
    plot.AddLine({{0.0, -1.0}, {5.0, 0.0}, {10.0, 1.0}}, 0);
    EXPECT_THAT(plot.Finish(), HasSubstr("d=\"M66.0,58.0 528.0,33.0 990.0,8.0\""));
}

TEST(SvgPlot_AddLine, HoldsOutliersAtTheEdge) {
    SvgPlot plot("test", 100.0, {0.0, 10.0}, {-1.0, 1.0});
    plot.AddLine({{0.0, -50.0}, {10.0, 50.0}}, 0);
    EXPECT_THAT(plot.Finish(), HasSubstr("d=\"M66.0,58.0 990.0,8.0\""));
}

TEST(SvgPlot_AddSteps, HoldsEachValueUntilTheNextAndTheLastToTheEnd) {
    SvgPlot plot("test", 100.0, {0.0, 10.0}, {-1.0, 1.0});
    plot.AddSteps({{0.0, 1.0}, {5.0, -1.0}}, 10.0, 1);
    EXPECT_THAT(plot.Finish(), HasSubstr("d=\"M66.0,8.0 528.0,8.0 528.0,58.0 990.0,58.0\""));
    EXPECT_THAT(plot.Finish(), HasSubstr("series2"));
}

TEST(SvgPlot_AddEnvelope, ShowsSoundWhereItIsAndALineElsewhere) {
    // One second of full scale from second 5 of 10 on; middle of the picture y = 33.
    SvgPlot plot("test", 100.0, {0.0, 10.0}, {-1.0, 1.0});
    plot.AddEnvelope(Listening::Samples(48000, -32768), 5.0, 0);
    std::string const svg = plot.Finish();
    EXPECT_THAT(svg, HasSubstr(" 67.0,32.7"));
    EXPECT_THAT(svg, HasSubstr(" 530.0,58.3"));
    EXPECT_THAT(svg, Not(HasSubstr(" 630.0,58.3")));
}

TEST(SvgPlot_AddNotes, TakesAnotherRowWhenTextsWouldOverlap) {
    PlotRange const seconds = {0.0, 10.0};
    std::vector<PlotNote> const apart = {{1.0, 1.0, "one", 0}, {6.0, 6.0, "two", 0}};
    std::vector<PlotNote> const close = {{1.0, 1.0, "one", 0}, {1.1, 1.1, "two", 0}};
    EXPECT_LT(SvgPlot::NotesHeight(apart, seconds), SvgPlot::NotesHeight(close, seconds));
}

TEST(SvgPlot_AddNotes, PutsATextAtTheRightEdgeLeftOfItsDot) {
    SvgPlot plot("test", 100.0, {0.0, 10.0}, {0.0, 1.0});
    plot.AddNotes({{9.9, 9.9, "a text that is too long for the place <that is left>", 0}});
    EXPECT_THAT(plot.Finish(), HasSubstr("text-anchor=\"end\""));
    EXPECT_THAT(plot.Finish(), HasSubstr("&lt;that is left&gt;"));
}

TEST(SvgPlot_AddNotes, WritesUponABarThatIsLongEnough) {
    SvgPlot plot("test", 100.0, {0.0, 10.0}, {0.0, 1.0});
    plot.AddNotes({{0.0, 9.0, "gaps", 0}});
    // The bar starts at 66.
    EXPECT_THAT(plot.Finish(), HasSubstr("class=\"bar series1\" x1=\"66.0\""));
    EXPECT_THAT(plot.Finish(), HasSubstr("text-anchor=\"start\" x=\"72.0\""));
}

TEST(SvgPlot_AddMark, OutsideThePictureIsNotDrawn) {
    SvgPlot plot("test", 100.0, {0.0, 10.0}, {0.0, 1.0});
    plot.AddMark(11.0, "late", true);
    EXPECT_THAT(plot.Finish(), Not(HasSubstr("late")));
}

} // namespace AudioHost
