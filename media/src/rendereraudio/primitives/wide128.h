#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

namespace Media::Primitives {

/// 128-bit registers. `Self` belongs to the file that compiles them: see vectorkernels.h.
template <class Self>
struct Wide128 {
    using Register = __m128i;
    static constexpr std::size_t SizeBytes = sizeof(Register);

    static Register Zero() { return _mm_setzero_si128(); }
    static Register Load(std::uint8_t const* from) {
        return _mm_loadu_si128(reinterpret_cast<Register const*>(from));
    }
    static void Store(std::uint8_t* to, Register value) {
        _mm_storeu_si128(reinterpret_cast<Register*>(to), value);
    }
    static void StoreAligned(std::uint8_t* to, Register value) {
        _mm_store_si128(reinterpret_cast<Register*>(to), value);
    }
    static void Stream(std::uint8_t* to, Register value) {
        _mm_stream_si128(reinterpret_cast<Register*>(to), value);
    }
};

} // namespace Media::Primitives
