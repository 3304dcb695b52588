#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "model/comparison/runner.h"
#include "model/steps/choices.h"
#include "model/steps/generator.h"
#include "model/steps/shrinker.h"

namespace ModelTest {

/// Longest random scenario. Short enough to start afresh often, long enough to come round the ring.
constexpr std::size_t MaxScenarioSteps = 600;

/// The random scenario of a number: the same for ever, as long as the generator stays.
inline Scenario RandomScenario(std::uint64_t seed, std::uint64_t number) {
    constexpr std::uint64_t SeedFactor = 1'000'003;
    RandomChoices choices(seed * SeedFactor + number);
    std::size_t const steps = choices.Below(MaxScenarioSteps) + 1;
    return Generate(choices, steps);
}

/// A difference between module and model, as small as it could be made.
struct Found {
    std::uint64_t number = 0;
    Scenario scenario;
    Outcome outcome;

    std::string Text() const {
        return "scenario " + std::to_string(number) + ", step " + std::to_string(outcome.step + 1) + ": " +
               outcome.difference + "\nAs an entry for the table of regressions_test.cpp:\n" +
               ToText(scenario);
    }
};

/// How much was run.
struct Effort {
    std::uint64_t scenarios = 0;
    std::uint64_t steps = 0;
};

/// Runs random scenarios until one makes a difference, or `maxSteps` steps are done.
inline std::optional<Found> Search(std::uint64_t seed, std::uint64_t maxSteps, Rules const& rules = {},
                                   Effort* effort = nullptr) {
    Effort own;
    Effort& done = effort == nullptr ? own : *effort;
    for (; done.steps < maxSteps; ++done.scenarios) {
        Scenario scenario = RandomScenario(seed, done.scenarios);
        Outcome const outcome = RunInStep(scenario, rules);
        done.steps += scenario.size();
        if (!outcome.isAlike) {
            Found found;
            found.number = done.scenarios;
            found.scenario = Shrink(std::move(scenario), [&rules](Scenario const& candidate) {
                return !RunInStep(candidate, rules).isAlike;
            });
            found.outcome = RunInStep(found.scenario, rules);
            return found;
        }
    }
    return std::nullopt;
}

} // namespace ModelTest
