#pragma once

#include <cstring>

// How the compilers that this library is built with lay a class out: a pointer to a table of functions first,
// in it two destructors (complete, deleting), then the other virtual operations in the order of declaration.
#if defined(__GXX_ABI_VERSION)
#define HAS_KNOWN_VTABLE 1

/// The virtual operation in `slot` of `object`, as a function that takes the object first.
template <class Function, class Object>
Function* GetVirtual(Object const& object, std::size_t slot) {
    void* const* table = nullptr;
    std::memcpy(&table, static_cast<void const*>(&object), sizeof table);
    return reinterpret_cast<Function*>(table[slot]);
}

/// The operation that follows the two destructors.
constexpr std::size_t FirstSlot = 2;
#endif
