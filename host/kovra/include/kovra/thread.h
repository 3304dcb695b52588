#pragma once

#include <cstddef>

#include "kovra/export.h"

namespace Kovra {

/// Scheduling classes, lowest first.
enum class ThreadPriority_t : int {
    Idle = 0,
    Lowest = 1,
    BelowNormal = 2,
    Normal = 3,
    AboveNormal = 4,
    Highest = 5,
    TimeCritical = 6,
};

/// Asks the system to schedule the calling thread in class `priority`. A refusal (a user without the right,
/// say) is not an error: the thread keeps the class that it has.
KOVRA_API void SetThreadPriority(ThreadPriority_t priority);

/// The class last asked for by the calling thread; `Normal` before that.
KOVRA_API ThreadPriority_t GetThreadPriority();

/// What is kept of a thread's name, without the terminator.
constexpr std::size_t MaxThreadNameBytes = 127;

/// Names the calling thread for debuggers and logs. `name` (UTF-8) is copied, up to `MaxThreadNameBytes`;
/// null counts as empty.
KOVRA_API void SetThreadName(char const* name);

/// The calling thread's name as given, empty before that. Valid until the thread names itself again or
/// ends.
KOVRA_API char const* GetThreadName();

} // namespace Kovra
