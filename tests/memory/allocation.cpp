#include "allocation.h"

#include <cstddef>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>

namespace {

thread_local bool hasMemory = true;
static_assert(std::is_trivially_destructible_v<decltype(hasMemory)>);
thread_local std::function<void()>* onNext = nullptr;
static_assert(std::is_trivially_destructible_v<decltype(onNext)>);

void* Allocate(std::size_t size) {
    if (auto* const action = std::exchange(onNext, nullptr)) {
        (*action)();
    }
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

void OnNextAllocation(std::function<void()>& action) {
    onNext = &action;
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
