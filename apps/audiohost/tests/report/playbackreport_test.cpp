#include "report/playbackreport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "support/testplaybacklog.h"

namespace AudioHost {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

ReportModel Describe(PlaybackLog const& log) {
    std::vector<SideFile> files;
    return DescribeRun(log, files);
}

std::vector<std::string> ChartIds(ReportModel const& model) {
    std::vector<std::string> ids;
    for (ReportChart const& chart : model.charts) {
        ids.push_back(chart.id);
    }
    return ids;
}

/// Of the report, or of its first session; -1 when there is none of this name.
std::int64_t ValueOf(std::vector<ReportFigure> const& figures, std::string const& name) {
    auto const found = std::find_if(figures.begin(), figures.end(),
                                    [&name](ReportFigure const& figure) { return figure.name == name; });
    return found == figures.end() ? -1 : found->value;
}

} // namespace

TEST(DescribeRun_OfAPlayback, TellsTheNumbersOfTheLog) {
    ReportModel const model = Describe(MakeHeardLog());
    EXPECT_EQ(model.kind, "play");
    EXPECT_EQ(model.subject, "voice.wav");
    EXPECT_EQ(model.grade, Grade_t::Good);
    EXPECT_EQ(ValueOf(model.figures, "played"), 2'000);
    EXPECT_EQ(ValueOf(model.figures, "frames handed over"), 100);
    EXPECT_EQ(ValueOf(model.figures, "95 % of frames within"), 4'000);
    EXPECT_EQ(ValueOf(model.figures, "heard as sent"), 100'000);
    ASSERT_THAT(model.sessions, SizeIs(1));
    EXPECT_EQ(ValueOf(model.sessions[0].figures, "Log: small gap closed"), 30);
    EXPECT_EQ(ValueOf(model.sessions[0].figures, "Presentation error, earliest"), -4'000);
}

TEST(DescribeRun_OfAPlayback, HasChartsOfAStreamsFigures) {
    PlaybackLog log = MakeLog();
    StreamState state;
    state.clock.skewPartsPerMillion = -3.5;
    log.sessions[0].streamPoints = {{Listening::NanoSecPerSec, state}};
    log.sessions[0].arrivals = {{Listening::NanoSecPerSec / 2, 71.25}};
    ReportModel const model = Describe(log);
    EXPECT_THAT(ChartIds(model), ElementsAre("error", "frequency", "renderer", "handover", "arrivals",
                                             "jitter", "loss", "skew", "lead"));
    EXPECT_THAT(model.charts[4].series.at(0).timesMilliSec, ElementsAre(500));
    EXPECT_THAT(model.charts[4].series.at(0).values, ElementsAre(71'250));
    EXPECT_THAT(model.charts[7].series.at(0).timesMilliSec, ElementsAre(1'000));
    EXPECT_THAT(model.charts[7].series.at(0).values, ElementsAre(-3'500));
}

TEST(DescribeRun_OfAPlayback, HasAChartOfAllThatIsKnown) {
    EXPECT_THAT(ChartIds(Describe(MakeHeardLog())),
                ElementsAre("error", "frequency", "renderer", "handover", "delay"));
    EXPECT_THAT(ChartIds(Describe(MakeLog())), ElementsAre("error", "frequency", "renderer", "handover"));
}

TEST(DescribeRun_OfAPlayback, PutsValuesWhereTheyWere) {
    PlaybackLog log = MakeLog();
    log.sessions[0].points[50] = {1'000'000'000, 31.25, 85.0};
    log.sessions[0].handOvers = {{20'000'000, 1.5}};
    ReportModel const model = Describe(log);
    EXPECT_EQ(model.charts[0].series[0].timesMilliSec[50], 1'000);
    EXPECT_EQ(model.charts[0].series[0].values[50], 31'250);
    EXPECT_EQ(model.charts[2].series[0].values[50], 85);
    EXPECT_THAT(model.charts[3].series[0].timesMilliSec, ElementsAre(20));
    EXPECT_THAT(model.charts[3].series[0].values, ElementsAre(1'500));
}

TEST(DescribeRun_OfAPlayback, HoldsTheLastFrequencyToTheEnd) {
    ReportModel const model = Describe(MakeLog());
    EXPECT_EQ(model.endMilliSec, 2'200);
    EXPECT_THAT(model.charts[1].series[0].timesMilliSec, ElementsAre(3, 1'100, 1'900, 2'200));
    EXPECT_THAT(model.charts[1].series[0].values, ElementsAre(48'000, 47'960, 48'000, 48'000));
}

TEST(DescribeRun_OfAPlayback, CountsEveryErrorInTheHistogram) {
    ReportModel const model = Describe(MakeLog());
    ASSERT_THAT(model.histograms, SizeIs(1));
    // 90 of 1 ms, 10 of -4 ms.
    EXPECT_EQ(model.histograms[0].counts.front(), 10U);
    EXPECT_EQ(model.histograms[0].counts.back(), 90U);
}

TEST(DescribeRun_OfAPlayback, JoinsManyLogRecordsOfAKindAndKeepsTheirSession) {
    PlaybackLog log = MakeLog();
    log.sessions.push_back(MakeSession("other.mp3"));
    log.otherEvents = {{EventKind_t::IdleStop, 2'000'000'000, "Idle AudioBuffer playback stopped"}};
    ReportModel const model = Describe(log);
    auto const gaps = std::find_if(model.records.begin(), model.records.end(), [](ReportRecord const& one) {
        return one.kind == "small gap closed" && one.session == 1U;
    });
    ASSERT_NE(gaps, model.records.end());
    EXPECT_EQ(gaps->count, 30U);
    EXPECT_EQ(gaps->fromMilliSec, 100);
    EXPECT_EQ(gaps->toMilliSec, 129);
    EXPECT_FALSE(gaps->isFault);
    EXPECT_EQ(model.records.back().session, std::nullopt);
}

TEST(DescribeRun_OfAPlayback, MarksWhatAListenerMayHear) {
    PlaybackLog log = MakeLog();
    log.sessions[0].events.push_back({EventKind_t::LateStop, 1'500'000'000, "late"});
    EXPECT_THAT(Describe(log).records, Contains(Field(&ReportRecord::isFault, true)));
    EXPECT_THAT(Describe(MakeLog()).records, testing::Each(Field(&ReportRecord::isFault, false)));
}

TEST(DescribeRun_OfAPlayback, LaysWhatWasHeardOverWhatWasSent) {
    ReportModel const model = Describe(MakeHeardLog());
    ASSERT_THAT(model.sounds, SizeIs(2));
    EXPECT_EQ(model.sounds[0].startMilliSec, 200);
    // The recording begins half a second before the sound.
    EXPECT_EQ(model.sounds[1].startMilliSec, -300);
    EXPECT_FALSE(model.sounds[0].flac.empty());
    EXPECT_FALSE(model.sounds[1].spectrogram.levels.empty());
}

TEST(DescribeRun_OfAPlayback, WithoutSoundHasNone) {
    EXPECT_THAT(Describe(MakeLog()).sounds, IsEmpty());
    EXPECT_THAT(Describe(PlaybackLog()).sounds, IsEmpty());
}

TEST(DescribeRun_OfAPlayback, GivesAGlitchOfTheOutputAGradeAndAPlaceOfItsOwn) {
    PlaybackLog log = MakeHeardLog();
    log.comparison->holes = {{38400, 2880}};
    EXPECT_EQ(Describe(log).grade, Grade_t::Bad);
    log.output.isWatched = true;
    log.output.glitches.resize(1);
    log.output.glitches[0].startNanoSec = 1'000'000'000;
    log.output.glitches[0].endNanoSec = 1'095'000'000;
    log.output.glitches[0].lateMilliSec = 95.0;
    ReportModel const model = Describe(log);
    EXPECT_EQ(model.grade, Grade_t::Fair);
    EXPECT_EQ(model.verdict, "The output stood still for 95 ms at 0:00.8; the renderer caught up");
    EXPECT_THAT(model.records,
                Contains(testing::AllOf(Field(&ReportRecord::fromMilliSec, 1'000),
                                        Field(&ReportRecord::toMilliSec, 1'095),
                                        Field(&ReportRecord::text, HasSubstr("stood still for 95 ms")))));
}

TEST(FormatReport, OfALongPlaybackPutsItsSoundsBesideThePage) {
    PlaybackLog log = MakeHeardLog();
    log.sessions[0].sound.resize(48'000 * 121);
    Report const report = FormatReport(log);
    ASSERT_THAT(report.files, SizeIs(1));
    EXPECT_EQ(report.files[0].name, "20260102-030405-sent.flac");
    EXPECT_THAT(report.html, HasSubstr("\"fileName\":\"20260102-030405-sent.flac\""));
}

} // namespace AudioHost
