#include "report/playbackreport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "listening/tests/testsounds.h"
#include "support/testmarkup.h"
#include "support/testplaybacklog.h"

namespace AudioHost {

using testing::HasSubstr;
using testing::Not;

TEST(FindMarkupError, FindsThem) {
    EXPECT_EQ(FindMarkupError("<!DOCTYPE html><a><b/></a>"), "");
    EXPECT_NE(FindMarkupError("<a><b></a></b>"), "");
    EXPECT_NE(FindMarkupError("<a>"), "");
    EXPECT_NE(FindMarkupError("<a>1 < 2</a>"), "");
}

TEST(FormatReport, IsWellFormedAndLoadsNothing) {
    for (PlaybackLog const& log : {MakeLog(), MakeHeardLog(), PlaybackLog()}) {
        std::string const html = FormatReport(log);
        EXPECT_EQ(FindMarkupError(html), "");
        EXPECT_THAT(html, Not(HasSubstr("http")));
        EXPECT_THAT(html, Not(HasSubstr("src=")));
        EXPECT_THAT(html, Not(HasSubstr("<script")));
        EXPECT_THAT(html, Not(HasSubstr("nan")));
        EXPECT_THAT(html, Not(HasSubstr("inf,")));
    }
}

TEST(FormatReport, TellsTheNumbersOfTheRecord) {
    std::string const html = FormatReport(MakeHeardLog());
    EXPECT_THAT(html, HasSubstr("voice.wav \xC2\xB7 2026-01-02 03:04:05 UTC"));
    EXPECT_THAT(html, HasSubstr("<b>2.0 s</b><span>played</span>"));
    EXPECT_THAT(html, HasSubstr("<b>100</b><span>frames handed over</span>"));
    EXPECT_THAT(html, HasSubstr("<b>4.0 ms</b><span>95 % of frames within</span>"));
    EXPECT_THAT(html, HasSubstr("<b>100.0 %</b><span>heard as sent</span>"));
    EXPECT_THAT(html, HasSubstr("<td>Log: small gap closed</td><td class=\"number\">30</td>"));
    EXPECT_THAT(html, HasSubstr("-4.000 ms, +1.000 ms"));
}

TEST(FormatReport, ShowsEveryPictureOfAHeardPlayback) {
    std::string const html = FormatReport(MakeHeardLog());
    for (char const* const title : {"Sound sent", "Sound heard", "Presentation error", "Playback frequency",
                                    "Log of the renderer", "Delay as heard", "Close-up"}) {
        EXPECT_THAT(html, HasSubstr(std::string("<figcaption><b>") + title));
    }
    EXPECT_THAT(html, HasSubstr("Adjusting audio frequency to 47960 Hz</text>"));
}

TEST(FormatReport, WithoutARecordingShowsOnlyWhatWasSent) {
    PlaybackLog log = MakeHeardLog();
    log.comparison.reset();
    std::string const html = FormatReport(log);
    EXPECT_THAT(html, HasSubstr("<figcaption><b>Sound sent"));
    EXPECT_THAT(html, Not(HasSubstr("Sound heard")));
    EXPECT_THAT(html, Not(HasSubstr("Close-up")));
}

TEST(FormatReport, OfSeveralSessionsHasALegendAndATableForEach) {
    PlaybackLog log = MakeLog();
    log.sessions.push_back(MakeSession("<other> & more.mp3"));
    std::string const html = FormatReport(log);
    EXPECT_EQ(FindMarkupError(html), "");
    EXPECT_THAT(html, HasSubstr("<i class=\"series2\"></i>&lt;other&gt; &amp; more.mp3"));
    EXPECT_THAT(html, HasSubstr("<h3>&lt;other&gt; &amp; more.mp3</h3><div class=\"scroll\"><table>"));
}

TEST(FormatReport, JoinsManyLogRecordsOfAKind) {
    std::string const html = FormatReport(MakeLog());
    EXPECT_THAT(html, HasSubstr("0.100 to 0.129"));
    EXPECT_THAT(html, HasSubstr("AudioBuffer ignoring small gap (2 samples) \xC3\x97 30</text>"));
}

TEST(FormatReport, TellsAGlitchOfTheOutputInAColourOfItsOwn) {
    PlaybackLog log = MakeHeardLog();
    EXPECT_NE(FormatReport(log).find("class=\"verdict good\""), std::string::npos);
    log.comparison->holes = {{38400, 2880}};
    EXPECT_NE(FormatReport(log).find("class=\"verdict bad\""), std::string::npos);
    log.output.isWatched = true;
    log.output.glitches.resize(1);
    log.output.glitches[0].startNanoSec = 1'000'000'000;
    log.output.glitches[0].endNanoSec = 1'095'000'000;
    log.output.glitches[0].lateMilliSec = 95.0;
    std::string const page = FormatReport(log);
    EXPECT_NE(page.find("class=\"verdict fair\""), std::string::npos);
    EXPECT_NE(page.find("The output stood still for 95 ms at 0:00.8; the renderer caught up"),
              std::string::npos);
}

} // namespace AudioHost
