#pragma once

#include <smmintrin.h>

#include <cstdint>

namespace Media::Primitives {

/// The extremes of eight samples by SSE4.1's search for the smallest of eight unsigned numbers. `Self`
/// belongs to the file that compiles it: see vectorkernels.h.
template <class Self>
struct ExtremesBySearch {
    static std::int16_t SmallestOf(__m128i samples) {
        return static_cast<std::int16_t>(Search(samples, INT16_MIN));
    }
    static std::int16_t LargestOf(__m128i samples) {
        return static_cast<std::int16_t>(Search(samples, INT16_MAX));
    }

private:
    /// Maps the samples so that the wanted one is the smallest unsigned number, and back.
    static int Search(__m128i samples, std::int16_t mapping) {
        __m128i const mapped = _mm_xor_si128(samples, _mm_set1_epi16(mapping));
        return _mm_extract_epi16(_mm_minpos_epu16(mapped), 0) ^ mapping;
    }
};

} // namespace Media::Primitives
