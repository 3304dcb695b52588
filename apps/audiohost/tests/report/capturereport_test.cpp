#include "report/capturereport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/testcapturelog.h"

namespace AudioHost {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::SizeIs;

namespace {

ReportModel Describe(CaptureLog const& log) {
    std::vector<SideFile> files;
    return DescribeRun(log, files);
}

} // namespace

TEST(DescribeRun_OfARecording, TellsItsNumbers) {
    ReportModel const model = Describe(MakeCheckedLog());
    EXPECT_EQ(model.kind, "record");
    EXPECT_EQ(model.subject, "<out>.wav");
    EXPECT_THAT(model.figures,
                Contains(AllOf(Field(&ReportFigure::name, "recorded"), Field(&ReportFigure::value, 2'000))));
    EXPECT_THAT(model.figures, Contains(AllOf(Field(&ReportFigure::name, "recorded as played"),
                                              Field(&ReportFigure::value, 100'000))));
    ASSERT_THAT(model.sessions, SizeIs(1));
    EXPECT_THAT(model.sessions[0].figures,
                Contains(AllOf(Field(&ReportFigure::name, "Samples recorded as played"),
                               Field(&ReportFigure::value, 96'000))));
    EXPECT_THAT(model.sessions[0].figures, Contains(AllOf(Field(&ReportFigure::name, "First frame after"),
                                                          Field(&ReportFigure::value, 43'000))));
}

TEST(DescribeRun_OfARecording, ShowsWhatWasPlayedOnlyWhereThatIsKnown) {
    CaptureLog log = MakeCheckedLog();
    EXPECT_THAT(Describe(log).sounds,
                ElementsAre(Field(&ReportSound::id, "played"), Field(&ReportSound::id, "recorded")));
    log.check.reset();
    EXPECT_THAT(Describe(log).sounds, ElementsAre(Field(&ReportSound::id, "recorded")));
    // The first frame came after 43 ms, with 20 ms of sound.
    EXPECT_EQ(Describe(log).sounds[0].startMilliSec, 23);
}

TEST(DescribeRun_OfARecording, DrawsLevelAndDelayOfEachSlotToTheEnd) {
    CaptureLog log = MakeCaptureLog();
    log.slots.resize(2);
    log.slots[1].behindNanoSec.reset();
    log.lastNanoSec = 2'000'000'000;
    ReportModel const model = Describe(log);
    ASSERT_THAT(model.charts, SizeIs(2));
    EXPECT_THAT(model.charts[0].series[0].timesMilliSec, ElementsAre(0, 200, 2'023));
    EXPECT_THAT(model.charts[0].series[0].values, ElementsAre(250, 250, 250));
    EXPECT_THAT(model.charts[1].series[0].timesMilliSec, ElementsAre(0, 2'023));
    EXPECT_THAT(model.charts[1].series[0].values, ElementsAre(20'000, 20'000));
}

TEST(DescribeRun_OfARecording, MarksWhatIsMissingAndTellsWhyItEnded) {
    CaptureLog log = MakeCheckedLog();
    log.losses = {{1'000'000'000, 2, true}};
    log.failure = "the disk is full.";
    ReportModel const model = Describe(log);
    ASSERT_THAT(model.records, SizeIs(1));
    EXPECT_EQ(model.records[0].kind, "the ring began again");
    EXPECT_EQ(model.records[0].text, "The ring began again: it left out 40 ms of sound");
    EXPECT_EQ(model.records[0].fromMilliSec, 1'000);
    EXPECT_TRUE(model.records[0].isFault);
    EXPECT_THAT(model.parts, Contains(Field(&ReportPart::sentences, ElementsAre("the disk is full."))));
}

TEST(FormatReport, OfARecordingThatNeverBeganIsAPage) {
    EXPECT_NE(FormatReport(CaptureLog()).html.find("Nothing was recorded"), std::string::npos);
}

} // namespace AudioHost
