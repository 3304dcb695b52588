#include "model/steps/step.h"

#include <gtest/gtest.h>

namespace ModelTest {
namespace {

TEST(Step_Text, NamesOfAFrameOnlyWhatDiffersFromTheDefaults) {
    EXPECT_EQ(Step(Render{}).Text(), "Render{}");
    Render const frame = Render{}.With(&Render::bytes, 3).With(&Render::timestampNanoSec, INT64_MIN);
    EXPECT_EQ(Step(frame).Failing(Call_t::BufferLock, 2, BufferLost).Text(),
              "Step(Render{}.With(&Render::timestampNanoSec, INT64_MIN).With(&Render::bytes, 3))"
              ".Failing(Call_t::BufferLock, 2, 0x88780096)");
}

TEST(Step_Text, GivesTheNumbersOfTheOthersInOrder) {
    EXPECT_EQ(Step(Service{}).Text(), "Service{}");
    EXPECT_EQ(Step(Advance{5}).Text(), "Advance{5}");
    EXPECT_EQ(Step(Client{NotANumber, 250}).Text(), "Client{INT64_MIN, 250}");
    EXPECT_EQ(Step(CaptureStop{}).Failing(Call_t::CaptureBufferStop, 1, Failure).Text(),
              "Step(CaptureStop{}).Failing(Call_t::CaptureBufferStop, 1, 0x80004005)");
}

TEST(Step_Text, NamesEveryActionNumberAndCall) {
    EXPECT_EQ(Step(CaptureStall{}).Text(), "CaptureStall{0}");
    EXPECT_EQ(Step(CaptureStart{}).Text(), "CaptureStart{}");
    EXPECT_EQ(Step(Render{}.With(&Render::transcodedBytes, 0)).Text(),
              "Render{}.With(&Render::transcodedBytes, 0)");
    EXPECT_EQ(Step(Lose{}).Failing(Call_t::CaptureBufferGetFXStatus, 1, Failure).Text(),
              "Step(Lose{}).Failing(Call_t::CaptureBufferGetFXStatus, 1, 0x80004005)");
}

TEST(Step_Numbers, AreThoseOfTheActionInOrder) {
    Action action = CaptureCursorStep{480, 96};
    *NumbersOf(action).at(1) += 4;
    EXPECT_EQ(Step(action).Text(), "CaptureCursorStep{480, 100}");
    EXPECT_EQ(Step(DefaultOf(action)).Text(), "CaptureCursorStep{0, 0}");
}

TEST(Scenario_Text, IsAListOfSteps) {
    EXPECT_EQ(ToText({Lose{}, Service{}}), "{\n    Lose{},\n    Service{},\n}");
}

} // namespace
} // namespace ModelTest
