#include "live/streamconnection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace AudioHost {

using testing::HasSubstr;

// What the library hands through of Windows.
TEST(ReasonOf, HasASentenceForTheNumbersOfWindowsSockets) {
    EXPECT_THAT(ReasonOf(-10048, false), HasSubstr("another program has its port"));
    EXPECT_THAT(ReasonOf(-10051, false), HasSubstr("no way to it"));
    EXPECT_THAT(ReasonOf(-10054, false), HasSubstr("breaks off the connection"));
    EXPECT_THAT(ReasonOf(-10061, false), HasSubstr("nothing listens there"));
    EXPECT_THAT(ReasonOf(-10065, false), HasSubstr("no way to it"));
}

TEST(ReasonOf, OfADescriptionDoesNotTellATakenPortFromDamage) {
    EXPECT_EQ(ReasonOf(AVERROR_INVALIDDATA, false), "sends nothing that can be understood");
    EXPECT_EQ(ReasonOf(AVERROR_INVALIDDATA, true),
              "cannot be received: another program has its port, or it is no description");
}

} // namespace AudioHost
