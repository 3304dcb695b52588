#include "report/reportcompare.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "page/reportpage.h"
#include "report/capturereport.h"
#include "report/playbackreport.h"
#include "support/testcapturelog.h"
#include "support/testerror.h"
#include "support/testplaybacklog.h"

namespace AudioHost {

using testing::HasSubstr;
using testing::Not;

namespace {

std::string PageOf(PlaybackLog const& log) {
    return FormatReport(log).html;
}

} // namespace

TEST(CompareReports, TellsWhatGotBetterAndWhatGotWorse) {
    PlaybackLog worse = MakeLog();
    worse.sessions[0].jobsFailed = 3;
    worse.leadMilliSec = 100;
    std::string const text = CompareReports(PageOf(MakeLog()), PageOf(worse));
    EXPECT_THAT(text, HasSubstr("Worse\n  of them failed: 0 -> 3\n  session 1: Jobs that failed: 0 -> 3\n"));
    EXPECT_THAT(text, Not(HasSubstr("Better")));
    EXPECT_THAT(
        text, HasSubstr("Lead: 200 ms from handing over to hearing -> 100 ms from handing over to hearing"));
    EXPECT_THAT(CompareReports(PageOf(worse), PageOf(MakeLog())),
                HasSubstr("Better\n  of them failed: 3 -> 0\n"));
}

TEST(CompareReports, OfTheSameRunFindsNothing) {
    std::string const text = CompareReports(PageOf(MakeLog()), PageOf(MakeLog()));
    EXPECT_THAT(text, Not(HasSubstr("->")));
    EXPECT_THAT(text, Not(HasSubstr("only")));
    EXPECT_THAT(text, HasSubstr("The same: "));
}

TEST(CompareReports, TellsWhatOnlyOneOfThemHas) {
    PlaybackLog alone = MakeLog();
    alone.facts = {{"System", "some"}, {"Machine", "old"}};
    PlaybackLog both = MakeHeardLog();
    both.sessions.push_back(MakeSession("two.wav"));
    both.facts = {{"Machine", "old"}, {"Sound outputs", "none"}};
    std::string const text = CompareReports(PageOf(alone), PageOf(both));
    std::string const section = text.substr(text.find("In one of them only\n"));
    EXPECT_THAT(section, HasSubstr("\n  before: System: some\n"));
    EXPECT_THAT(section, HasSubstr("\n  after: heard as sent: 100.00 %\n"));
    EXPECT_THAT(section, HasSubstr("\n  after: session 2, two.wav\n"));
    EXPECT_THAT(section, HasSubstr("\n  after: Sound outputs: none\n"));
    EXPECT_THAT(text, Not(HasSubstr("Machine")));
    EXPECT_THAT(text, Not(HasSubstr("session 2:")));
    std::string const back = CompareReports(PageOf(both), PageOf(alone));
    EXPECT_THAT(back, HasSubstr("\n  before: session 2, two.wav\n"));
    EXPECT_THAT(back, HasSubstr("\n  after: System: some\n"));
}

TEST(CompareReports, TakesTheJsonAsWell) {
    std::vector<SideFile> files;
    std::string const json = FormatReportJson(DescribeRun(MakeLog(), files));
    EXPECT_THAT(CompareReports(json, PageOf(MakeLog())), HasSubstr("The same: "));
}

TEST(CompareReports, LetsNoNameSteerTheTerminal) {
    PlaybackLog log = MakeLog();
    // The second but last is CSI, a control of two bytes; the last is no control.
    log.sessions[0].name = "a\x1b[31m\x7f\xC2\x9B\xC2\x9F\xC2\xA0.wav";
    EXPECT_THAT(CompareReports(PageOf(log), PageOf(log)), HasSubstr("Before: a?[31m???\xC2\xA0.wav, "));
}

TEST(CompareReports, RefusesWhatCannotBeCompared) {
    std::string const page = PageOf(MakeLog());
    std::string const damaged = R"({"schema":"audiohost-report","version":1,"kind":"play","figures":[{}]})";
    std::string const later = R"({"schema":"audiohost-report","version":2})";
    for (std::string const& other :
         {std::string(), std::string("{}"), std::string("[1]"), std::string("<html>"),
          page.substr(0, page.find("\"sessions\"")), damaged, later, FormatReport(MakeCaptureLog()).html}) {
        EXPECT_EQ(CodeOf([&] { CompareReports(page, other); }), ExitCode_t::Usage) << other.substr(0, 60);
        EXPECT_EQ(CodeOf([&] { CompareReports(other, page); }), ExitCode_t::Usage);
    }
}

} // namespace AudioHost
