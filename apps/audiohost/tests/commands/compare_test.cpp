#include "commands/compare.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "report/playbackreport.h"
#include "support/testerror.h"
#include "support/testfiles.h"
#include "support/testplaybacklog.h"

namespace AudioHost {

TEST(Compare, ReadsBothReports) {
    TestFolder const folder;
    std::string const report = folder.Write("a.html", FormatReport(MakeLog()).html);
    std::ostringstream out;
    EXPECT_EQ(Compare({report, report}, out), ExitCode_t::Ok);
    EXPECT_THAT(out.str(), testing::HasSubstr("Before: voice.wav, 2026-01-02 03:04:05 UTC: Played in time"));
}

TEST(Compare, WithAReportThatIsNotThereSaysWhich) {
    TestFolder const folder;
    std::ostringstream out;
    std::string sentence;
    EXPECT_EQ(CodeOf(
                  [&] {
                      Compare({folder.PathOf("none.html"), ""}, out);
                  },
                  &sentence),
              ExitCode_t::FileMissing);
    EXPECT_THAT(sentence, testing::HasSubstr("none.html"));
}

} // namespace AudioHost
