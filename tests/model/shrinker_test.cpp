#include "model/shrinker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

namespace ModelTest {
namespace {

std::size_t Count(Scenario const& scenario, Action action) {
    return static_cast<std::size_t>(std::count_if(
        scenario.begin(), scenario.end(), [action](Step const& step) { return step.action == action; }));
}

Scenario ManySteps() {
    Scenario scenario;
    for (int i = 0; i < 200; ++i) {
        scenario.push_back(Step(i % 7 == 0 ? Action::Lose : Action::Render).With(Number::Bytes, 4321 + i));
        scenario.push_back(Step(Action::Advance).With(Number::Amount, 5'000'001));
    }
    return scenario;
}

TEST(Shrinker_Shrink, LeavesTheTwoStepsThatMatter) {
    // A loss and, anywhere behind it, a frame.
    auto const fails = [](Scenario const& scenario) {
        auto const lost = std::find_if(scenario.begin(), scenario.end(),
                                       [](Step const& step) { return step.action == Action::Lose; });
        return std::any_of(lost, scenario.end(),
                           [](Step const& step) { return step.action == Action::Render; });
    };
    Scenario const small = Shrink(ManySteps(), fails);
    EXPECT_EQ(ToText(small), ToText({Step(Action::Lose), Step(Action::Render)}));
}

TEST(Shrinker_Shrink, JoinsAdvancesWhoseSumMatters) {
    // 1 s of 5.000001 ms steps: 200 of them together.
    auto const fails = [](Scenario const& scenario) {
        return std::accumulate(scenario.begin(), scenario.end(), std::int64_t{0},
                               [](std::int64_t sum, Step const& step) {
                                   return sum + step.Get(Number::Amount);
                               }) >= 1'000'000'000;
    };
    Scenario const small = Shrink(ManySteps(), fails);
    EXPECT_EQ(ToText(small), ToText({Step(Action::Advance).With(Number::Amount, 1'000'000'000)}));
}

TEST(Shrinker_Shrink, SimplifiesNumbersAndLeavesOutFaults) {
    auto const fails = [](Scenario const& scenario) {
        return !scenario.empty() && scenario.front().Get(Number::Bytes) > 2000;
    };
    Scenario const scenario = {Step(Action::Render)
                                   .With(Number::Bytes, 54'321)
                                   .With(Number::Ahead, -3)
                                   .Failing(Call::Lock, 1, Failure)
                                   .Failing(Call::Stop, 1, Failure)};
    // Rounded down to thousands; anything rounder is not above 2000, and the default, 1920, is not either.
    EXPECT_EQ(ToText(Shrink(scenario, fails)), ToText({Step(Action::Render).With(Number::Bytes, 54'000)}));
}

TEST(Shrinker_Shrink, LeavesOutPairsThatOnlyGoTogether) {
    // As many losses as clients, and a frame.
    auto const fails = [](Scenario const& scenario) {
        return Count(scenario, Action::Lose) == Count(scenario, Action::Client) &&
               Count(scenario, Action::Render) == 1;
    };
    Scenario const scenario = {Step(Action::Lose), Step(Action::Render), Step(Action::Client),
                               Step(Action::Client), Step(Action::Lose)};
    EXPECT_EQ(ToText(Shrink(scenario, fails)), ToText({Step(Action::Render)}));
}

TEST(Shrinker_Shrink, EndsWithAFailingScenarioWhenTheRunsAreUsedUp) {
    std::size_t runs = 0;
    auto const fails = [&runs](Scenario const& scenario) {
        ++runs;
        return Count(scenario, Action::Lose) != 0;
    };
    constexpr std::size_t MaxRuns = 3;
    Scenario const small = Shrink(ManySteps(), fails, MaxRuns);
    EXPECT_EQ(runs, MaxRuns);
    EXPECT_NE(Count(small, Action::Lose), 0U);
}

} // namespace
} // namespace ModelTest
