#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace Media::Primitives {

/// How many places each table of implementations has.
constexpr std::size_t VariantCount = 6;

/// Places in the tables.
namespace VariantIndex {
constexpr std::uint32_t Baseline = 0;
constexpr std::uint32_t Sse3 = 1;
constexpr std::uint32_t Ssse3 = 2;
constexpr std::uint32_t Ssse3Movbe = 3;
constexpr std::uint32_t Sse41 = 4;
constexpr std::uint32_t Avx = 5;
} // namespace VariantIndex
static_assert(VariantIndex::Avx + 1 == VariantCount);

/// What the choice has to report besides the variant.
namespace SelectionWarning {
constexpr int None = 0;
/// A processor of another vendor than Intel. It changes neither the choice nor anything else.
constexpr int OtherVendor = 20;
/// A processor without SSE3.
constexpr int NoSse3 = 36;
} // namespace SelectionWarning

/// A place in the tables, and a warning.
struct Selection {
    std::uint32_t index;
    int warning;
};

/// The best variant for a processor with `features` (nothing when they cannot be read) of `vendor`.
Selection SelectVariant(std::optional<std::uint64_t> features, std::string const& vendor);

/// True when a processor with `features` can run the variant at `index`.
bool CanRunVariant(std::uint32_t index, std::uint64_t features);

} // namespace Media::Primitives
