#pragma once

#include <gtest/gtest.h>

#include <string>

#include "simulation/world.h"

namespace Simulation {

/// A `World` (see there) whose complaints fail the running test.
class TestWorld : public World {
public:
    TestWorld() : World([](std::string const& complaint) { ADD_FAILURE() << complaint; }) {}
};

} // namespace Simulation
