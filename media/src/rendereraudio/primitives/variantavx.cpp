// For processors with AVX whose operating system saves its state: 256-bit registers. Compiled for them alone.

#include <immintrin.h>

#include "primitives/extremesbysearch.h"
#include "primitives/vectorkernels.h"

namespace Media::Primitives {

namespace {

struct Wide : ExtremesBySearch<Wide> {
    using Register = __m256i;
    static constexpr std::size_t SizeBytes = sizeof(Register);

    static Register Zero() { return _mm256_setzero_si256(); }
    static Register Load(std::uint8_t const* from) {
        return _mm256_loadu_si256(reinterpret_cast<Register const*>(from));
    }
    static void Store(std::uint8_t* to, Register value) {
        _mm256_storeu_si256(reinterpret_cast<Register*>(to), value);
    }
    static void StoreAligned(std::uint8_t* to, Register value) {
        _mm256_store_si256(reinterpret_cast<Register*>(to), value);
    }
    static void Stream(std::uint8_t* to, Register value) {
        _mm256_stream_si256(reinterpret_cast<Register*>(to), value);
    }
};

constexpr Variant Implementations = MakeVariant<Wide>();

} // namespace

Variant const AvxVariant = Implementations;

} // namespace Media::Primitives
