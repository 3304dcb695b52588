#include <gtest/gtest.h>

#include "kovra/log.h"

using Kovra::CodeLocation;
using Kovra::LogExec;
using Kovra::LogLevel_t;

TEST(LogExec, TextWithoutPlacesStaysAsItIs) {
    LogExec const record(LogLevel_t::Info, "Starting buffer capture");
    EXPECT_EQ(record.GetMessage(), "Starting buffer capture");
    EXPECT_EQ(record.GetLevel(), LogLevel_t::Info);
    EXPECT_EQ(record.GetLocation(), nullptr);
}

TEST(LogExec, ArgumentsFillPlacesInOrder) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%d of %u ms") % -5 % 7U).GetMessage(), "-5 of 7 ms");
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%i") % 0).GetMessage(), "0");
}

TEST(LogExec, ArgumentKeepsItsOwnSignWhateverThePlaceClaims) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%u") % -1).GetMessage(), "-1");
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%d") % 4294967295U).GetMessage(), "4294967295");
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%s") % -2147483647).GetMessage(), "-2147483647");
}

TEST(LogExec, FlagsWidthAndPrecisionAreHonoured) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "[%5d|%-5d|%0+5d|%+d|%.3d]") % 42 % 42 % 42 % 42 % 42).GetMessage(),
              "[   42|42   |+0042|+42|042]");
}

TEST(LogExec, HexadecimalAndOctalShowTheBits) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%x %X %#x %o") % 255 % 255U % -1 % 8).GetMessage(),
              "ff FF 0xffffffff 10");
}

TEST(LogExec, LengthOfThePlaceIsIgnored) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%ld %llu %hhd %zu") % -3 % 3U % 300 % 4U).GetMessage(),
              "-3 3 300 4");
}

TEST(LogExec, DoublePercentIsAPercentSign) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%%%d%% %%d") % 5).GetMessage(), "%5% %d");
    EXPECT_EQ(LogExec(LogLevel_t::Info, "100%%").GetMessage(), "100%");
}

TEST(LogExec, OtherPercentIsPlainText) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%*d %! %d") % 5).GetMessage(), "%*d %! 5");
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%d %") % 5).GetMessage(), "5 %");
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%d %5.") % 5).GetMessage(), "5 %5.");
}

TEST(LogExec, EmptyPlacesStayAsTheyAreWritten) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%d %05u%% %x!") % 1).GetMessage(), "1 %05u% %x!");
    EXPECT_EQ(LogExec(LogLevel_t::Info, "%d").GetMessage(), "%d");
}

TEST(LogExec, SurplusArgumentsAreIgnored) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%d ms") % 1 % 2 % 3U).GetMessage(), "1 ms");
    EXPECT_EQ((LogExec(LogLevel_t::Info, "") % 1).GetMessage(), "");
}

TEST(LogExec, NullTextIsEmpty) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, nullptr) % 1).GetMessage(), "");
}

TEST(LogExec, LocationIsKept) {
    LogExec record(LogLevel_t::Info, "text");
    record.At(CodeLocation("some.cpp", "A::B", 12));
    ASSERT_NE(record.GetLocation(), nullptr);
    EXPECT_STREQ(record.GetLocation()->file, "some.cpp");
    EXPECT_STREQ(record.GetLocation()->function, "A::B");
    EXPECT_EQ(record.GetLocation()->line, 12);
}

TEST(HideNumbers, LeavesOneMarkForEachNumber) {
    EXPECT_EQ(Kovra::HideNumbers("packet loss, zero'ing 960 samples of 2"),
              "packet loss, zero'ing # samples of #");
    EXPECT_EQ(Kovra::HideNumbers(""), "");
}
