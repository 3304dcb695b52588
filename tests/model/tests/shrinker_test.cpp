#include "model/steps/shrinker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

namespace ModelTest {
namespace {

template <class Kind>
bool IsA(Step const& step) {
    return step.Is<Kind>();
}

template <class Kind>
std::size_t Count(Scenario const& scenario) {
    return static_cast<std::size_t>(std::count_if(scenario.begin(), scenario.end(), IsA<Kind>));
}

std::int64_t NanoSecOf(Step const& step) {
    auto const* const advance = std::get_if<Advance>(&step.action);
    return advance == nullptr ? 0 : advance->nanoSec;
}

Scenario ManySteps() {
    Scenario scenario;
    for (int i = 0; i < 200; ++i) {
        scenario.push_back(i % 7 == 0 ? Step(Lose{}) : Render{}.With(&Render::bytes, 4321 + i));
        scenario.push_back(Advance{5'000'001});
    }
    return scenario;
}

TEST(Shrinker_Shrink, LeavesTheTwoStepsThatMatter) {
    // A loss and, anywhere behind it, a frame.
    auto const fails = [](Scenario const& scenario) {
        auto const lost = std::find_if(scenario.begin(), scenario.end(), IsA<Lose>);
        return std::any_of(lost, scenario.end(), IsA<Render>);
    };
    Scenario const small = Shrink(ManySteps(), fails);
    EXPECT_EQ(ToText(small), ToText({Lose{}, Render{}}));
}

TEST(Shrinker_Shrink, JoinsAdvancesWhoseSumMatters) {
    // 1 s of 5.000001 ms steps: 200 of them together.
    auto const fails = [](Scenario const& scenario) {
        return std::accumulate(scenario.begin(), scenario.end(), std::int64_t{0},
                               [](std::int64_t sum, Step const& step) { return sum + NanoSecOf(step); }) >=
               1'000'000'000;
    };
    Scenario const small = Shrink(ManySteps(), fails);
    EXPECT_EQ(ToText(small), ToText({Advance{1'000'000'000}}));
}

TEST(Shrinker_Shrink, SimplifiesNumbersAndLeavesOutFaults) {
    auto const fails = [](Scenario const& scenario) {
        return !scenario.empty() && std::get<Render>(scenario.front().action).bytes > 2000;
    };
    Scenario const scenario = {Step(Render{}.With(&Render::bytes, 54'321).With(&Render::aheadNanoSec, -3))
                                   .Failing(Call_t::BufferLock, 1, Failure)
                                   .Failing(Call_t::BufferStop, 1, Failure)};
    // Rounded down to thousands; anything rounder is not above 2000, and the default, 1920, is not either.
    EXPECT_EQ(ToText(Shrink(scenario, fails)), ToText({Render{}.With(&Render::bytes, 54'000)}));
}

TEST(Shrinker_Shrink, LeavesOutPairsThatOnlyGoTogether) {
    // As many losses as clients, and a frame.
    auto const fails = [](Scenario const& scenario) {
        return Count<Lose>(scenario) == Count<Client>(scenario) && Count<Render>(scenario) == 1;
    };
    Scenario const scenario = {Lose{}, Render{}, Client{}, Client{}, Lose{}};
    EXPECT_EQ(ToText(Shrink(scenario, fails)), ToText({Render{}}));
}

TEST(Shrinker_Shrink, EndsWithAFailingScenarioWhenTheRunsAreUsedUp) {
    std::size_t runs = 0;
    auto const fails = [&runs](Scenario const& scenario) {
        ++runs;
        return Count<Lose>(scenario) != 0;
    };
    constexpr std::size_t MaxRuns = 3;
    Scenario const small = Shrink(ManySteps(), fails, MaxRuns);
    EXPECT_EQ(runs, MaxRuns);
    EXPECT_NE(Count<Lose>(small), 0U);
}

} // namespace
} // namespace ModelTest
