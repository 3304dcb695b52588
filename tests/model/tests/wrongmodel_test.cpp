// What the random runs are worth: a model with one wrong rule must be told from the module, and the scenario
// that tells them apart must come out small.

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "model/tests/search.h"

namespace ModelTest {
namespace {

/// Steps that are few enough to read: for a rule that shows at once, and for one that takes a history. A
/// shrinker that did nothing would leave some hundreds.
constexpr std::size_t Few = 8;
constexpr std::size_t Some = 20;

struct WrongRule {
    char const* name;
    void (*falsify)(Rules& rules);
    std::size_t maxSteps;

    friend std::ostream& operator<<(std::ostream& out, WrongRule const& rule) { return out << rule.name; }
};

class Model_Wrong : public ::testing::TestWithParam<WrongRule> {};

TEST_P(Model_Wrong, RuleIsFoundAndItsScenarioIsSmall) {
    constexpr std::uint64_t SearchSteps = 150'000;
    Rules rules;
    GetParam().falsify(rules);
    auto const found = Search(1, SearchSteps, rules);
    ASSERT_TRUE(found.has_value());
    EXPECT_LE(found->scenario.size(), GetParam().maxSteps) << found->Text();
    EXPECT_FALSE(found->outcome.isAlike);
    EXPECT_TRUE(RunInStep(found->scenario).isAlike) << "the right model finds fault with it too";
    RecordProperty("steps", std::to_string(found->scenario.size()));
    RecordProperty("scenario", std::to_string(found->number));
}

WrongRule const WrongRules[] = {
    // One frame, and another one where it matters.
    {"PositionsOdd", [](Rules& rules) { rules.hasEvenPositions = false; }, Few},
    {"SmallGapNine", [](Rules& rules) { rules.smallGapSamples = 9; }, Few},
    {"SmallGapTwelve", [](Rules& rules) { rules.smallGapSamples = 12; }, Few},
    {"LossFromHalfARingAndOneMore", [](Rules& rules) { rules.lossLimitSamples = 120001; }, Few},
    {"LossFromTwoLessThanHalfARing", [](Rules& rules) { rules.lossLimitSamples = 119998; }, Few},
    {"LossZeroed", [](Rules& rules) { rules.isLossZeroed = true; }, Few},
    {"SamplePeriod", [](Rules& rules) { rules.samplePeriodNanoSec = 20834; }, Few},
    {"RingTimeSpan", [](Rules& rules) { rules.ringTimeSpanNanoSec = 4'999'999'999; }, Few},
    {"EarlierFrameLeavesTheRing", [](Rules& rules) { rules.isRingClearedForEarlierFrame = false; }, Few},
    {"LostBufferStaysLost", [](Rules& rules) { rules.isLostBufferRestored = false; }, Few},
    {"LastSampleFromFirstRegion", [](Rules& rules) { rules.isLastSampleFromSecondRegion = false; }, Few},
    {"SoundBufferFlags", [](Rules& rules) { rules.soundBufferFlags = 0x80E8; }, Few},
    {"NotPresentedAfterFailedWrite", [](Rules& rules) { rules.isPresentedAfterFailedWrite = false; }, Few},
    {"NowIsThePast", [](Rules& rules) { rules.pastLimitNanoSec = 0; }, Few},
    {"JustNowIsNotThePast", [](Rules& rules) { rules.pastLimitNanoSec = -2; }, Few},
    {"VolumeNotRestored", [](Rules& rules) { rules.isVolumeRestoredAtStart = false; }, Few},
    // A frame that plays, time, and another frame.
    {"ClearingThreshold", [](Rules& rules) { rules.clearingThresholdSamples = 14999; }, Some},
    {"ClearingGranule", [](Rules& rules) { rules.clearingGranuleSamples = 64; }, Few},
    {"LagLimitOneLess", [](Rules& rules) { rules.lagLimitSamples = 14999; }, Few},
    {"LagLimitOneMore", [](Rules& rules) { rules.lagLimitSamples = 15001; }, Few},
    {"ResetRestartsWindow", [](Rules& rules) { rules.isWindowRestartedByReset = true; }, Some},
    {"VerdictWithCurrentLag", [](Rules& rules) { rules.isVerdictWithCurrentLag = true; }, Some},
    {"SlowFrequency", [](Rules& rules) { rules.slowFrequencyHz = 47961; }, Some},
    {"FastFrequency", [](Rules& rules) { rules.fastFrequencyHz = 48041; }, Some},
    {"LowerRatio", [](Rules& rules) { rules.lowerRatio = 0.975; }, Some},
    {"UpperRatio", [](Rules& rules) { rules.upperRatio = 1.025; }, Some},
    {"WindowOneMilliSecLonger", [](Rules& rules) { rules.windowMilliSec = 1025; }, Some},
    {"WindowOneMilliSecShorter", [](Rules& rules) { rules.windowMilliSec = 1023; }, Some},
    // A frame, a pause, a service pass or two.
    {"IdleGraceShorter", [](Rules& rules) { rules.idleGraceMilliSec = 499; }, Few},
    {"IdleGraceLonger", [](Rules& rules) { rules.idleGraceMilliSec = 501; }, Few},
    {"IdleLimitShorter", [](Rules& rules) { rules.idleLimitMilliSec = 999; }, Few},
    {"IdleLimitLonger", [](Rules& rules) { rules.idleLimitMilliSec = 1001; }, Few},
    {"NewFrameDoesNotPreventIdleStop", [](Rules& rules) { rules.doesNewFramePreventIdleStop = false; }, Few},
    // The client, then a frame.
    {"VolumeExponent", [](Rules& rules) { rules.volumeExponent = 0.34F; }, Few},
    {"PanSpan", [](Rules& rules) { rules.panSpan = 19999.0; }, Few},
    // Capture from the start on.
    {"BlockOfFewerSamples", [](Rules& rules) { rules.blockSamples = 959; }, Few},
    {"ReadAcrossTheRingEnd", [](Rules& rules) { rules.isReadCutAtRingEnd = false; }, Some},
    {"MeteringCutAtTheRingEnd", [](Rules& rules) { rules.isMeteringCutAtRingEnd = true; }, Some},
    {"SplitBlockMeteredOnce", [](Rules& rules) { rules.isSplitBlockMeteredTwice = false; }, Some},
    {"BlockDuration", [](Rules& rules) { rules.blockNanoSec = 19'999'999; }, Few},
    {"RestartReadsFromTheStart", [](Rules& rules) { rules.isReadPositionKeptAtRestart = false; }, Few},
    {"LevelExponent", [](Rules& rules) { rules.levelExponent = 0.65F; }, Few},
};

INSTANTIATE_TEST_SUITE_P(, Model_Wrong, ::testing::ValuesIn(WrongRules),
                         [](::testing::TestParamInfo<WrongRule> const& tested) {
                             return std::string(tested.param.name);
                         });

} // namespace
} // namespace ModelTest
