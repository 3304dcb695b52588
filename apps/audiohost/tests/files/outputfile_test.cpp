#include "files/outputfile.h"

#include <gtest/gtest.h>

#include <sstream>

#include "kovra/log.h"
#include "support/testfiles.h"
#include "terminal/hosterror.h"

namespace AudioHost {

TEST(WriteReport, ToAPlaceThatCannotBeWrittenIsAnError) {
    TestFolder const folder;
    std::ostringstream out;
    EXPECT_THROW(WriteReport(folder.PathOf("no folder/a.html"), {"x", {}}, out), HostError);
    EXPECT_EQ(out.str(), "");
}

TEST(LogTo, KeepsANameBeyondTheCodePage) {
    TestFolder const folder;
    std::string const path = folder.PathOf("\xC3\xBCn\xC3\xAF.log");
    LogTo(path);
    Kovra::LogManager::Instance()
        .GetLogger("AudioHost.Test", nullptr, "")
        ->get()
        .Push(Kovra::LogExec(Kovra::LogLevel_t::Info, "here"));
    Kovra::LogManager::Instance().Flush();
    Kovra::LogManager::Instance().SetFile("");
    EXPECT_NE(ReadFile(path).find("here"), std::string::npos);
}

TEST(LogTo, APlaceThatCannotBeWrittenIsAnError) {
    TestFolder const folder;
    EXPECT_THROW(LogTo(folder.PathOf("no folder/a.log")), HostError);
    EXPECT_NO_THROW(LogTo(""));
}

} // namespace AudioHost
