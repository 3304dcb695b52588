#pragma once

#include <cstddef>
#include <functional>

#include "model/steps/step.h"

namespace ModelTest {

/// Says whether a scenario still fails.
using Fails = std::function<bool(Scenario const&)>;

/// Makes a failing scenario small: leaves out steps as long as it goes on failing, then faults, then brings
/// numbers to their defaults or to simpler ones. Ends with a scenario in which no single step can be left
/// out, or after `maxRuns` questions.
Scenario Shrink(Scenario scenario, Fails const& fails, std::size_t maxRuns = 3000);

} // namespace ModelTest
