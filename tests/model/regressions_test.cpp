// Scenarios worth keeping: each once told the module from a model, or stands where one rule meets another.

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "model/runner.h"

namespace ModelTest {
namespace {

struct Regression {
    char const* name;
    Scenario scenario;

    friend std::ostream& operator<<(std::ostream& out, Regression const& regression) {
        return out << regression.name;
    }
};

class Model_Regression : public ::testing::TestWithParam<Regression> {};

TEST_P(Model_Regression, ModuleAndModelDoTheSameInEveryStep) {
    Outcome const outcome = RunInStep(GetParam().scenario);
    EXPECT_TRUE(outcome.isAlike) << "step " << outcome.step + 1 << ": " << outcome.difference;
}

constexpr std::int64_t MilliSec = 1'000'000;

// A failing random run prints its scenario in this form: give it a name and leave it here.
Regression const Regressions[] = {
    {"NothingAtAll", {}},
    {"CursorReachesTheClearingThresholdExactly",
     {
         Step(Action::Render).With(Number::Ahead, 0),
         // 14999 samples are played, then 15000.
         Step(Action::Advance).With(Number::Amount, 312'499'999),
         Step(Action::Render).With(Number::Timestamp, 7'000'312'000'000),
         Step(Action::Advance).With(Number::Amount, 1),
         Step(Action::Render).With(Number::Timestamp, 7'000'312'000'000),
     }},
    {"EmptyFrameWhileTheBufferIsLost",
     {
         Step(Action::Render),
         Step(Action::Lose),
         Step(Action::Render).With(Number::Bytes, 0),
         Step(Action::Render).With(Number::Bytes, -1),
         Step(Action::Render).With(Number::Bytes, 1),
     }},
    {"RebuildThatFailsAndTheNextFrameTriesAgain",
     {
         Step(Action::Render),
         Step(Action::Render).With(Number::Rate, 8000).Failing(Call::CreateSoundBuffer, 1, OutOfMemory),
         Step(Action::Service),
         Step(Action::Render).With(Number::Rate, 8000).Failing(Call::QueryBuffer8, 1, Failure),
         Step(Action::Render).With(Number::Rate, 8000).Failing(Call::QueryNotify, 1, Failure),
         Step(Action::Render).With(Number::Rate, 0),
         Step(Action::Render),
     }},
    {"PauseOfMoreThanTwentyFourDays",
     {
         Step(Action::Render).With(Number::Ahead, -1),
         // 2^31 ms and some: the pause counts as negative, and nothing is stopped.
         Step(Action::Advance).With(Number::Amount, std::int64_t{25} * 86'400'000 * MilliSec),
         Step(Action::Service),
         Step(Action::Render),
         Step(Action::Advance).With(Number::Amount, 1001 * MilliSec),
         Step(Action::Service),
         Step(Action::Service),
     }},
    {"StereoCursorBeyondTheRing",
     {
         Step(Action::Render).With(Number::Channels, 2),
         // The cursor runs through 960000 bytes, of which the ring knows half.
         Step(Action::Advance).With(Number::Amount, 3'000 * MilliSec),
         Step(Action::Render).With(Number::Timestamp, 7'003'000'000'000).With(Number::Channels, 2),
         Step(Action::Service),
     }},
    {"LevelsThatAreNoNumbers",
     {
         Step(Action::Client).With(Number::Volume, NotANumber).With(Number::Balance, NotANumber),
         Step(Action::Render),
         Step(Action::Client).With(Number::Volume, NotANumber).With(Number::Balance, NotANumber),
         Step(Action::Client).With(Number::Volume, -1000).With(Number::Balance, -1000),
     }},
    {"TimestampsAtBothEnds",
     {
         Step(Action::Render).With(Number::Timestamp, INT64_MIN),
         Step(Action::Render).With(Number::Timestamp, INT64_MAX),
         Step(Action::Render).With(Number::Timestamp, 0).With(Number::Ahead, INT64_MAX),
         Step(Action::Render).With(Number::Timestamp, INT64_MIN).With(Number::Ahead, INT64_MIN),
     }},
    {"JustBelowFiveSecondsAhead",
     {
         // 240003 samples ahead of position 0: the difference wraps at 2^32.
         Step(Action::Render).With(Number::Ahead, 4'999'999'999),
         Step(Action::Advance).With(Number::Amount, 20 * MilliSec),
         Step(Action::Render).With(Number::Ahead, 4'999'999'999),
     }},
    {"SecondRegionOfOneByte",
     {
         Step(Action::LockSplit).With(Number::Amount, 2),
         Step(Action::Render).With(Number::Bytes, 3),
         Step(Action::LockSplit).With(Number::Amount, 1),
         Step(Action::Render).With(Number::Bytes, 2),
     }},
    {"MicrophoneReadAcrossTheRingEnd",
     {
         Step(Action::CaptureStart),
         Step(Action::CaptureAtOnce).With(Number::Amount, 238'080),
         Step(Action::CaptureRead),
         // Two blocks before the end, one behind it: that one is lost to the read, and metered otherwise.
         Step(Action::CaptureAtOnce).With(Number::Amount, 2'880),
         Step(Action::CaptureRead),
         Step(Action::CaptureAtOnce).With(Number::Amount, 238'080),
         Step(Action::CaptureRead),
         Step(Action::CaptureAtOnce).With(Number::Amount, 2'880),
         Step(Action::CaptureMeter),
         Step(Action::CaptureLevel),
     }},
    {"MicrophoneBlockSplitByTheLock",
     {
         Step(Action::CaptureLockSplit).With(Number::Amount, 2'000),
         Step(Action::CaptureStart),
         Step(Action::CaptureAtOnce).With(Number::Amount, 2'880),
         Step(Action::CaptureRead),
         Step(Action::CaptureLevel),
         Step(Action::CaptureAtOnce).With(Number::Amount, 2'880),
         Step(Action::CaptureMeter),
         Step(Action::CaptureLevel),
     }},
};

INSTANTIATE_TEST_SUITE_P(, Model_Regression, ::testing::ValuesIn(Regressions),
                         [](::testing::TestParamInfo<Regression> const& tested) {
                             return std::string(tested.param.name);
                         });

} // namespace
} // namespace ModelTest
