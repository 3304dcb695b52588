// What the compiler calls at each access to memory when it compiles for the thread sanitizer, whose runtime
// is not linked: an atomic operation is a point, a plain access is looked at by `Accesses` and for whether
// its memory is still there. And the lock inside the atomic operations on std::shared_ptr.

#include <sanitizer/asan_interface.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>

#include "scheduler.h"

// AddressSanitizer's report of a bad access.
extern "C" void __asan_report_load_n(void const* memory, std::size_t bytes);

namespace {

using Schedules::Scheduler;

/// The compiler's numbers of the memory orders.
enum Order_t { Relaxed, Consume, Acquire, Release, AcquireRelease, Sequential };

bool DoesAcquire(int order) {
    return order == Consume || order == Acquire || order >= AcquireRelease;
}

bool DoesRelease(int order) {
    return order >= Release;
}

template <class Value>
std::uint64_t Widen(Value value) {
    std::uint64_t wide = 0;
    std::memcpy(&wide, &value, sizeof(value));
    return wide;
}

template <class Value>
Value Load(Value const volatile* atomic, int order) {
    if (!Scheduler::IsManaged()) {
        return __atomic_load_n(atomic, __ATOMIC_SEQ_CST);
    }
    auto& scheduler = Scheduler::Get();
    auto const* const address = const_cast<Value const*>(atomic);
    scheduler.Point();
    Value const value = __atomic_load_n(atomic, __ATOMIC_SEQ_CST);
    if (DoesAcquire(order)) {
        scheduler.Acquire(address);
    }
    scheduler.Loaded(address, Widen(value));
    return value;
}

template <class Value>
void Store(Value volatile* atomic, Value value, int order) {
    if (!Scheduler::IsManaged()) {
        __atomic_store_n(atomic, value, __ATOMIC_SEQ_CST);
        return;
    }
    auto& scheduler = Scheduler::Get();
    auto* const address = const_cast<Value*>(atomic);
    scheduler.Point();
    __atomic_store_n(atomic, value, __ATOMIC_SEQ_CST);
    if (DoesRelease(order)) {
        scheduler.Release(address, true);
    } else {
        scheduler.Forget(address);
    }
    scheduler.Stored(address);
}

/// `change` makes the new value of the old one.
template <class Value, class Change>
Value Modify(Value volatile* atomic, int order, Change change) {
    auto* const address = const_cast<Value*>(atomic);
    bool const isManaged = Scheduler::IsManaged();
    if (isManaged) {
        Scheduler::Get().Point();
    }
    Value old = __atomic_load_n(atomic, __ATOMIC_SEQ_CST);
    while (
        !__atomic_compare_exchange_n(atomic, &old, change(old), false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST)) {
    }
    if (isManaged) {
        auto& scheduler = Scheduler::Get();
        if (DoesAcquire(order)) {
            scheduler.Acquire(address);
        }
        if (DoesRelease(order)) {
            scheduler.Release(address, false);
        }
        scheduler.Stored(address);
    }
    return old;
}

/// One that fails is a load, of the order for that: it releases nothing, and nobody who waits for a change
/// goes on.
template <class Value>
Value CompareExchange(Value volatile* atomic, Value expected, Value value, int order, int orderOfFailure) {
    auto* const address = const_cast<Value*>(atomic);
    bool const isManaged = Scheduler::IsManaged();
    if (isManaged) {
        Scheduler::Get().Point();
    }
    Value old = expected;
    bool const isExchanged =
        __atomic_compare_exchange_n(atomic, &old, value, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
    if (isManaged) {
        auto& scheduler = Scheduler::Get();
        if (DoesAcquire(isExchanged ? order : orderOfFailure)) {
            scheduler.Acquire(address);
        }
        if (!isExchanged) {
            scheduler.Loaded(address, Widen(old));
        } else {
            if (DoesRelease(order)) {
                scheduler.Release(address, false);
            }
            scheduler.Stored(address);
        }
    }
    return old;
}

/// In parts of eight bytes, so that the two pointers of a std::shared_ptr are the same fields however they
/// are accessed.
template <std::size_t Bytes, class Access>
void ForEachPart(void const* memory, Access access) {
    auto const* const bytes = static_cast<char const*>(memory);
    for (std::size_t part = 0; part < Bytes; part += 8) {
        access(bytes + part);
    }
}

void CheckIsThere(void const* memory, std::size_t bytes) {
    if (__asan_region_is_poisoned(const_cast<void*>(memory), bytes) != nullptr) {
        // Ends the program.
        __asan_report_load_n(memory, bytes);
    }
}

template <std::size_t Bytes>
void Read(void const* memory, void const* place) {
    if (Scheduler::IsManaged()) {
        CheckIsThere(memory, Bytes);
        ForEachPart<Bytes>(memory, [place](void const* part) { Scheduler::Get().Read(part, place); });
    }
}

template <std::size_t Bytes>
void Write(void const* memory, void const* place) {
    if (Scheduler::IsManaged()) {
        CheckIsThere(memory, Bytes);
        ForEachPart<Bytes>(memory, [place](void const* part) { Scheduler::Get().Write(part, place); });
    }
}

} // namespace

// The compiler's names.
#pragma clang diagnostic ignored "-Wreserved-identifier"
#pragma clang diagnostic ignored "-Wmissing-prototypes"

extern "C" {

void __tsan_init() {}
void __tsan_func_entry(void*) {}
void __tsan_func_exit() {}

#define ACCESS(bytes)                                      \
    void __tsan_read##bytes(void* memory) {                \
        Read<bytes>(memory, __builtin_return_address(0));  \
    }                                                      \
    void __tsan_write##bytes(void* memory) {               \
        Write<bytes>(memory, __builtin_return_address(0)); \
    }                                                      \
    void __tsan_unaligned_read##bytes(void* memory) {      \
        Read<bytes>(memory, __builtin_return_address(0));  \
    }                                                      \
    void __tsan_unaligned_write##bytes(void* memory) {     \
        Write<bytes>(memory, __builtin_return_address(0)); \
    }
ACCESS(1)
ACCESS(2)
ACCESS(4)
ACCESS(8)
ACCESS(16)

void __tsan_vptr_read(void** memory) {
    Read<8>(memory, __builtin_return_address(0));
}
void __tsan_vptr_update(void** memory, void* table) {
    // A destructor sets it again to what it is.
    if (*memory != table) {
        Write<8>(memory, __builtin_return_address(0));
    }
}

#define ATOMIC(bits)                                                                                        \
    std::uint##bits##_t __tsan_atomic##bits##_load(std::uint##bits##_t const volatile* atomic, int order) { \
        return Load(atomic, order);                                                                         \
    }                                                                                                       \
    void __tsan_atomic##bits##_store(std::uint##bits##_t volatile* atomic, std::uint##bits##_t value,       \
                                     int order) {                                                           \
        Store(atomic, value, order);                                                                        \
    }                                                                                                       \
    MODIFY(bits, exchange, value)                                                                           \
    MODIFY(bits, fetch_add, static_cast<std::uint##bits##_t>(old + value))                                  \
    MODIFY(bits, fetch_sub, static_cast<std::uint##bits##_t>(old - value))                                  \
    MODIFY(bits, fetch_and, static_cast<std::uint##bits##_t>(old & value))                                  \
    MODIFY(bits, fetch_or, static_cast<std::uint##bits##_t>(old | value))                                   \
    MODIFY(bits, fetch_xor, static_cast<std::uint##bits##_t>(old ^ value))                                  \
    std::uint##bits##_t __tsan_atomic##bits##_compare_exchange_val(                                         \
        std::uint##bits##_t volatile* atomic, std::uint##bits##_t expected, std::uint##bits##_t value,      \
        int order, int orderOfFailure) {                                                                    \
        return CompareExchange(atomic, expected, value, order, orderOfFailure);                             \
    }
#define MODIFY(bits, name, changed)                                                                          \
    std::uint##bits##_t __tsan_atomic##bits##_##name(std::uint##bits##_t volatile* atomic,                   \
                                                     std::uint##bits##_t value, int order) {                 \
        return Modify(atomic, order, [value]([[maybe_unused]] std::uint##bits##_t old) { return changed; }); \
    }
ATOMIC(8)
ATOMIC(16)
ATOMIC(32)
ATOMIC(64)

void __tsan_atomic_thread_fence(int) {}
void __tsan_atomic_signal_fence(int) {}
}

// --- std::atomic_load and its like on std::shared_ptr

namespace std {

namespace {

thread_local void const* lockedPointer = nullptr;
static_assert(std::is_trivially_destructible_v<decltype(lockedPointer)>);

} // namespace

// The library's own takes one of sixteen mutexes, by the pointer's address: which two operations wait for
// each other would differ from run to run. Here each is one step.
_Sp_locker::_Sp_locker(void const* pointer) noexcept {
    static_cast<void>(_M_key1);
    static_cast<void>(_M_key2);
    if (Scheduler::IsManaged()) {
        lockedPointer = pointer;
        Scheduler::Get().Point();
        Scheduler::Get().SetAtomic(true);
        Scheduler::Get().Acquire(pointer);
    }
}

_Sp_locker::~_Sp_locker() {
    if (Scheduler::IsManaged()) {
        Scheduler::Get().Release(lockedPointer, false);
        Scheduler::Get().Stored(lockedPointer);
        Scheduler::Get().SetAtomic(false);
    }
}

} // namespace std
