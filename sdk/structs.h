#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>

#include "rendereraudio/rendereraudio_c.h"

namespace Sdk {

/// The size that a struct had in interface 1. A literal: it stays when the struct grows.
template <class Struct>
constexpr std::uint32_t FirstBytes = 0;
template <>
inline constexpr std::uint32_t FirstBytes<RaOptions> = 16;
template <>
inline constexpr std::uint32_t FirstBytes<RaStreamFormat> = 40;
template <>
inline constexpr std::uint32_t FirstBytes<RaFrame> = 32;
template <>
inline constexpr std::uint32_t FirstBytes<RaStatistics> = 40;
template <>
inline constexpr std::uint32_t FirstBytes<RaSessionStatistics> = 64;
template <>
inline constexpr std::uint32_t FirstBytes<RaCapturedFrame> = 32;

/// The size that the caller's struct claims; nothing when it is null or the size is out of range. Not a byte
/// of it is read beyond the size: it may be smaller than this library's, and lie at any address.
template <class Struct>
std::optional<std::uint32_t> ReadSize(Struct const* from) {
    std::uint32_t size = 0;
    if (from == nullptr) {
        return std::nullopt;
    }
    std::memcpy(&size, static_cast<void const*>(from), sizeof size);
    if (size < FirstBytes<Struct> || size > RA_MAX_STRUCT_BYTES) {
        return std::nullopt;
    }
    return size;
}

/// This library's view of the caller's struct; nothing when it cannot be had.
template <class Struct>
std::optional<Struct> ReadStruct(Struct const* from) {
    static_assert(FirstBytes<Struct> != 0 && FirstBytes<Struct> <= sizeof(Struct));
    auto const size = ReadSize(from);
    if (!size) {
        return std::nullopt;
    }
    auto const* const bytes = static_cast<unsigned char const*>(static_cast<void const*>(from));
    if (*size > sizeof(Struct) &&
        std::any_of(bytes + sizeof(Struct), bytes + *size, [](unsigned char each) { return each != 0; })) {
        return std::nullopt;
    }
    Struct known = {};
    std::memcpy(&known, bytes, std::min<std::size_t>(*size, sizeof known));
    known.size = static_cast<std::uint32_t>(sizeof known);
    return known;
}

/// Fills the caller's struct, whose size `ReadSize` has accepted and keeps.
template <class Struct>
void WriteStruct(Struct* to, std::uint32_t size, Struct const& from) {
    static_assert(FirstBytes<Struct> != 0 && FirstBytes<Struct> <= sizeof(Struct));
    auto* const bytes = static_cast<unsigned char*>(static_cast<void*>(to));
    auto const* const known = reinterpret_cast<unsigned char const*>(&from);
    std::size_t const shared = std::min<std::size_t>(size, sizeof from);
    std::memcpy(bytes + sizeof size, known + sizeof size, shared - sizeof size);
    std::memset(bytes + shared, 0, size - shared);
}

} // namespace Sdk
