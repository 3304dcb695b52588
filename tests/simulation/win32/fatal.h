#pragma once

#include <string>

namespace Simulation {

/// Ends the program with `text`: for what no test can go on from.
[[noreturn]] void Fatal(std::string const& text);

} // namespace Simulation
