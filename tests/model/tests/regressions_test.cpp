// Scenarios worth keeping: each once told the module from a model, or stands where one rule meets another.

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "model/comparison/runner.h"
#include "support/facts.h"

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

using Facts::NanoSecPerMilliSec;

// A failing random run prints its scenario in this form: give it a name and leave it here.
Regression const Regressions[] = {
    {"NothingAtAll", {}},
    {"CursorReachesTheClearingThresholdExactly",
     {
         Render{}.With(&Render::aheadNanoSec, 0),
         // 14999 samples are played, then 15000.
         Advance{312'499'999},
         Render{}.With(&Render::timestampNanoSec, 7'000'312'000'000),
         Advance{1},
         Render{}.With(&Render::timestampNanoSec, 7'000'312'000'000),
     }},
    {"EmptyFrameWhileTheBufferIsLost",
     {
         Render{},
         Lose{},
         Render{}.With(&Render::bytes, 0),
         Render{}.With(&Render::bytes, -1),
         Render{}.With(&Render::bytes, 1),
     }},
    {"RebuildThatFailsAndTheNextFrameTriesAgain",
     {
         Render{},
         Step(Render{}.With(&Render::rate, 8000)).Failing(Call_t::SoundCreateSoundBuffer, 1, OutOfMemory),
         Service{},
         Step(Render{}.With(&Render::rate, 8000)).Failing(Call_t::BufferQueryBuffer8, 1, Failure),
         Step(Render{}.With(&Render::rate, 8000)).Failing(Call_t::BufferQueryNotify, 1, Failure),
         Render{}.With(&Render::rate, 0),
         Render{},
     }},
    {"PauseOfMoreThanTwentyFourDays",
     {
         Render{}.With(&Render::aheadNanoSec, -1),
         // 2^31 ms and some: the pause counts as negative, and nothing is stopped.
         Advance{std::int64_t{25} * 86'400'000 * NanoSecPerMilliSec},
         Service{},
         Render{},
         Advance{1001 * NanoSecPerMilliSec},
         Service{},
         Service{},
     }},
    {"StereoCursorBeyondTheRing",
     {
         Render{}.With(&Render::channels, 2),
         // The cursor runs through 960000 bytes, of which the ring knows half.
         Advance{3'000 * NanoSecPerMilliSec},
         Render{}.With(&Render::timestampNanoSec, 7'003'000'000'000).With(&Render::channels, 2),
         Service{},
     }},
    {"LevelsThatAreNoNumbers",
     {
         Client{NotANumber, NotANumber},
         Render{},
         Client{NotANumber, NotANumber},
         Client{-1000, -1000},
     }},
    {"TimestampsAtBothEnds",
     {
         Render{}.With(&Render::timestampNanoSec, INT64_MIN),
         Render{}.With(&Render::timestampNanoSec, INT64_MAX),
         Render{}.With(&Render::timestampNanoSec, 0).With(&Render::aheadNanoSec, INT64_MAX),
         Render{}.With(&Render::timestampNanoSec, INT64_MIN).With(&Render::aheadNanoSec, INT64_MIN),
     }},
    {"JustBelowFiveSecondsAhead",
     {
         // 240003 samples ahead of position 0: the difference wraps at 2^32.
         Render{}.With(&Render::aheadNanoSec, 4'999'999'999),
         Advance{20 * NanoSecPerMilliSec},
         Render{}.With(&Render::aheadNanoSec, 4'999'999'999),
     }},
    {"SecondRegionOfOneByte",
     {
         LockSplit{2},
         Render{}.With(&Render::bytes, 3),
         LockSplit{1},
         Render{}.With(&Render::bytes, 2),
     }},
    {"MicrophoneReadAcrossTheRingEnd",
     {
         CaptureStart{},
         CaptureAtOnce{238'080},
         CaptureRead{},
         // Two blocks before the end, one behind it: that one is lost to the read, and metered otherwise.
         CaptureAtOnce{2'880},
         CaptureRead{},
         CaptureAtOnce{238'080},
         CaptureRead{},
         CaptureAtOnce{2'880},
         CaptureMeter{},
         CaptureLevel{},
     }},
    {"MicrophoneBlockSplitByTheLock",
     {
         CaptureLockSplit{2'000},
         CaptureStart{},
         CaptureAtOnce{2'880},
         CaptureRead{},
         CaptureLevel{},
         CaptureAtOnce{2'880},
         CaptureMeter{},
         CaptureLevel{},
     }},
};

INSTANTIATE_TEST_SUITE_P(, Model_Regression, ::testing::ValuesIn(Regressions),
                         [](::testing::TestParamInfo<Regression> const& tested) {
                             return std::string(tested.param.name);
                         });

} // namespace
} // namespace ModelTest
