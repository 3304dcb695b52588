#include "failing.h"

#include <pthread.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "simulation/win32/invocation.h"
#include "support/module/modulescope.h"

namespace {

using Failures::Failure_t;

thread_local bool hasMemory = true;
static_assert(std::is_trivially_destructible_v<decltype(hasMemory)>);
using Action = std::function<void()>;
thread_local Action* onNext = nullptr;
static_assert(std::is_trivially_destructible_v<decltype(onNext)>);

/// Looked at by the thread that set it alone: no other is in a `ModuleScope`.
struct Plan {
    bool isSet = false;
    Failure_t failure = Failure_t::Memory;
    std::uint64_t nth = 0;
    std::uint64_t points = 0;
};
thread_local Plan plan;
static_assert(std::is_trivially_destructible_v<decltype(plan)>);

/// True at the point that is to fail.
bool IsToFail(bool isOfThePlan) {
    bool const isPoint =
        isOfThePlan && plan.isSet && UnitTest::ModuleScope::IsOpen() && !Simulation::IsInInvocation();
    return isPoint && ++plan.points == plan.nth;
}

void* Allocate(std::size_t size) {
    if (auto* const action = std::exchange(onNext, nullptr)) {
        (*action)();
    }
    bool const fails = !hasMemory || IsToFail(plan.failure == Failure_t::Memory);
    void* const memory = fails ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

namespace Failures {

NoMemory::NoMemory() {
    hasMemory = false;
}

NoMemory::~NoMemory() {
    hasMemory = true;
}

void OnNextAllocation(std::function<void()>& action) {
    onNext = &action;
}

Failing::Failing(Failure_t failure, std::uint64_t nth) {
    plan = {true, failure, nth, 0};
}

Failing::~Failing() {
    plan.isSet = false;
}

std::uint64_t Failing::CountPoints() {
    return plan.points;
}

} // namespace Failures

// --- memory

void* operator new(std::size_t size) {
    return Allocate(size);
}

void* operator new[](std::size_t size) {
    return Allocate(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

// --- locks. The linker calls these in the place of the functions that they are named after.

extern "C" {
int __real_pthread_mutex_init(pthread_mutex_t* mutex, pthread_mutexattr_t const* attributes);
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);

/// Boost's mutexes, which are the module's, are told by a kind that no other here has: the standard library's
/// are not made by a call.
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, pthread_mutexattr_t const* attributes) {
    if (attributes != nullptr) {
        return __real_pthread_mutex_init(mutex, attributes);
    }
    pthread_mutexattr_t checked;
    pthread_mutexattr_init(&checked);
    pthread_mutexattr_settype(&checked, PTHREAD_MUTEX_ERRORCHECK);
    int const result = __real_pthread_mutex_init(mutex, &checked);
    pthread_mutexattr_destroy(&checked);
    return result;
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    bool const isModules = mutex->__data.__kind == PTHREAD_MUTEX_ERRORCHECK;
    bool const isOfThePlan = isModules && plan.failure == Failure_t::Lock;
    return IsToFail(isOfThePlan) ? EAGAIN : __real_pthread_mutex_lock(mutex);
}

// --- the host's libraries

/// Called before each of their functions that CMakeLists.txt lists.
void FailBeforeHostCall();
void FailBeforeHostCall() {
    bool const isHosts = plan.failure == Failure_t::HostMemory || plan.failure == Failure_t::HostError ||
                         plan.failure == Failure_t::HostOther;
    if (!IsToFail(isHosts)) {
        return;
    }
    switch (plan.failure) {
        case Failure_t::HostMemory:
            throw std::bad_alloc();
        case Failure_t::HostError:
            throw std::runtime_error("a library of the host fails");
        default:
            throw 42;
    }
}
}

// What the linker puts in the place of one of these functions: asks first, then goes on to it with all that
// it was given.
#define HOST_CALL(function)                                                                                 \
    asm(".text\n.globl __wrap_" #function "\n.type __wrap_" #function ", @function\n__wrap_" #function      \
        ":\n.cfi_startproc\npush %rdi\npush %rsi\npush %rdx\npush %rcx\npush %r8\npush %r9\nsub $8, %rsp\n" \
        ".cfi_adjust_cfa_offset 56\ncall FailBeforeHostCall\nadd $8, %rsp\npop %r9\npop %r8\npop %rcx\n"    \
        "pop %rdx\npop %rsi\npop %rdi\n.cfi_adjust_cfa_offset -56\njmp __real_" #function                   \
        "\n.cfi_endproc\n");
#include "hostcalls.inc"
