#include "report/capturereport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/testcapturelog.h"
#include "support/testmarkup.h"

namespace AudioHost {

using testing::HasSubstr;
using testing::Not;

TEST(FormatReport, OfARecordingIsWellFormedAndLoadsNothing) {
    for (CaptureLog const& log : {MakeCaptureLog(), MakeCheckedLog(), CaptureLog()}) {
        std::string const html = FormatReport(log);
        EXPECT_EQ(FindMarkupError(html), "");
        for (char const* const stray : {"http", "src=", "<script", "nan", "inf,"}) {
            EXPECT_THAT(html, Not(HasSubstr(stray)));
        }
    }
}

TEST(FormatReport, OfARecordingTellsItsNumbers) {
    std::string const html = FormatReport(MakeCheckedLog());
    EXPECT_THAT(html, HasSubstr("&lt;out&gt;.wav \xC2\xB7 2026-01-02 03:04:05 UTC"));
    EXPECT_THAT(html, HasSubstr("<b>2.0 s</b><span>recorded</span>"));
    EXPECT_THAT(html, HasSubstr("<b>100</b><span>frames read</span>"));
    EXPECT_THAT(html, HasSubstr("<b>100.0 %</b><span>recorded as played</span>"));
    EXPECT_THAT(html, HasSubstr("<td>Samples recorded as played</td><td class=\"number\">96000</td>"));
    EXPECT_THAT(html, HasSubstr("<td>First frame after</td><td class=\"number\">43.0 ms</td>"));
}

TEST(FormatReport, OfACheckedRecordingShowsEveryPicture) {
    std::string const html = FormatReport(MakeCheckedLog());
    for (char const* const title :
         {"Sound played", "Sound recorded", "Line level", "Sound read, behind", "Close-up"}) {
        EXPECT_THAT(html, HasSubstr(std::string("<figcaption><b>") + title));
    }
}

TEST(FormatReport, OfARecordingAloneShowsNothingPlayed) {
    CaptureLog log = MakeCheckedLog();
    log.check.reset();
    std::string const html = FormatReport(log);
    EXPECT_THAT(html, HasSubstr("<figcaption><b>Sound recorded"));
    EXPECT_THAT(html, Not(HasSubstr("Sound played")));
    EXPECT_THAT(html, Not(HasSubstr("Close-up")));
}

TEST(FormatReport, OfARecordingMarksWhatIsMissing) {
    CaptureLog log = MakeCheckedLog();
    log.losses = {{1'000'000'000, 2, true}};
    log.failure = "the disk is full.";
    std::string const html = FormatReport(log);
    EXPECT_THAT(html, HasSubstr("<title>the ring began again</title>"));
    EXPECT_THAT(html, HasSubstr("<b>40 ms</b><span>of sound left out</span>"));
    EXPECT_THAT(html, HasSubstr("<p>the disk is full.</p>"));
}

} // namespace AudioHost
