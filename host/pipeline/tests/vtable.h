#pragma once

#include <cstddef>
#include <cstring>

// How the compilers that this library is built with lay a class out: a pointer to a table of functions first,
// in it the destructors, then the other virtual operations in the order of declaration.
#if defined(_MSC_VER)
/// One, whose argument says whether it frees the object, too.
constexpr std::size_t DestructorSlots = 1;
#else
/// Complete and deleting.
constexpr std::size_t DestructorSlots = 2;
#endif

/// The virtual operation in `slot` of `object`, as a function that takes the object first.
template <class Function, class Object>
Function* GetVirtual(Object const& object, std::size_t slot) {
    void* const* table = nullptr;
    std::memcpy(&table, static_cast<void const*>(&object), sizeof table);
    return reinterpret_cast<Function*>(table[slot]);
}

/// The operation that follows the destructors.
constexpr std::size_t FirstSlot = DestructorSlots;
