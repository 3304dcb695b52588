#pragma once

#include <cstddef>

#include "model/steps/choices.h"
#include "model/steps/step.h"

namespace ModelTest {

/// Makes a scenario of at most `maxSteps` steps: a stream of frames that a network has had its way with,
/// played on a device with whims, and a microphone; with thresholds met exactly more often than chance would.
Scenario Generate(Choices& choices, std::size_t maxSteps);

} // namespace ModelTest
