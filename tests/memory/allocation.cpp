#include "allocation.h"

#include <cstddef>
#include <cstdlib>
#include <new>
#include <type_traits>

namespace {

thread_local bool hasMemory = true;
static_assert(std::is_trivially_destructible_v<decltype(hasMemory)>);

void* Allocate(std::size_t size) {
    void* const memory = hasMemory ? std::malloc(size) : nullptr;
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

namespace MemoryTest {

NoMemory::NoMemory() {
    hasMemory = false;
}

NoMemory::~NoMemory() {
    hasMemory = true;
}

} // namespace MemoryTest

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
