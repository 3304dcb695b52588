#pragma once

#include <pthread.h>

namespace Schedules {

// The system's own functions, behind those that threadcalls.cpp puts in their places.

int RealCreate(pthread_t* thread, pthread_attr_t const* attributes, void* (*start)(void*), void* argument);
int RealJoin(pthread_t thread, void** result);

} // namespace Schedules
