#pragma once

#include <cstdint>

namespace ContractTest {

/// Handles open in this process.
std::uint32_t CountHandles();

/// Threads of this process.
std::uint32_t CountThreads();

} // namespace ContractTest
