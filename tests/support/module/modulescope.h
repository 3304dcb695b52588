#pragma once

#include <type_traits>

namespace UnitTest {

/// What a test does while one lives, it does in the module: there, and not in what the test or the simulated
/// platform does, a sweep lets something fail. Nested ones are one.
class ModuleScope {
public:
    ModuleScope() { ++depth; }
    ~ModuleScope() { --depth; }
    ModuleScope(ModuleScope const&) = delete;
    ModuleScope& operator=(ModuleScope const&) = delete;

    /// Of the calling thread.
    static bool IsOpen() { return depth > 0; }

private:
    static inline thread_local int depth = 0;
    static_assert(std::is_trivially_destructible_v<decltype(depth)>);
};

/// Calls `call` in the module.
template <class Call>
auto InModule(Call call) {
    ModuleScope const scope;
    return call();
}

} // namespace UnitTest
