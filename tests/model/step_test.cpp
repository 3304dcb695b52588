#include "model/step.h"

#include <gtest/gtest.h>

namespace ModelTest {
namespace {

TEST(Step_Text, NamesOnlyWhatDiffersFromTheDefaults) {
    EXPECT_EQ(Step(Action::Render).Text(), "Step(Action::Render)");
    EXPECT_EQ(Step(Action::Render)
                  .With(Number::Bytes, 3)
                  .With(Number::Timestamp, INT64_MIN)
                  .Failing(Call::Lock, 2, BufferLost)
                  .Text(),
              "Step(Action::Render).With(Number::Timestamp, INT64_MIN).With(Number::Bytes, 3)"
              ".Failing(Call::Lock, 2, 0x88780096)");
}

TEST(Step_Text, NamesEveryActionNumberAndCall) {
    EXPECT_STREQ(ToString(static_cast<Action>(ActionCount - 1)), "CaptureStall");
    EXPECT_STREQ(ToString(Action::CaptureStart), "CaptureStart");
    EXPECT_STREQ(ToString(static_cast<Number>(NumberCount - 1)), "Phase");
    EXPECT_STREQ(ToString(Number::Volume), "Volume");
    EXPECT_STREQ(ToString(static_cast<Call>(CallCount - 1)), "CaptureStop");
    EXPECT_STREQ(ToString(Call::Restore), "Restore");
}

TEST(Scenario_Text, IsAListOfSteps) {
    EXPECT_EQ(ToText({Step(Action::Lose), Step(Action::Service)}),
              "{\n    Step(Action::Lose),\n    Step(Action::Service),\n}");
}

} // namespace
} // namespace ModelTest
