#include "simulation/win32/fatal.h"

#include <cstdio>
#include <cstdlib>

namespace Simulation {

void Fatal(std::string const& text) {
    std::fprintf(stderr, "Simulation: %s\n", text.c_str());
    std::fflush(stderr);
    std::abort();
}

} // namespace Simulation
