#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Media::Primitives {

/// What stands around memory that must not be written.
constexpr std::uint8_t Guard = 0xA5;

/// Bytes that differ from their neighbours at every distance that a wide store could slip by.
inline std::vector<std::uint8_t> Pattern(std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<std::uint8_t>(1 + i % 251);
    }
    return bytes;
}

} // namespace Media::Primitives
