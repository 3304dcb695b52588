#pragma once

namespace MemoryTest {

/// While one lives, every `new` of its thread throws `std::bad_alloc`. Not nested.
class NoMemory {
public:
    NoMemory();
    ~NoMemory();
    NoMemory(NoMemory const&) = delete;
    NoMemory& operator=(NoMemory const&) = delete;
};

} // namespace MemoryTest
