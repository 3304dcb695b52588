#include "terminal/textformat.h"

#include <gtest/gtest.h>

namespace AudioHost {

TEST(TextFormat_FormatFixed, RoundsAndNeverShowsMinusZero) {
    EXPECT_EQ(FormatFixed(1.25, 1), "1.3");
    EXPECT_EQ(FormatFixed(-0.04, 1), "0.0");
    EXPECT_EQ(FormatFixed(-12.34, 1), "-12.3");
    EXPECT_EQ(FormatFixed(7.0, 0), "7");
}

TEST(TextFormat_FormatSigned, ZeroHasNoSign) {
    EXPECT_EQ(FormatSigned(0.04, 1), "0.0");
    EXPECT_EQ(FormatSigned(0.06, 1), "+0.1");
    EXPECT_EQ(FormatSigned(-3.0, 1), "-3.0");
}

TEST(TextFormat_FormatClock, ShowsMinutesSecondsAndTenthsCutOff) {
    EXPECT_EQ(FormatClock(0), "0:00.0");
    EXPECT_EQ(FormatClock(59'999'999'999), "0:59.9");
    EXPECT_EQ(FormatClock(60'000'000'000), "1:00.0");
    EXPECT_EQ(FormatClock(3'723'400'000'000), "62:03.4");
    EXPECT_EQ(FormatClock(-5), "0:00.0");
}

TEST(TextFormat_FormatCount, KnowsSingularAndNone) {
    EXPECT_EQ(FormatCount(0, "frame"), "no frames");
    EXPECT_EQ(FormatCount(1, "frame"), "1 frame");
    EXPECT_EQ(FormatCount(2, "frame"), "2 frames");
}

TEST(TextFormat_EscapeHtml, NoCharacterCanBecomeMarkup) {
    EXPECT_EQ(EscapeHtml("<a href=\"x\">&\n"), "&lt;a href=&quot;x&quot;&gt;&amp;");
}

} // namespace AudioHost
