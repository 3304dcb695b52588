#include "report/capturesummary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "listening/tests/testsounds.h"
#include "support/testcapturelog.h"

namespace AudioHost {

using testing::HasSubstr;
using testing::Not;

TEST(FormatSummary, OfAGoodRecordingTellsItInWords) {
    // Peak: 20 log10(0.5) = -6.02.
    EXPECT_EQ(FormatSummary(MakeCaptureLog()),
              "Recorded without a loss.\n"
              "<out>.wav\n"
              "  2.00 s in 100 frames; the first came after 43 ms, the last after 2.02 s.\n"
              "  No frame number is missing; every frame is dated 20 ms after the one before.\n"
              "  As much sound came as time passed.\n"
              "  Level: -20.0 dBFS, peak -6.0 dBFS.\n");
}

TEST(FormatSummary, OfACheckedRecordingTellsHowItComparesWithWhatWasPlayed) {
    std::string const text = FormatSummary(MakeCheckedLog());
    EXPECT_THAT(text, HasSubstr("Recorded as played.\n"));
    EXPECT_THAT(text, HasSubstr("starts 1.000 s into the sound, which repeats every 1.500 s."));
    EXPECT_THAT(text, HasSubstr("96000 identical, 0 changed, 0 missing, 0 doubled or put in."));
    EXPECT_THAT(text, Not(HasSubstr("Out of step")));
}

TEST(DescribeCapture, SaysWhatIsLeftOutAtTheEndOfTheRingAsWhatItIs) {
    CaptureLog log = MakeCaptureLog();
    log.losses = {{5'000'000'000, 4, true}, {7'200'000'000, 1, false}, {10'000'000'000, 3, true}};
    std::string const text = FormatSummary(log);
    EXPECT_THAT(text, HasSubstr("Recorded, but 160 ms of sound are missing."));
    EXPECT_THAT(text, HasSubstr("ring began again: 7 blocks of 20 ms (140 ms) at about 0:05.0, 0:10.0."));
    EXPECT_THAT(text, HasSubstr("Lost elsewhere: 1 block of 20 ms (20 ms) at about 0:07.2."));
}

TEST(DescribeCapture, ListsFivePlacesAndCountsTheRest) {
    CaptureLog log = MakeCaptureLog();
    log.losses.assign(7, {1'000'000'000, 1, false});
    EXPECT_THAT(FormatSummary(log), HasSubstr("0:01.0, 0:01.0, 0:01.0, 0:01.0, 0:01.0 and 2 more places."));
}

TEST(DescribeCapture, TellsWhatIsWrongWithNumbersDatesAndReads) {
    CaptureLog log = MakeCaptureLog();
    log.numbersMissing = 2;
    log.numbersBack = 1;
    log.timestampsOff = 3;
    log.readsFailed = 1;
    log.failedStatus = -120;
    std::string const text = FormatSummary(log);
    EXPECT_THAT(text, HasSubstr("2 frame numbers missing, numbers went back 1 time; 3 frames not dated"));
    EXPECT_THAT(text, HasSubstr("1 read failed (status -120)."));
    EXPECT_THAT(text, HasSubstr("40 ms of sound are missing"));
}

TEST(Judge, OfARecordingThatBrokeOffOrNeverBeganIsBad) {
    CaptureLog log = MakeCaptureLog();
    log.failure = "the disk is full";
    EXPECT_EQ(Judge(log).text, "The recording broke off");
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
    EXPECT_EQ(Judge(CaptureLog()).text, "Nothing was recorded");
    log = CaptureLog();
    log.isInterrupted = true;
    EXPECT_EQ(Judge(log).text, "Interrupted before anything was recorded");
}

TEST(Judge, OfAnInterruptedRecordingSaysSo) {
    CaptureLog log = MakeCaptureLog();
    log.isInterrupted = true;
    EXPECT_EQ(Judge(log).text, "Recorded without a loss, until interrupted");
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Good);
    log.numbersMissing = 1;
    EXPECT_EQ(Judge(log).text, "Recorded, but 20 ms of sound are missing, until interrupted");
}

TEST(Judge, OfSomethingElseThanWasPlayedIsBad) {
    CaptureLog log = MakeCaptureLog();
    log.check = Listening::CheckTake(Listening::MakeVoice(48000, 1), Listening::MakeVoice(96000, 2));
    EXPECT_EQ(Judge(log).text, "What was recorded is not what was played");
    log.levelDecibel = -90.0;
    EXPECT_EQ(Judge(log).text, "Only silence was recorded");
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
}

TEST(Judge, TrustsTheComparisonMoreThanTheClock) {
    CaptureLog log = MakeCheckedLog();
    log.losses = {{1'000'000'000, 1, false}};
    EXPECT_EQ(Judge(log).text, "Recorded as played");
    log.check->exact.missing = 480;
    EXPECT_EQ(Judge(log).text, "Recorded, but 10 ms of sound are missing");
}

TEST(Judge, OfAJumpInTimeIsBadThoughTheRestIsAsPlayed) {
    CaptureLog log = MakeCheckedLog();
    log.check->exact.jumps.push_back({Listening::TimelineJump::Kind_t::Repeated, 5000, 480});
    EXPECT_EQ(Judge(log).text, "Parts of the sound were not recorded as played");
    EXPECT_EQ(Judge(log).outcome, Outcome_t::Bad);
}

} // namespace AudioHost
