#include "verdict/report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "listening/tests/testsounds.h"

namespace Soak {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::SizeIs;

/// Two sessions for ten seconds, heard from a second into the recording on.
class DescribeRun_OfASoak : public testing::Test {
protected:
    DescribeRun_OfASoak() {
        options.sessions = 2;
        options.seconds = 10.0;
        record.originSample = 48'000;
        record.endSample = 48'000 * 11;
        record.told.jobs = 1000;
        record.told.succeeded = 999;
        record.told.errorMilliSec.Add(-3.2);
        record.told.errorMilliSec.Add(-3.1);
        record.told.errorMilliSec.Add(12.7);
        record.told.errorCourse.Add(1.0, -3.0);
        record.told.errorCourse.Add(1.1, 12.5);
        record.told.errorCourse.Add(4.0, 2.0);
        ProcessFigures figures;
        figures.handles = 80;
        figures.workingSetBytes = 74'250'000;
        record.moments = {{3.0, figures}, {10.0, figures}};
    }

    AudioHost::ReportModel Describe() const {
        return DescribeRun(options, record, findings, failures, heard);
    }

    Options options;
    RunRecord record;
    Findings findings;
    std::vector<std::string> failures;
    Listening::Samples heard;
};

TEST_F(DescribeRun_OfASoak, SumsItUp) {
    EXPECT_EQ(Describe().grade, AudioHost::Grade_t::Good);
    findings.calmShare = 0.1;
    EXPECT_EQ(Describe().grade, AudioHost::Grade_t::Fair);
    failures = {"1 frame failed"};
    AudioHost::ReportModel const model = Describe();
    EXPECT_EQ(model.grade, AudioHost::Grade_t::Bad);
    EXPECT_EQ(model.verdict, "1 frame failed");
    EXPECT_EQ(model.kind, "soak");
    EXPECT_THAT(model.sessions, SizeIs(2));
    EXPECT_EQ(model.figures[3].value, 1);
}

TEST_F(DescribeRun_OfASoak, DrawsBothExtremesOfEachStretch) {
    AudioHost::ReportSeries const series = Describe().charts[0].series[0];
    // Stretches of 200 ms, their extremes at a quarter and at three quarters.
    EXPECT_THAT(series.timesMilliSec, ElementsAre(1'050, 1'150, 4'050, 4'150));
    EXPECT_THAT(series.values, ElementsAre(-3'000, 12'500, 2'000, 2'000));
}

TEST_F(DescribeRun_OfASoak, DrawsWhatTheProcessHad) {
    AudioHost::ReportModel const model = Describe();
    EXPECT_THAT(model.charts[3].series[0].values, ElementsAre(80, 80));
    EXPECT_THAT(model.charts[5].series[0].values, ElementsAre(74'250, 74'250));
    EXPECT_THAT(model.charts[5].series[0].timesMilliSec, ElementsAre(3'000, 10'000));
}

TEST_F(DescribeRun_OfASoak, CutsEmptyEndsOffItsHistograms) {
    // Steps of 0.5 ms: two values below -3, one in the step from 12.5 ms on.
    AudioHost::ReportHistogram const histogram = Describe().histograms[0];
    EXPECT_EQ(histogram.start, -3'500);
    EXPECT_EQ(histogram.step, 500);
    ASSERT_THAT(histogram.counts, SizeIs(33));
    EXPECT_EQ(histogram.counts.front(), 2U);
    EXPECT_EQ(histogram.counts.back(), 1U);
}

TEST_F(DescribeRun_OfASoak, PutsBreaksOnTheTimeAxisWithTheirSession) {
    // Block 100 is 2 s into the recording: 1 s after the origin, which is heard after the lead.
    findings.faults.own = {{1, 100, 2, 0.5F, 0.1F}};
    AudioHost::ReportModel const model = Describe();
    ASSERT_THAT(model.records, SizeIs(1));
    EXPECT_EQ(model.records[0].fromMilliSec, 1'200);
    EXPECT_EQ(model.records[0].toMilliSec, 1'240);
    EXPECT_EQ(model.records[0].session, 1U);
    EXPECT_TRUE(model.records[0].isFault);
}

TEST_F(DescribeRun_OfASoak, TellsTheWordsUnderWhatTheyAreOf) {
    EXPECT_THAT(Describe().parts, Contains(Field(&AudioHost::ReportPart::title, "Told")));
    EXPECT_THAT(Describe().parts, Contains(Field(&AudioHost::ReportPart::title, "Verdict")));
}

TEST_F(DescribeRun_OfASoak, HasTheSoundFromTheFirstFrameOn) {
    heard = Listening::MakeVoice(48'000 * 3);
    AudioHost::ReportModel const model = Describe();
    ASSERT_THAT(model.sounds, SizeIs(1));
    EXPECT_EQ(model.sounds[0].startMilliSec, 0);
    EXPECT_EQ(model.sounds[0].lengthMilliSec, 2'200);
    EXPECT_FALSE(model.sounds[0].flac.empty());
}

TEST(Course, OfDaysKeepsExtremesInFewStretches) {
    Course course;
    for (int second = 0; second < 200'000; second += 10) {
        course.Add(second, second == 70'000 ? 99.0 : 1.0);
    }
    EXPECT_LE(course.GetStretches().size(), 2'000U);
    auto const place = static_cast<std::size_t>(70'000.0 / course.GetStretchSeconds());
    EXPECT_EQ(course.GetStretches()[place].high, 99.0);
    EXPECT_EQ(course.GetStretches()[place].low, 1.0);
    EXPECT_EQ(course.GetStretches()[place + 1].high, 1.0);
}

} // namespace
} // namespace Soak
