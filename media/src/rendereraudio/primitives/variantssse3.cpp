// For processors with SSSE3: 128-bit registers. Compiled for them alone.

#include <tmmintrin.h>

#include "primitives/vectorkernels.h"
#include "primitives/wide128.h"

namespace Media::Primitives {

namespace {

struct Wide : Wide128<Wide> {
    static std::int16_t SmallestOf(__m128i samples) {
        samples = _mm_min_epi16(samples, _mm_alignr_epi8(samples, samples, 8));
        samples = _mm_min_epi16(samples, _mm_alignr_epi8(samples, samples, 4));
        samples = _mm_min_epi16(samples, _mm_alignr_epi8(samples, samples, 2));
        return static_cast<std::int16_t>(_mm_extract_epi16(samples, 0));
    }
    static std::int16_t LargestOf(__m128i samples) {
        samples = _mm_max_epi16(samples, _mm_alignr_epi8(samples, samples, 8));
        samples = _mm_max_epi16(samples, _mm_alignr_epi8(samples, samples, 4));
        samples = _mm_max_epi16(samples, _mm_alignr_epi8(samples, samples, 2));
        return static_cast<std::int16_t>(_mm_extract_epi16(samples, 0));
    }
};

constexpr Variant Implementations = MakeVariant<Wide>();

} // namespace

Variant const Ssse3Variant = Implementations;

} // namespace Media::Primitives
