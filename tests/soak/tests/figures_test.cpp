#include <gtest/gtest.h>

#include "ears/capturejudge.h"
#include "ears/growth.h"
#include "ears/histogram.h"
#include "ears/soundplan.h"
#include "run/tally.h"
#include "support/recording/disturbance.h"

namespace Soak {
namespace {

TEST(Growth_FitGrowthPerHour, IsTheSlopeOfTheLineThroughTheReadings) {
    // Two a minute.
    EXPECT_DOUBLE_EQ(FitGrowthPerHour({{0.0, 10.0}, {60.0, 12.0}, {120.0, 14.0}}), 120.0);
    // (0, 0), (1, 0), (2, 3): means 1 and 1, slope (1 + 0 + 2) / 2 = 1.5 a second.
    EXPECT_DOUBLE_EQ(FitGrowthPerHour({{0.0, 0.0}, {1.0, 0.0}, {2.0, 3.0}}), 1.5 * 3600.0);
}

TEST(Growth_FitGrowthPerHour, IsZeroForLessThanTwoMoments) {
    EXPECT_EQ(FitGrowthPerHour({}), 0.0);
    EXPECT_EQ(FitGrowthPerHour({{5.0, 7.0}}), 0.0);
    EXPECT_EQ(FitGrowthPerHour({{5.0, 7.0}, {5.0, 9.0}}), 0.0);
}

TEST(Histogram_GetPercentile, IsTheUpperEndOfTheStepButNotBeyondTheGreatest) {
    Histogram values(0.0, 10.0, 1.0);
    for (double const value : {0.5, 1.5, 2.5, 3.25}) {
        values.Add(value);
    }
    EXPECT_EQ(values.GetPercentile(0.5), 2.0);
    EXPECT_EQ(values.GetPercentile(1.0), 3.25);
    EXPECT_EQ(values.GetMean(), 1.9375);
    EXPECT_EQ(values.GetSmallest(), 0.5);
}

TEST(Histogram_Add, KeepsWhatLiesBeyondTheEnds) {
    Histogram values(0.0, 10.0, 1.0);
    values.Add(-5.0);
    values.Add(100.0);
    EXPECT_EQ(values.GetCount(), 2U);
    EXPECT_EQ(values.GetSmallest(), -5.0);
    EXPECT_EQ(values.GetGreatest(), 100.0);
}

TEST(Disturbance_CalmShare, CountsOverlappingStretchesOnceAndOnlyThoseOfAll) {
    std::vector<TestSupport::Disturbance> const disturbances = {
        {std::nullopt, 10, 30}, {std::nullopt, 20, 40}, {2, 50, 90}, {std::nullopt, 95, 200}};
    // 10 to 40 and 95 to 100 of 0 to 100.
    EXPECT_DOUBLE_EQ(TestSupport::CalmShare(disturbances, 0, 100), 0.65);
}

TEST(Disturbance_IsDisturbed, HoldsForItsSessionAndForAll) {
    std::vector<TestSupport::Disturbance> const disturbances = {{std::nullopt, 10, 20}, {2, 30, 40}};
    EXPECT_TRUE(TestSupport::IsDisturbed(disturbances, 1, 20, 25));
    EXPECT_FALSE(TestSupport::IsDisturbed(disturbances, 1, 21, 45));
    EXPECT_TRUE(TestSupport::IsDisturbed(disturbances, 2, 21, 30));
    EXPECT_TRUE(TestSupport::IsDisturbed(disturbances, std::nullopt, 30, 40));
    EXPECT_FALSE(TestSupport::IsDisturbed(disturbances, std::nullopt, 21, 29));
}

TEST(Tally_AddLog, EventIsOfTheSessionThatIsTheSubjectAndOfNoOther) {
    constexpr Media::Pipeline::SessionId_t Session = 7;
    Tally tally(1);
    tally.AddSession(Session, 0);
    Kovra::LogRecord record;
    record.message = "Adjusting audio frequency to 47960 Hz";
    for (std::uint64_t const subject : {std::uint64_t{Session}, (std::uint64_t{1} << 32U) + Session}) {
        record.subject = subject;
        tally.AddLog(record);
    }
    EXPECT_EQ(tally.GetEvents().size(), 1U);
    EXPECT_EQ(tally.CountLogged("frequency"), 2U);
}

/// Frame k of the microphone's tone, from sample `skipped` of it on.
std::vector<std::int16_t> ToneFrame(std::int64_t k, std::int64_t skipped = 0) {
    std::vector<std::int16_t> samples;
    for (std::int64_t i = 0; i < FrameSamples; ++i) {
        samples.push_back(MicrophoneSample(k * FrameSamples + skipped + i));
    }
    return samples;
}

TEST(CaptureJudge_AddFrame, AToneThatGoesOnHasNoBreak) {
    CaptureJudge judge;
    for (std::uint32_t k = 0; k < 2000; ++k) {
        judge.AddFrame(k, ToneFrame(k));
    }
    EXPECT_EQ(judge.GetFrames(), 2000U);
    EXPECT_EQ(judge.GetBreaks(), 0U);
    EXPECT_EQ(judge.GetNumberGaps(), 0U);
    EXPECT_EQ(judge.GetFaintFrames(), 0U);
}

TEST(CaptureJudge_AddFrame, ALostFrameIsABreakThoughNumbersGoOn) {
    CaptureJudge judge;
    judge.AddFrame(0, ToneFrame(0));
    judge.AddFrame(1, ToneFrame(2));
    judge.AddFrame(2, ToneFrame(3));
    EXPECT_EQ(judge.GetBreaks(), 1U);
    EXPECT_EQ(judge.GetNumberGaps(), 0U);
}

TEST(CaptureJudge_AddFrame, ALostSampleIsABreak) {
    CaptureJudge judge;
    judge.AddFrame(0, ToneFrame(0));
    judge.AddFrame(1, ToneFrame(1, 1));
    EXPECT_EQ(judge.GetBreaks(), 1U);
}

TEST(CaptureJudge_AddFrame, AMissingNumberIsAGap) {
    CaptureJudge judge;
    judge.AddFrame(7, ToneFrame(0));
    judge.AddFrame(9, ToneFrame(1));
    EXPECT_EQ(judge.GetNumberGaps(), 1U);
    EXPECT_EQ(judge.GetBreaks(), 0U);
}

TEST(CaptureJudge_AddFrame, SilenceCountsOnlyAfterTheToneHasBegun) {
    CaptureJudge judge;
    std::vector<std::int16_t> const silence(static_cast<std::size_t>(FrameSamples));
    judge.AddFrame(0, silence);
    judge.AddFrame(1, ToneFrame(0));
    judge.AddFrame(2, silence);
    EXPECT_EQ(judge.GetFaintFrames(), 1U);
}

} // namespace
} // namespace Soak
