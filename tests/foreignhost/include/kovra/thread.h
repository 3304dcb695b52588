#pragma once

#include "harbour/export.h"
#if defined(HARBOUR_FOR_SIMULATION)
#include "harbour/simulated.h"
#endif

namespace Kovra {

enum class ThreadPriority_t : char { TimeCritical = 't', Ordinary = 'n' };

HARBOUR_API void SetThreadPriority(ThreadPriority_t const& priority) noexcept;
HARBOUR_API void SetThreadName(char const* name) noexcept;

} // namespace Kovra
