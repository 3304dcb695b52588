#pragma once

#include <pthread.h>

namespace Schedules {

/// True for the one mutex of the simulated platform. It puts nothing of the module in order: DirectSound's
/// own locks are no business of who calls it.
bool IsPlatformMutex(pthread_mutex_t const* mutex);

/// True when taking `mutex` at `place` is something that others can tell: the module's locks, and the start
/// of a call into the platform. What Boost does to start and end a thread is not.
bool IsPoint(pthread_mutex_t const* mutex, void const* place);

} // namespace Schedules
