#pragma once

#include <cstddef>
#include <string>

#include "model/rules.h"
#include "model/steps/step.h"

namespace ModelTest {

/// What became of a scenario.
struct Outcome {
    bool isAlike = true;
    /// The first step after which module and model differed (the scenario's length: at its end), and in what.
    std::size_t step = 0;
    std::string difference;
};

/// Runs `scenario` on the module, on a simulated machine of its own, and on the model with `rules`, and
/// compares them after every step: results, presentation time, the calls of the platform and the codec, every
/// field of the records, the ring where it was written; the whole ring and the log records now and then and
/// at the end. Stops at the first difference. A complaint of the simulation is one too.
///
/// **Threads:** one at a time. No other thread runs.
Outcome RunInStep(Scenario const& scenario, Rules const& rules = {});

} // namespace ModelTest
