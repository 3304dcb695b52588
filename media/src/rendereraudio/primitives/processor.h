#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace Media::Primitives {

/// What the `cpuid` instruction answers.
struct CpuidAnswer {
    std::uint32_t eax;
    std::uint32_t ebx;
    std::uint32_t ecx;
    std::uint32_t edx;
};

/// Where processor features are read: the processor itself, or what a test makes of it.
class Cpuid {
public:
    virtual ~Cpuid() = default;

    virtual CpuidAnswer Ask(std::uint32_t leaf, std::uint32_t subleaf) const = 0;
    /// The register XCR0, which tells what vector state the operating system saves. Only there when leaf 1
    /// says so (OSXSAVE).
    virtual std::uint64_t ReadXcr0() const = 0;
};

/// The processor that this thread runs on.
class ThisProcessor final : public Cpuid {
public:
    CpuidAnswer Ask(std::uint32_t leaf, std::uint32_t subleaf) const override;
    std::uint64_t ReadXcr0() const override;
};

/// Bits of a feature mask.
namespace Feature {
constexpr std::uint64_t Mmx = 0x1;
constexpr std::uint64_t Sse = 0x2;
constexpr std::uint64_t Sse2 = 0x4;
constexpr std::uint64_t Sse3 = 0x8;
constexpr std::uint64_t Ssse3 = 0x10;
constexpr std::uint64_t Movbe = 0x20;
constexpr std::uint64_t Sse41 = 0x40;
constexpr std::uint64_t Sse42 = 0x80;
constexpr std::uint64_t Avx = 0x100;
/// The operating system saves the AVX state.
constexpr std::uint64_t AvxEnabled = 0x200;
constexpr std::uint64_t Aes = 0x400;
constexpr std::uint64_t Pclmulqdq = 0x800;
/// A vendor's own, on processors of family 0xB.
constexpr std::uint64_t FamilyB = 0x1000;
constexpr std::uint64_t Rdrand = 0x2000;
constexpr std::uint64_t F16c = 0x4000;
} // namespace Feature

/// The processor's features; nothing when it does not tell any.
std::optional<std::uint64_t> ReadFeatureMask(Cpuid const& cpuid);

/// The processor's vendor, such as "GenuineIntel".
std::string ReadVendor(Cpuid const& cpuid);

/// The only vendor whose processors are taken without a warning and whose caches are asked for.
constexpr char const* IntelVendor = "GenuineIntel";

/// The size of the largest cache that leaf 2 tells of, in bytes; 0 when it tells of none, and on processors
/// of other vendors.
std::size_t ReadLargestCacheBytes(Cpuid const& cpuid);

} // namespace Media::Primitives
