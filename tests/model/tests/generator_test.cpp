#include "model/steps/generator.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "model/tests/search.h"

namespace ModelTest {
namespace {

TEST(Generator_Generate, MakesTheSameScenarioOfTheSameNumber) {
    EXPECT_EQ(ToText(RandomScenario(1, 5)), ToText(RandomScenario(1, 5)));
    EXPECT_NE(ToText(RandomScenario(1, 5)), ToText(RandomScenario(1, 6)));
    EXPECT_NE(ToText(RandomScenario(1, 5)), ToText(RandomScenario(2, 5)));
}

TEST(Generator_Generate, MakesNoMoreStepsThanAsked) {
    for (std::size_t const maxSteps : {0U, 1U, 2U, 50U}) {
        RandomChoices choices(7);
        EXPECT_EQ(Generate(choices, maxSteps).size(), maxSteps);
    }
}

TEST(Generator_Generate, EndsWithItsBytes) {
    // Of no bytes at all only the start is made: devices set up, a first frame.
    constexpr std::size_t LongestStart = 12;
    ByteChoices none(nullptr, 0);
    EXPECT_LE(Generate(none, 100).size(), LongestStart);
    std::vector<std::uint8_t> const bytes(64, 1);
    ByteChoices some(bytes.data(), bytes.size());
    Scenario const scenario = Generate(some, 100);
    EXPECT_FALSE(scenario.empty());
    EXPECT_LT(scenario.size(), bytes.size());
}

TEST(Generator_Generate, UsesEveryActionEveryCodingAndFaultsOfEveryCall) {
    std::set<std::size_t> actions;
    std::set<Call_t> faults;
    std::set<std::int64_t> codings;
    for (std::uint64_t number = 0; number < 300; ++number) {
        for (Step const& step : RandomScenario(1, number)) {
            actions.insert(step.action.index());
            if (auto const* const frame = std::get_if<Render>(&step.action)) {
                codings.insert(frame->coding);
            }
            for (Fault const& fault : step.faults) {
                faults.insert(fault.call);
            }
        }
    }
    EXPECT_EQ(actions.size(), std::variant_size_v<Action>);
    // 0x300 to 0x305, and one that there is not.
    EXPECT_EQ(codings.size(), 7U);
    // 14 of playback and 6 of capture: all that the model knows but the events, the references and the
    // unlocks, which do not fail.
    EXPECT_EQ(faults.size(), 20U);
}

TEST(Choices_Below, TakesAsManyBytesAsTheRangeNeeds) {
    std::vector<std::uint8_t> const bytes = {1, 2, 3, 4};
    ByteChoices choices(bytes.data(), bytes.size());
    EXPECT_EQ(choices.Below(1), 0U);
    EXPECT_EQ(choices.Below(256), 1U);
    EXPECT_EQ(choices.Below(257), (2U * 256 + 3) % 257);
    EXPECT_FALSE(choices.IsAtEnd());
    EXPECT_EQ(choices.Below(2), 0U);
    EXPECT_TRUE(choices.IsAtEnd());
    EXPECT_EQ(choices.Below(100), 0U);
}

} // namespace
} // namespace ModelTest
