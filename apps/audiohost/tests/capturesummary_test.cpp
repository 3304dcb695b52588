#include "capturesummary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "testcapturerecord.h"
#include "testsounds.h"

namespace AudioHost {

using testing::HasSubstr;
using testing::Not;

TEST(FormatSummary, OfAGoodRecordingTellsItInWords) {
    // Peak: 20 log10(0.5) = -6.02.
    EXPECT_EQ(FormatSummary(MakeCaptureRecord()),
              "Recorded without a loss.\n"
              "<out>.wav\n"
              "  2.00 s in 100 frames; the first came after 43 ms, the last after 2.02 s.\n"
              "  No frame number is missing; every frame is dated 20 ms after the one before.\n"
              "  As much sound came as time passed.\n"
              "  Level: -20.0 dBFS, peak -6.0 dBFS.\n");
}

TEST(FormatSummary, OfACheckedRecordingTellsHowItComparesWithWhatWasPlayed) {
    std::string const text = FormatSummary(MakeCheckedRecord());
    EXPECT_THAT(text, HasSubstr("Recorded as played.\n"));
    EXPECT_THAT(text, HasSubstr("starts 1.000 s into the sound, which repeats every 1.500 s."));
    EXPECT_THAT(text, HasSubstr("96000 identical, 0 changed, 0 missing, 0 doubled or put in."));
    EXPECT_THAT(text, Not(HasSubstr("Out of step")));
}

TEST(DescribeRecording, SaysWhatIsLeftOutAtTheEndOfTheRingAsWhatItIs) {
    CaptureRecord record = MakeCaptureRecord();
    record.losses = {{5'000'000'000, 4, true}, {7'200'000'000, 1, false}, {10'000'000'000, 3, true}};
    std::string const text = FormatSummary(record);
    EXPECT_THAT(text, HasSubstr("Recorded, but 160 ms of sound are missing."));
    EXPECT_THAT(text, HasSubstr("ring began again: 7 blocks of 20 ms (140 ms) at about 0:05.0, 0:10.0."));
    EXPECT_THAT(text, HasSubstr("Lost elsewhere: 1 block of 20 ms (20 ms) at about 0:07.2."));
}

TEST(DescribeRecording, ListsFivePlacesAndCountsTheRest) {
    CaptureRecord record = MakeCaptureRecord();
    record.losses.assign(7, {1'000'000'000, 1, false});
    EXPECT_THAT(FormatSummary(record),
                HasSubstr("0:01.0, 0:01.0, 0:01.0, 0:01.0, 0:01.0 and 2 more places."));
}

TEST(DescribeRecording, TellsWhatIsWrongWithNumbersDatesAndReads) {
    CaptureRecord record = MakeCaptureRecord();
    record.numbersMissing = 2;
    record.numbersBack = 1;
    record.timestampsOff = 3;
    record.readsFailed = 1;
    record.failedStatus = -120;
    std::string const text = FormatSummary(record);
    EXPECT_THAT(text, HasSubstr("2 frame numbers missing, numbers went back 1 time; 3 frames not dated"));
    EXPECT_THAT(text, HasSubstr("1 read failed (status -120)."));
    EXPECT_THAT(text, HasSubstr("40 ms of sound are missing"));
}

TEST(Judge, OfARecordingThatBrokeOffOrNeverBeganIsBad) {
    CaptureRecord record = MakeCaptureRecord();
    record.failure = "the disk is full";
    EXPECT_EQ(Judge(record).text, "The recording broke off");
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad);
    EXPECT_EQ(Judge(CaptureRecord()).text, "Nothing was recorded");
    record = CaptureRecord();
    record.isInterrupted = true;
    EXPECT_EQ(Judge(record).text, "Interrupted before anything was recorded");
}

TEST(Judge, OfAnInterruptedRecordingSaysSo) {
    CaptureRecord record = MakeCaptureRecord();
    record.isInterrupted = true;
    EXPECT_EQ(Judge(record).text, "Recorded without a loss, until interrupted");
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Good);
}

TEST(Judge, OfSomethingElseThanWasPlayedIsBad) {
    CaptureRecord record = MakeCaptureRecord();
    record.check = CheckRecording(MakeVoice(48000, 1), MakeVoice(96000, 2));
    EXPECT_EQ(Judge(record).text, "What was recorded is not what was played");
    record.levelDecibel = -90.0;
    EXPECT_EQ(Judge(record).text, "Only silence was recorded");
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad);
}

TEST(Judge, TrustsTheComparisonMoreThanTheClock) {
    CaptureRecord record = MakeCheckedRecord();
    record.losses = {{1'000'000'000, 1, false}};
    EXPECT_EQ(Judge(record).text, "Recorded as played");
    record.check->exact.missing = 480;
    EXPECT_EQ(Judge(record).text, "Recorded, but 10 ms of sound are missing");
}

TEST(Judge, OfAJumpInTimeIsBadThoughTheRestIsAsPlayed) {
    CaptureRecord record = MakeCheckedRecord();
    record.check->exact.jumps.push_back({TimelineJump::Kind_t::Repeated, 5000, 480});
    EXPECT_EQ(Judge(record).text, "Parts of the sound were not recorded as played");
    EXPECT_EQ(Judge(record).outcome, Outcome_t::Bad);
}

} // namespace AudioHost
