#pragma once

#include <functional>

namespace MemoryTest {

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

} // namespace MemoryTest
