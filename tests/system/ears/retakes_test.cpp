#include "ears/retakes.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace SystemTest {
namespace {

TEST(Retakes_Begin, WantsOneTakeWhenItSettlesEveryPart) {
    Retakes retakes(2);
    ASSERT_TRUE(retakes.Begin());
    retakes.Settle(0);
    retakes.Settle(1);

    EXPECT_FALSE(retakes.Begin());
    EXPECT_EQ(retakes.CountOpen(), 0U);
    EXPECT_EQ(retakes.CountTakes(), 1);
}

TEST(Retakes_Begin, WantsAnotherTakeForThePartThatWasDisturbed) {
    Retakes retakes(2);
    ASSERT_TRUE(retakes.Begin());
    retakes.Settle(1);
    ASSERT_TRUE(retakes.Begin());
    EXPECT_FALSE(retakes.IsSettled(0));
    EXPECT_TRUE(retakes.IsSettled(1));
    retakes.Settle(0);

    EXPECT_FALSE(retakes.Begin());
    EXPECT_EQ(retakes.CountTakes(), 2);
}

TEST(Retakes_Begin, EndsAtTheLimitWithWhatIsLeftOpen) {
    Retakes retakes(3);
    for (int take = 0; take < Retakes::MaxTakes; ++take) {
        ASSERT_TRUE(retakes.Begin());
        retakes.Settle(1);
    }

    EXPECT_FALSE(retakes.Begin());
    EXPECT_EQ(retakes.CountOpen(), 2U);
}

TEST(Retakes_Conclude, SaysNothingOfATestThatIsTold) {
    Retakes retakes(1);
    ASSERT_TRUE(retakes.Begin());
    retakes.Settle(0);

    EXPECT_TRUE(retakes.Conclude());
    EXPECT_FALSE(testing::Test::IsSkipped());
}

TEST(Retakes_Conclude, SkipsATestThatThisMachineCannotTell) {
    Retakes retakes(3);
    while (retakes.Begin()) {
        retakes.Settle(1);
    }

    testing::TestPartResultArray results;
    {
        testing::ScopedFakeTestPartResultReporter const reporter(&results);
        EXPECT_FALSE(retakes.Conclude());
    }
    ASSERT_EQ(results.size(), 1);
    EXPECT_TRUE(results.GetTestPartResult(0).skipped());
    EXPECT_THAT(results.GetTestPartResult(0).message(),
                testing::HasSubstr("this machine cannot tell: in each of 6 takes it disturbed 2 of 3 parts"));
}

} // namespace
} // namespace SystemTest
