#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "primitives/variantselection.h"

namespace Media::Primitives {

// The implementations behind the entry points. Pointers are not null, lengths are 1 or more, and regions do
// not overlap: the entry points have seen to that. `largestCacheBytes` is the size from which a block is
// thought to push everything out of the caches, so that writing past them is faster; 0 for never.

using ZeroFunction = void (*)(std::uint8_t* destination, std::size_t lengthBytes,
                              std::size_t largestCacheBytes);
using CopyFunction = void (*)(std::uint8_t const* source, std::uint8_t* destination, std::size_t lengthBytes,
                              std::size_t largestCacheBytes);
using MinMaxFunction = void (*)(std::int16_t const* source, std::size_t lengthSamples, std::int16_t* minimum,
                                std::int16_t* maximum);

/// What every implementation of one variant is.
struct Variant {
    ZeroFunction zeroBytes;
    CopyFunction copyBytes;
    MinMaxFunction minMaxS16;
};

// --- one each for the files that are compiled for one kind of processor; known when the program is compiled,
// so that loading it runs none of their code

extern Variant const BaselineVariant;
extern Variant const Ssse3Variant;
extern Variant const Sse41Variant;
extern Variant const AvxVariant;

/// From this many bytes on, counted from the first multiple of 16, zeroing may write past the caches.
constexpr std::size_t StreamingZeroBytes = 524289;
/// From this many bytes on, copying may.
constexpr std::size_t StreamingCopyBytes = 524288;

/// The implementations by variant index.
std::array<Variant const*, VariantCount> const& GetVariants();

/// The index that the entry points use: chosen when the module is loaded, never changed after that.
std::uint32_t GetVariantIndex();

} // namespace Media::Primitives
