#pragma once

#include <cstdint>

namespace TestSupport {

/// What a process has more or less of at one moment than at another by itself: events of locks that were
/// contended once, threads of the system. Fewer than what is lost again and again makes up.
constexpr std::uint32_t PassingResources = 5;

/// Handles open in this process.
std::uint32_t CountHandles();

/// Those of another one: `process` is a handle that allows to duplicate them.
std::uint32_t CountHandlesOf(void* process);

/// Threads of this process.
std::uint32_t CountThreads();

} // namespace TestSupport
