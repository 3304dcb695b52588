#include "files/outputfile.h"

#include <gtest/gtest.h>

#include <sstream>

#include "support/testfiles.h"
#include "terminal/hosterror.h"

namespace AudioHost {

TEST(WriteReport, ToAPlaceThatCannotBeWrittenIsAnError) {
    TestFolder const folder;
    std::ostringstream out;
    EXPECT_THROW(WriteReport(folder.PathOf("no folder/a.html"), {"x", {}}, out), HostError);
    EXPECT_EQ(out.str(), "");
}

TEST(LogTo, APlaceThatCannotBeWrittenIsAnError) {
    TestFolder const folder;
    EXPECT_THROW(LogTo(folder.PathOf("no folder/a.log")), HostError);
    EXPECT_NO_THROW(LogTo(""));
}

} // namespace AudioHost
