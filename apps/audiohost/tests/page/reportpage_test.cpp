#include "page/reportpage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "page/text.h"

namespace AudioHost {

using testing::HasSubstr;
using testing::Not;

namespace {

ReportModel MakeModel() {
    ReportModel model;
    model.kind = "play";
    model.title = "A report";
    model.subject = "a.wav";
    model.startedAt = Kovra::SysTime(1'767'323'045LL * 1'000'000'000);
    model.grade = Grade_t::Fair;
    model.verdict = "It went";
    model.figures = {{"frames", 100, "", 1, Better_t::Neither},
                     {"error", 4'250, "ms", 1'000, Better_t::Less}};
    model.parts = {{"Part", {"First.", "Second."}}};
    model.charts = {{"error", "Error", "ms", 1'000, false, -1, 1, {{"a.wav", {0, 20}, {-5, 7}}}}};
    model.records = {{1, 2, std::nullopt, true, "kind", "text", 3}};
    return model;
}

std::string DataOf(std::string const& page) {
    std::string const start = "id=\"data\">";
    std::size_t const from = page.find(start) + start.size();
    return page.substr(from, page.find("</script>", from) - from);
}

} // namespace

TEST(FormatReportJson, HasTheVersionAndWholeNumbers) {
    std::string const json = FormatReportJson(MakeModel());
    EXPECT_THAT(json, HasSubstr(R"({"schema":"audiohost-report","version":1,"kind":"play")"));
    EXPECT_THAT(json, HasSubstr(R"("startedAt":"2026-01-02 03:04:05 UTC")"));
    EXPECT_THAT(json, HasSubstr(R"("verdict":{"grade":"fair","text":"It went"})"));
    EXPECT_THAT(json,
                HasSubstr(R"({"name":"error","value":4250,"unit":"ms","perUnit":1000,"better":"less"})"));
    EXPECT_THAT(json, HasSubstr(R"("series":[{"name":"a.wav","timesMilliSec":[0,20],"values":[-5,7]}])"));
    EXPECT_THAT(json, HasSubstr(R"("session":null,"isFault":true,"kind":"kind","text":"text","count":3)"));
}

TEST(FormatReportPage, HoldsTheJsonAsItIs) {
    EXPECT_EQ(DataOf(FormatReportPage(MakeModel())), FormatReportJson(MakeModel()));
}

TEST(FormatReportPage, LetsNoTextEndAScriptOrBecomeMarkup) {
    ReportModel model = MakeModel();
    std::string const hostile = "</script><!--<b>\"&\x01\xff";
    model.subject = hostile;
    model.verdict = hostile;
    model.parts = {{hostile, {hostile}}};
    model.facts = {{hostile, hostile}};
    std::string const page = FormatReportPage(model);
    EXPECT_THAT(page, Not(HasSubstr("<b>\"&")));
    EXPECT_THAT(page, Not(HasSubstr("<!--<b>")));
    std::string const json = DataOf(page);
    EXPECT_EQ(json, FormatReportJson(model));
    EXPECT_THAT(json, Not(HasSubstr("<")));
    // Control characters escaped, what is no UTF-8 replaced.
    EXPECT_THAT(json, HasSubstr("\\u003c/script>\\u003c!--\\u003cb>\\\"&\\u0001\xEF\xBF\xBD"));
}

TEST(FormatReportPage, WithoutScriptsStillTellsTheVerdictAndTheSentences) {
    std::string const page = FormatReportPage(MakeModel());
    std::string const plain =
        page.substr(page.find("<noscript>"), page.find("</noscript>") - page.find("<noscript>"));
    EXPECT_THAT(plain, HasSubstr("<b>It went</b>"));
    EXPECT_THAT(plain, HasSubstr("<p>First.</p><p>Second.</p>"));
}

TEST(FormatReportPage, CarriesTheLicenceOfTheCharts) {
    EXPECT_THAT(FormatReportPage(MakeModel()),
                HasSubstr("The MIT License (MIT)\n\nCopyright (c) 2022 Leon Sorokin"));
}

TEST(FormatReportPage, AllowsNothingButItsOwnScriptAndStyle) {
    std::string const page = FormatReportPage(MakeModel());
    EXPECT_THAT(page, HasSubstr("default-src 'none'; script-src 'sha256-"));
    EXPECT_THAT(page, HasSubstr("; style-src 'sha256-"));
    EXPECT_THAT(page, Not(HasSubstr("unsafe")));
}

TEST(Base64, IsPaddedToWholeGroups) {
    EXPECT_EQ(Base64(""), "");
    EXPECT_EQ(Base64("f"), "Zg==");
    EXPECT_EQ(Base64("foob"), "Zm9vYg==");
    EXPECT_EQ(Base64("foobar"), "Zm9vYmFy");
}

} // namespace AudioHost
