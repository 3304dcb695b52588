#include "page/thinning.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace AudioHost {

using testing::Contains;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

ReportSeries MakeSeries(std::int64_t count) {
    ReportSeries series{"a", {}, {}};
    for (std::int64_t i = 0; i < count; ++i) {
        series.timesMilliSec.push_back(20 * i);
        series.values.push_back(0);
    }
    return series;
}

RecordToJoin MakeRecord(std::int64_t milliSec, std::string const& kind, bool isRepeat,
                        std::optional<std::size_t> session = 0) {
    return {{milliSec, milliSec, session, false, kind, kind, 1}, isRepeat};
}

} // namespace

TEST(ThinOut, KeepsTheExtremesInTheirPlaces) {
    ReportSeries series = MakeSeries(1000);
    series.values[333] = 7;
    series.values[700] = -5;
    ReportSeries const thinned = ThinOut(series, 20);
    ASSERT_THAT(thinned.values, SizeIs(20));
    auto const high = std::find(thinned.values.begin(), thinned.values.end(), 7) - thinned.values.begin();
    ASSERT_LT(high, 20);
    EXPECT_EQ(thinned.timesMilliSec[static_cast<std::size_t>(high)], 333 * 20);
    EXPECT_THAT(thinned.values, Contains(-5));
    EXPECT_TRUE(std::is_sorted(thinned.timesMilliSec.begin(), thinned.timesMilliSec.end()));
    EXPECT_EQ(thinned.name, "a");
}

TEST(ThinOut, LeavesWhatFitsAlone) {
    EXPECT_THAT(ThinOut(MakeSeries(20), 20).values, SizeIs(20));
}

TEST(ThinOut, GivesEachOfManySeriesTheSame) {
    std::vector<ReportChart> charts(3);
    for (ReportChart& chart : charts) {
        chart.series = std::vector<ReportSeries>(10, MakeSeries(2000));
    }
    charts[0].series[0] = MakeSeries(7);
    ThinOut(charts);
    EXPECT_THAT(charts[0].series[0].values, SizeIs(7));
    // 30000 points for 30 series.
    EXPECT_THAT(charts[2].series[9].values, SizeIs(1000));
}

TEST(JoinRecords, JoinsRepeatsOfAKindAndSessionThatAreTwoSecondsApartAtMost) {
    std::vector<ReportRecord> const joined = JoinRecords(
        {MakeRecord(2'000, "gap", true), MakeRecord(0, "gap", true), MakeRecord(4'001, "gap", true),
         MakeRecord(100, "gap", true, 1), MakeRecord(50, "gap", true, std::nullopt)});
    ASSERT_THAT(joined, SizeIs(4));
    EXPECT_EQ(joined[0].count, 2U);
    EXPECT_EQ(joined[0].toMilliSec, 2'000);
    EXPECT_EQ(joined[1].session, std::nullopt);
    EXPECT_EQ(joined[2].session, 1U);
    EXPECT_EQ(joined[3].fromMilliSec, 4'001);
}

TEST(JoinRecords, KeepsApartWhatSaysSomethingNew) {
    EXPECT_THAT(JoinRecords({MakeRecord(0, "frequency", false), MakeRecord(1, "frequency", false)}),
                SizeIs(2));
}

TEST(JoinRecords, OfTooManyJoinsTheNearestUntilThereIsRoomAndCountsThemAll) {
    std::vector<RecordToJoin> records;
    for (std::int64_t i = 0; i < 5'000; ++i) {
        records.push_back(MakeRecord(i * 10'000, "frequency", false));
    }
    std::vector<ReportRecord> const joined = JoinRecords(records);
    EXPECT_LE(joined.size(), MaxRecords);
    std::uint64_t count = 0;
    for (ReportRecord const& record : joined) {
        count += record.count;
    }
    EXPECT_EQ(count, 5'000U);
}

TEST(RoundUpToRound, IsOneTwoOrFiveTimesAPowerOfTen) {
    EXPECT_EQ(RoundUpToRound(0), 1);
    EXPECT_EQ(RoundUpToRound(3), 5);
    EXPECT_EQ(RoundUpToRound(20), 20);
    EXPECT_EQ(RoundUpToRound(51), 100);
}

TEST(CountInSteps, CountsEachValueInItsStepAlsoBelowZero) {
    ReportHistogram const histogram = CountInSteps({-3, -1, 0, 0, 2});
    EXPECT_EQ(histogram.start, -3);
    EXPECT_EQ(histogram.step, 1);
    EXPECT_THAT(histogram.counts, ElementsAre(1U, 0U, 1U, 2U, 0U, 1U));
}

TEST(CountInSteps, OfAWideRangeHasRoundStepsAndFewOfThem) {
    ReportHistogram const histogram = CountInSteps({-40'123, 0, 59'000});
    EXPECT_EQ(histogram.step, 2'000);
    // The step below the lowest begins at a multiple.
    EXPECT_EQ(histogram.start, -42'000);
    EXPECT_EQ(histogram.counts.front(), 1U);
    EXPECT_EQ(histogram.counts.back(), 1U);
    EXPECT_LE(histogram.counts.size(), 61U);
}

TEST(CountInSteps, OfNothingIsEmpty) {
    EXPECT_TRUE(CountInSteps({}).counts.empty());
}

} // namespace AudioHost
