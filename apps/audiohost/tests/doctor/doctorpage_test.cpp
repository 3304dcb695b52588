#include "doctor/doctorpage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/testcapturelog.h"

namespace AudioHost {

using testing::HasSubstr;
using testing::StartsWith;

namespace {

CheckupLog MakeCheckup() {
    CheckupLog log;
    log.devices = {{{"Primary Sound Driver", "", ""}}, {}};
    log.spanNanoSec = 60'000'000'000;
    log.hasOutput = true;
    log.output.isWatched = true;
    log.output.worstMilliSec = 9.5;
    log.outputRate = Rate{12.34, 0.41};
    log.input = MakeCaptureLog();
    log.inputRate = Rate{-3.0, 0.2};
    log.loopbackMilliSec = 143.26;
    return log;
}

} // namespace

TEST(FormatPage, OfAHealthyMachineTellsAllOnOnePage) {
    std::string const page = FormatPage(MakeCheckup());
    EXPECT_THAT(page, StartsWith("Output and input are well.\naudiohost "));
    EXPECT_THAT(page, HasSubstr(", 60.0 s of looking\nOutputs\n  Primary Sound Driver (the default"));
    EXPECT_THAT(page, HasSubstr("The output\n  It runs 12.3 ppm faster than the clock, give or take 0.4.\n"));
    EXPECT_THAT(page, HasSubstr("  Its own cursor stayed within 9.5 ms of where it should have been.\n"));
    EXPECT_THAT(page, HasSubstr("The input\n  It runs 3.0 ppm slower than the clock, give or take 0.2.\n"));
    EXPECT_THAT(page, HasSubstr("  As much sound came as time passed.\n"));
    EXPECT_THAT(page, HasSubstr("  What is played comes back 143.3 ms after it was due.\n"));
}

TEST(Judge, OfACheckupNamesWhatAilsFirst) {
    CheckupLog log = MakeCheckup();
    log.outputRate->ppm = -501.0;
    EXPECT_EQ(Judge(log).text, "A device runs far from the clock");
    log.input.losses = {{5'000'000'000, 4, true}};
    EXPECT_EQ(Judge(log).text, "Sound of the microphone was lost");
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
    log.output.glitches.resize(2);
    EXPECT_EQ(Judge(log).text, "The output was out of step 2 times");
    EXPECT_EQ(Judge(log).outcome, Outcome_t::OutputGlitch);
    log.input.failure = "it gave nothing.";
    EXPECT_EQ(Judge(log).text, "The microphone stopped giving anything");
    log.hasOutput = false;
    EXPECT_EQ(Judge(log).text, "There is no audio output that can be opened");
    EXPECT_THAT(FormatPage(log), HasSubstr("The output\n  There is none, or it cannot be opened.\n"));
    EXPECT_THAT(FormatPage(log), HasSubstr("The input\n  It failed: it gave nothing.\n"));
}

TEST(Judge, OfACheckupTakesRatesUpTo500PpmForWell) {
    CheckupLog log = MakeCheckup();
    log.inputRate->ppm = 500.0;
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Good);
    log.inputRate->ppm = 500.1;
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
}

} // namespace AudioHost
