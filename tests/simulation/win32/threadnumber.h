#pragma once

#include <cstdint>

namespace Simulation {

/// A number of the calling thread's own, never given to another one. When the thread ends, the `World`
/// hears of it.
std::uint64_t ThisThreadNumber();

} // namespace Simulation
