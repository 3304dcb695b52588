// The system's thread functions, in the places of its own for the whole program and the libraries that it
// loads: managed threads are scheduled, all others get the system's.

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <map>
#include <memory>
#include <type_traits>

#include "platformcalls.h"
#include "realcalls.h"
#include "scheduler.h"

namespace {

using Schedules::Scheduler;
using Schedules::ThreadId;

template <class Function>
Function* FindReal(char const* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

#define REAL(name)                                                 \
    (*[] {                                                         \
        static auto* const real = FindReal<decltype(name)>(#name); \
        return real;                                               \
    }())

bool IsRecursive(pthread_mutex_t const* mutex) {
    return mutex->__data.__kind == PTHREAD_MUTEX_RECURSIVE_NP;
}

/// The managed number of each thread that may be joined. Touched by the managed thread that runs alone.
std::map<pthread_t, ThreadId>& Joinable() {
    static auto* const joinable = new std::map<pthread_t, ThreadId>;
    return *joinable;
}

struct Start {
    void* (*routine)(void*);
    void* argument;
    ThreadId thread;
    Scheduler::Turn& turn;
};

/// A thread's own data is destroyed after its start routine, in several rounds; until the last but one it is
/// managed.
constexpr std::uintptr_t RoundsOfDestruction = 3;

pthread_key_t EndKey();

void EndRound(void* rounds) {
    auto const left = reinterpret_cast<std::uintptr_t>(rounds) - 1;
    if (left == 0) {
        Scheduler::Get().EndThread();
    } else {
        pthread_setspecific(EndKey(), reinterpret_cast<void*>(left));
    }
}

pthread_key_t EndKey() {
    static pthread_key_t const key = [] {
        pthread_key_t made = 0;
        pthread_key_create(&made, EndRound);
        return made;
    }();
    return key;
}

void* RunManaged(void* start) {
    std::unique_ptr<Start> const mine(static_cast<Start*>(start));
    Scheduler::BeginThread(mine->thread, mine->turn);
    pthread_setspecific(EndKey(), reinterpret_cast<void*>(RoundsOfDestruction));
    return mine->routine(mine->argument);
}

int WaitManaged(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    Scheduler::Get().Wait(condition, mutex, !Schedules::IsPlatformMutex(mutex));
    return 0;
}

} // namespace

extern "C" {

// A sanitizer's, where there is one.
[[gnu::weak]] int __interceptor_pthread_create(pthread_t*, pthread_attr_t const*, void* (*)(void*), void*);
[[gnu::weak]] int __interceptor_pthread_join(pthread_t, void**);

int pthread_create(pthread_t* thread, pthread_attr_t const* attributes, void* (*start)(void*),
                   void* argument) {
    if (!Scheduler::IsManaged()) {
        return Schedules::RealCreate(thread, attributes, start, argument);
    }
    ThreadId const added = Scheduler::Get().AddThread();
    auto managed = std::make_unique<Start>(Start{start, argument, added, Scheduler::Get().TurnOf(added)});
    int const result = Schedules::RealCreate(thread, attributes, RunManaged, managed.get());
    if (result == 0) {
        static_cast<void>(managed.release());
        Joinable()[*thread] = added;
    }
    return result;
}

int pthread_join(pthread_t thread, void** result) {
    if (Scheduler::IsManaged()) {
        auto const found = Joinable().find(thread);
        if (found != Joinable().end()) {
            Scheduler::Get().Join(found->second);
            Joinable().erase(thread);
        }
    }
    return Schedules::RealJoin(thread, result);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) {
    if (!Scheduler::IsManaged()) {
        return REAL(pthread_mutex_lock)(mutex);
    }
    bool const isPlatforms = Schedules::IsPlatformMutex(mutex);
    if (Schedules::IsPoint(mutex, __builtin_return_address(0))) {
        Scheduler::Get().Point();
    }
    Scheduler::Get().Lock(mutex, IsRecursive(mutex), !isPlatforms);
    return 0;
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) {
    if (!Scheduler::IsManaged()) {
        return REAL(pthread_mutex_trylock)(mutex);
    }
    Scheduler::Get().Point();
    return Scheduler::Get().TryLock(mutex, IsRecursive(mutex)) ? 0 : EBUSY;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) {
    if (!Scheduler::IsManaged()) {
        return REAL(pthread_mutex_unlock)(mutex);
    }
    Scheduler::Get().Unlock(mutex, !Schedules::IsPlatformMutex(mutex));
    return 0;
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    return Scheduler::IsManaged() ? WaitManaged(condition, mutex) : REAL(pthread_cond_wait)(condition, mutex);
}

// Real time does not pass: what waits until then waits for ever.

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, timespec const* until) {
    return Scheduler::IsManaged() ? WaitManaged(condition, mutex)
                                  : REAL(pthread_cond_timedwait)(condition, mutex, until);
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           timespec const* until) {
    return Scheduler::IsManaged() ? WaitManaged(condition, mutex)
                                  : REAL(pthread_cond_clockwait)(condition, mutex, clock, until);
}

int pthread_cond_signal(pthread_cond_t* condition) {
    if (!Scheduler::IsManaged()) {
        return REAL(pthread_cond_signal)(condition);
    }
    Scheduler::Get().Signal(condition, false);
    return 0;
}

int pthread_cond_broadcast(pthread_cond_t* condition) {
    if (!Scheduler::IsManaged()) {
        return REAL(pthread_cond_broadcast)(condition);
    }
    Scheduler::Get().Signal(condition, true);
    return 0;
}
}

namespace Schedules {

int RealCreate(pthread_t* thread, pthread_attr_t const* attributes, void* (*start)(void*), void* argument) {
    auto* const create =
        __interceptor_pthread_create != nullptr ? __interceptor_pthread_create : &REAL(pthread_create);
    return create(thread, attributes, start, argument);
}

int RealJoin(pthread_t thread, void** result) {
    auto* const join =
        __interceptor_pthread_join != nullptr ? __interceptor_pthread_join : &REAL(pthread_join);
    return join(thread, result);
}

} // namespace Schedules
