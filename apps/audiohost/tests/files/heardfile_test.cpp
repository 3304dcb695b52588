#include "files/heardfile.h"

#include <gtest/gtest.h>

#include <fstream>

#include "listening/tests/testsounds.h"
#include "support/testfiles.h"
#include "terminal/hosterror.h"

namespace AudioHost {

TEST(ReadRawSound, ReadsLittleEndianAndLeavesOutHalfASample) {
    TestFolder const folder;
    std::string const path = folder.Write("h.raw", std::string("\x01\x00\xFF\xFF\x00\x80\x7F", 7));
    EXPECT_EQ(ReadRawSound(path), (Listening::Samples{1, -1, -32768}));
}

TEST(ReadRawSound, ReadsMoreThanOneBlock) {
    TestFolder const folder;
    Listening::Samples const sound = Listening::MakeVoice(70000);
    EXPECT_EQ(ReadRawSound(folder.Write("h.raw", BytesOf(sound))), sound);
}

TEST(ReadRawSound, OfAMissingFileSaysSo) {
    TestFolder const folder;
    EXPECT_THROW(ReadRawSound(folder.PathOf("none.raw")), HostError);
}

TEST(CountRawSamples, CountsWholeSamplesAndNoneOfAMissingFile) {
    TestFolder const folder;
    EXPECT_EQ(CountRawSamples(folder.Write("h.raw", "abcde")), 2);
    EXPECT_EQ(CountRawSamples(folder.PathOf("none.raw")), 0);
}

TEST(WaitUntilStill, EndsAfterThreeLooksWithoutChange) {
    TestFolder const folder;
    int slept = 0;
    WaitUntilStill(folder.Write("h.raw", "abc"), [&slept](int milliSec) { slept += milliSec; });
    EXPECT_EQ(slept, 300);
}

TEST(WaitUntilStill, StartsAnewWhenTheFileGrows) {
    TestFolder const folder;
    std::string const path = folder.Write("h.raw", "abc");
    int slept = 0;
    WaitUntilStill(path, [&](int milliSec) {
        slept += milliSec;
        if (slept == 200) {
            std::ofstream(std::filesystem::u8path(path), std::ios::app) << "more";
        }
    });
    // Growth is seen at 200 ms; 300 ms without after that.
    EXPECT_EQ(slept, 500);
}

TEST(WaitUntilStill, GivesUpOnAFileThatKeepsGrowing) {
    TestFolder const folder;
    std::string const path = folder.Write("h.raw", "abc");
    int slept = 0;
    WaitUntilStill(path, [&](int milliSec) {
        slept += milliSec;
        std::ofstream(std::filesystem::u8path(path), std::ios::app) << "more";
    });
    EXPECT_EQ(slept, 2000);
}

} // namespace AudioHost
