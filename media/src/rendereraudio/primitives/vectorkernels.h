#pragma once

// The vector implementations, written once for every register width. Each file that is compiled for one kind
// of processor includes this with a `Wide` type of its own from an unnamed namespace, which keeps what comes
// of it in that file: code for a better processor must not be linked in for a lesser one.

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "primitives/varianttable.h"

namespace Media::Primitives {

/// `Wide` has `Register`, `SizeBytes`, `Zero`, `Load` and `Store` (any alignment), `StoreAligned`, `Stream`
/// (aligned, past the caches), and `SmallestOf` and `LargestOf` eight samples.
template <class Wide>
struct VectorKernels {
    static constexpr std::size_t SizeBytes = Wide::SizeBytes;
    /// One turn of a loop: what hides its own cost.
    static constexpr std::size_t StrideBytes = 4 * SizeBytes;

    static void ZeroBytes(std::uint8_t* destination, std::size_t lengthBytes, std::size_t largestCacheBytes) {
        if (lengthBytes < SizeBytes) {
            ZeroShort(destination, lengthBytes);
            return;
        }
        auto const zero = Wide::Zero();
        // First and last register lie as the region does, what is between them is aligned.
        Wide::Store(destination, zero);
        std::uint8_t* const end = destination + lengthBytes;
        std::uint8_t* at = destination + DistanceToAligned(destination);
        if (lengthBytes >= StreamingZeroBytes + DistanceToAligned16(destination) &&
            IsBeyondCaches(lengthBytes, largestCacheBytes)) {
            for (; end - at >= Signed(StrideBytes); at += StrideBytes) {
                Wide::Stream(at, zero);
                Wide::Stream(at + SizeBytes, zero);
                Wide::Stream(at + 2 * SizeBytes, zero);
                Wide::Stream(at + 3 * SizeBytes, zero);
            }
            // What follows must not overtake the streamed bytes.
            _mm_sfence();
        }
        for (; end - at >= Signed(StrideBytes); at += StrideBytes) {
            Wide::StoreAligned(at, zero);
            Wide::StoreAligned(at + SizeBytes, zero);
            Wide::StoreAligned(at + 2 * SizeBytes, zero);
            Wide::StoreAligned(at + 3 * SizeBytes, zero);
        }
        for (; end - at > Signed(SizeBytes); at += SizeBytes) {
            Wide::StoreAligned(at, zero);
        }
        Wide::Store(end - SizeBytes, zero);
    }

    static void CopyBytes(std::uint8_t const* source, std::uint8_t* destination, std::size_t lengthBytes,
                          std::size_t largestCacheBytes) {
        if (lengthBytes < SizeBytes) {
            CopyShort(source, destination, lengthBytes);
            return;
        }
        std::uint8_t const* const sourceEnd = source + lengthBytes;
        std::uint8_t* const end = destination + lengthBytes;
        Wide::Store(destination, Wide::Load(source));
        std::size_t const lead = DistanceToAligned(destination);
        std::uint8_t const* from = source + lead;
        std::uint8_t* at = destination + lead;
        if (lengthBytes >= StreamingCopyBytes && IsBeyondCaches(lengthBytes, largestCacheBytes)) {
            for (; end - at >= Signed(StrideBytes); at += StrideBytes, from += StrideBytes) {
                auto const first = Wide::Load(from);
                auto const second = Wide::Load(from + SizeBytes);
                auto const third = Wide::Load(from + 2 * SizeBytes);
                auto const fourth = Wide::Load(from + 3 * SizeBytes);
                Wide::Stream(at, first);
                Wide::Stream(at + SizeBytes, second);
                Wide::Stream(at + 2 * SizeBytes, third);
                Wide::Stream(at + 3 * SizeBytes, fourth);
            }
            _mm_sfence();
        }
        for (; end - at >= Signed(StrideBytes); at += StrideBytes, from += StrideBytes) {
            auto const first = Wide::Load(from);
            auto const second = Wide::Load(from + SizeBytes);
            auto const third = Wide::Load(from + 2 * SizeBytes);
            auto const fourth = Wide::Load(from + 3 * SizeBytes);
            Wide::StoreAligned(at, first);
            Wide::StoreAligned(at + SizeBytes, second);
            Wide::StoreAligned(at + 2 * SizeBytes, third);
            Wide::StoreAligned(at + 3 * SizeBytes, fourth);
        }
        for (; end - at > Signed(SizeBytes); at += SizeBytes, from += SizeBytes) {
            Wide::StoreAligned(at, Wide::Load(from));
        }
        Wide::Store(end - SizeBytes, Wide::Load(sourceEnd - SizeBytes));
    }

    /// Eight samples a register whatever the width of `Wide`: 256-bit registers compare no integers before
    /// AVX2.
    static void MinMaxS16(std::int16_t const* source, std::size_t lengthSamples, std::int16_t* minimum,
                          std::int16_t* maximum) {
        if (lengthSamples < RegisterSamples) {
            MinMaxShort(source, lengthSamples, minimum, maximum);
            return;
        }
        // Four chains of comparisons, so that none waits for the result before it; each by its name, so that
        // the compiler keeps all of them in registers.
        Extremes first(LoadSamples(source));
        Extremes second = first;
        Extremes third = first;
        Extremes fourth = first;
        std::int16_t const* const end = source + lengthSamples;
        std::int16_t const* at = source;
        for (; end - at >= Signed(4 * RegisterSamples); at += 4 * RegisterSamples) {
            first.Take(LoadSamples(at));
            second.Take(LoadSamples(at + RegisterSamples));
            third.Take(LoadSamples(at + 2 * RegisterSamples));
            fourth.Take(LoadSamples(at + 3 * RegisterSamples));
        }
        for (; end - at >= Signed(RegisterSamples); at += RegisterSamples) {
            first.Take(LoadSamples(at));
        }
        // The last register once more, as the samples lie.
        second.Take(LoadSamples(end - RegisterSamples));
        first.Take(second);
        third.Take(fourth);
        first.Take(third);
        *minimum = Wide::SmallestOf(first.smallest);
        *maximum = Wide::LargestOf(first.largest);
    }

private:
    static constexpr std::size_t RegisterSamples = 8;

    /// Eight running minima and maxima.
    struct Extremes {
        explicit Extremes(__m128i samples) : smallest(samples), largest(samples) {}

        void Take(__m128i samples) {
            smallest = _mm_min_epi16(smallest, samples);
            largest = _mm_max_epi16(largest, samples);
        }
        void Take(Extremes const& other) {
            smallest = _mm_min_epi16(smallest, other.smallest);
            largest = _mm_max_epi16(largest, other.largest);
        }

        __m128i smallest;
        __m128i largest;
    };

    static constexpr std::ptrdiff_t Signed(std::size_t size) { return static_cast<std::ptrdiff_t>(size); }

    /// From `address` to the next multiple of the register's size, 1 or more.
    static std::size_t DistanceToAligned(std::uint8_t const* address) {
        return SizeBytes - reinterpret_cast<std::uintptr_t>(address) % SizeBytes;
    }

    /// From `address` to the next multiple of 16, 0 when it is one.
    static std::size_t DistanceToAligned16(std::uint8_t const* address) {
        return (16 - reinterpret_cast<std::uintptr_t>(address) % 16) % 16;
    }

    static bool IsBeyondCaches(std::size_t lengthBytes, std::size_t largestCacheBytes) {
        return largestCacheBytes != 0 && lengthBytes >= largestCacheBytes;
    }

    /// The whole of a short region in two words that may overlap. `lengthBytes` is 1 to twice the word's
    /// size.
    template <class Word>
    static void ZeroWords(std::uint8_t* destination, std::size_t lengthBytes) {
        Word const zero{};
        std::memcpy(destination, &zero, sizeof(Word));
        std::memcpy(destination + lengthBytes - sizeof(Word), &zero, sizeof(Word));
    }
    template <class Word>
    static void CopyWords(std::uint8_t const* source, std::uint8_t* destination, std::size_t lengthBytes) {
        Word first;
        Word last;
        std::memcpy(&first, source, sizeof(Word));
        std::memcpy(&last, source + lengthBytes - sizeof(Word), sizeof(Word));
        std::memcpy(destination, &first, sizeof(Word));
        std::memcpy(destination + lengthBytes - sizeof(Word), &last, sizeof(Word));
    }

    static void ZeroShort(std::uint8_t* destination, std::size_t lengthBytes) {
        if (lengthBytes >= sizeof(__m128i)) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(destination), _mm_setzero_si128());
            _mm_storeu_si128(reinterpret_cast<__m128i*>(destination + lengthBytes - sizeof(__m128i)),
                             _mm_setzero_si128());
        } else if (lengthBytes >= sizeof(std::uint64_t)) {
            ZeroWords<std::uint64_t>(destination, lengthBytes);
        } else if (lengthBytes >= sizeof(std::uint32_t)) {
            ZeroWords<std::uint32_t>(destination, lengthBytes);
        } else if (lengthBytes >= sizeof(std::uint16_t)) {
            ZeroWords<std::uint16_t>(destination, lengthBytes);
        } else {
            *destination = 0;
        }
    }

    static void CopyShort(std::uint8_t const* source, std::uint8_t* destination, std::size_t lengthBytes) {
        if (lengthBytes >= sizeof(__m128i)) {
            __m128i const first = _mm_loadu_si128(reinterpret_cast<__m128i const*>(source));
            __m128i const last =
                _mm_loadu_si128(reinterpret_cast<__m128i const*>(source + lengthBytes - sizeof(__m128i)));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(destination), first);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(destination + lengthBytes - sizeof(__m128i)), last);
        } else if (lengthBytes >= sizeof(std::uint64_t)) {
            CopyWords<std::uint64_t>(source, destination, lengthBytes);
        } else if (lengthBytes >= sizeof(std::uint32_t)) {
            CopyWords<std::uint32_t>(source, destination, lengthBytes);
        } else if (lengthBytes >= sizeof(std::uint16_t)) {
            CopyWords<std::uint16_t>(source, destination, lengthBytes);
        } else {
            *destination = *source;
        }
    }

    static void MinMaxShort(std::int16_t const* source, std::size_t lengthSamples, std::int16_t* minimum,
                            std::int16_t* maximum) {
        std::int16_t smallest = source[0];
        std::int16_t largest = source[0];
        for (std::size_t i = 1; i < lengthSamples; ++i) {
            smallest = source[i] < smallest ? source[i] : smallest;
            largest = source[i] > largest ? source[i] : largest;
        }
        *minimum = smallest;
        *maximum = largest;
    }

    static __m128i LoadSamples(std::int16_t const* samples) {
        return _mm_loadu_si128(reinterpret_cast<__m128i const*>(samples));
    }
};

/// The table's entry for one width.
template <class Wide>
constexpr Variant MakeVariant() {
    using Kernels = VectorKernels<Wide>;
    return {Kernels::ZeroBytes, Kernels::CopyBytes, Kernels::MinMaxS16};
}

} // namespace Media::Primitives
