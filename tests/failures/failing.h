#pragma once

#include <cstdint>
#include <functional>

namespace Failures {

/// While one lives, every `new` of its thread throws `std::bad_alloc`. Not nested.
class NoMemory {
public:
    NoMemory();
    ~NoMemory();
    NoMemory(NoMemory const&) = delete;
    NoMemory& operator=(NoMemory const&) = delete;
};

/// Calls `action`, which must live until then, once: in the next `new` of this thread.
void OnNextAllocation(std::function<void()>& action);

/// What may fail below the module.
enum class Failure_t {
    /// A `new` throws `std::bad_alloc`.
    Memory,
    /// A lock throws, as Boost's do when they would have to wait and have nothing to wait with.
    Lock,
    /// A call into the host's libraries throws `std::bad_alloc`, `std::runtime_error`, or what is no
    /// exception
    /// of the standard library.
    HostMemory,
    HostError,
    HostOther,
};

/// While one lives, the `nth` such point that its thread comes to in a `UnitTest::ModuleScope`, and not in
/// the simulated platform, fails. Not nested.
class Failing {
public:
    /// With `nth` 0 nothing fails.
    Failing(Failure_t failure, std::uint64_t nth);
    ~Failing();
    Failing(Failing const&) = delete;
    Failing& operator=(Failing const&) = delete;

    /// So many points were met.
    static std::uint64_t CountPoints();
};

} // namespace Failures
