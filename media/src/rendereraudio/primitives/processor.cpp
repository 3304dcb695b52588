#include "primitives/processor.h"

#include <algorithm>
#include <array>
#include <cstring>

#if defined(_MSC_VER)
#include <immintrin.h>
#include <intrin.h>
#else
#include <cpuid.h>
#endif

namespace Media::Primitives {

namespace {

constexpr std::uint32_t VendorLeaf = 0;
constexpr std::uint32_t FeatureLeaf = 1;
constexpr std::uint32_t CacheDescriptorLeaf = 2;
constexpr std::uint32_t CacheParameterLeaf = 4;
constexpr std::uint32_t FamilyBLeaf = 0x20000001;
constexpr std::uint32_t FamilyB = 0xB;

constexpr bool HasBit(std::uint64_t value, unsigned bit) {
    return (value >> bit & 1U) != 0;
}

/// Vector registers of 128 and 256 bits are saved at thread switches.
bool SavesAvxState(Cpuid const& cpuid, CpuidAnswer const& features) {
    constexpr unsigned OsxsaveBit = 27;
    constexpr unsigned AvxBit = 28;
    constexpr std::uint64_t SseAndAvxState = 0x6;
    return HasBit(features.ecx, OsxsaveBit) && HasBit(features.ecx, AvxBit) &&
           (cpuid.ReadXcr0() & SseAndAvxState) == SseAndAvxState;
}

constexpr std::size_t Kib = 1024;

/// One-byte cache descriptors of leaf 2, data and unified caches only.
struct CacheDescriptor {
    std::uint8_t byte;
    std::size_t sizeKib;
};
constexpr CacheDescriptor CacheDescriptors[] = {
    {0x0A, 8},     {0x0C, 16},    {0x0D, 16},    {0x0E, 24},    {0x1D, 128},  {0x21, 256},  {0x22, 512},
    {0x23, 1024},  {0x24, 1024},  {0x25, 2048},  {0x29, 4096},  {0x2C, 32},   {0x41, 128},  {0x42, 256},
    {0x43, 512},   {0x44, 1024},  {0x45, 2048},  {0x46, 4096},  {0x47, 8192}, {0x48, 3072}, {0x49, 4096},
    {0x4A, 6144},  {0x4B, 8192},  {0x4C, 12288}, {0x4D, 16384}, {0x4E, 6144}, {0x60, 16},   {0x66, 8},
    {0x67, 16},    {0x68, 32},    {0x78, 1024},  {0x79, 128},   {0x7A, 256},  {0x7B, 512},  {0x7C, 1024},
    {0x7D, 2048},  {0x7F, 512},   {0x80, 512},   {0x82, 256},   {0x83, 512},  {0x84, 1024}, {0x85, 2048},
    {0x86, 512},   {0x87, 1024},  {0xD0, 512},   {0xD1, 1024},  {0xD2, 2048}, {0xD6, 1024}, {0xD7, 2048},
    {0xD8, 4096},  {0xDC, 1536},  {0xDD, 3072},  {0xDE, 6144},  {0xE2, 2048}, {0xE3, 4096}, {0xE4, 8192},
    {0xEA, 12288}, {0xEB, 18432}, {0xEC, 24576},
};

/// A descriptor that says: not here, but in leaf 4.
constexpr std::uint8_t AskParameterLeaf = 0xFF;

std::size_t LargestOfParameterLeaf(Cpuid const& cpuid) {
    constexpr std::uint32_t TypeMask = 0x1F;
    constexpr std::uint32_t NoMoreCaches = 0;
    constexpr std::uint32_t InstructionCache = 2;
    // More levels than any processor has, so that a wrong answer does not loop for ever.
    constexpr std::uint32_t MaxCaches = 16;
    std::size_t largest = 0;
    for (std::uint32_t i = 0; i < MaxCaches; ++i) {
        CpuidAnswer const cache = cpuid.Ask(CacheParameterLeaf, i);
        std::uint32_t const type = cache.eax & TypeMask;
        if (type == NoMoreCaches) {
            break;
        }
        if (type != InstructionCache) {
            std::size_t const lineBytes = (cache.ebx & 0xFFF) + std::size_t{1};
            std::size_t const partitions = (cache.ebx >> 12 & 0x3FF) + std::size_t{1};
            std::size_t const ways = (cache.ebx >> 22) + std::size_t{1};
            std::size_t const sets = cache.ecx + std::size_t{1};
            largest = std::max(largest, ways * partitions * lineBytes * sets);
        }
    }
    return largest;
}

std::size_t SizeOfDescriptor(Cpuid const& cpuid, std::uint8_t byte) {
    if (byte == AskParameterLeaf) {
        return LargestOfParameterLeaf(cpuid);
    }
    auto const* const found = std::find_if(std::begin(CacheDescriptors), std::end(CacheDescriptors),
                                           [byte](CacheDescriptor const& d) { return d.byte == byte; });
    return found == std::end(CacheDescriptors) ? 0 : found->sizeKib * Kib;
}

} // namespace

#if defined(_MSC_VER)

CpuidAnswer ThisProcessor::Ask(std::uint32_t leaf, std::uint32_t subleaf) const {
    std::array<int, 4> answer{};
    __cpuidex(answer.data(), static_cast<int>(leaf), static_cast<int>(subleaf));
    return {static_cast<std::uint32_t>(answer[0]), static_cast<std::uint32_t>(answer[1]),
            static_cast<std::uint32_t>(answer[2]), static_cast<std::uint32_t>(answer[3])};
}

std::uint64_t ThisProcessor::ReadXcr0() const {
    return _xgetbv(0);
}

#else

CpuidAnswer ThisProcessor::Ask(std::uint32_t leaf, std::uint32_t subleaf) const {
    CpuidAnswer answer{};
    __cpuid_count(leaf, subleaf, answer.eax, answer.ebx, answer.ecx, answer.edx);
    return answer;
}

std::uint64_t ThisProcessor::ReadXcr0() const {
    // The intrinsic would ask for the whole file to be compiled for processors that have the instruction.
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return std::uint64_t{high} << 32 | low;
}

#endif

std::optional<std::uint64_t> ReadFeatureMask(Cpuid const& cpuid) {
    if (cpuid.Ask(VendorLeaf, 0).eax < FeatureLeaf) {
        return std::nullopt;
    }
    CpuidAnswer const features = cpuid.Ask(FeatureLeaf, 0);
    struct {
        std::uint32_t value;
        unsigned bit;
        std::uint64_t feature;
    } const rows[] = {
        {features.edx, 23, Feature::Mmx},      {features.edx, 25, Feature::Sse},
        {features.edx, 26, Feature::Sse2},     {features.ecx, 0, Feature::Sse3},
        {features.ecx, 9, Feature::Ssse3},     {features.ecx, 22, Feature::Movbe},
        {features.ecx, 19, Feature::Sse41},    {features.ecx, 20, Feature::Sse42},
        {features.ecx, 28, Feature::Avx},      {features.ecx, 25, Feature::Aes},
        {features.ecx, 1, Feature::Pclmulqdq}, {features.ecx, 30, Feature::Rdrand},
        {features.ecx, 29, Feature::F16c},
    };
    std::uint64_t mask = 0;
    for (auto const& row : rows) {
        if (HasBit(row.value, row.bit)) {
            mask |= row.feature;
        }
    }
    if (SavesAvxState(cpuid, features)) {
        mask |= Feature::AvxEnabled;
    }
    bool const isFamilyB = (features.eax >> 8 & 0xF) == FamilyB;
    if (isFamilyB && HasBit(cpuid.Ask(FamilyBLeaf, 0).edx, 1)) {
        mask |= Feature::FamilyB;
    }
    return mask;
}

std::string ReadVendor(Cpuid const& cpuid) {
    CpuidAnswer const answer = cpuid.Ask(VendorLeaf, 0);
    std::array<char, 12> letters{};
    std::memcpy(letters.data(), &answer.ebx, 4);
    std::memcpy(letters.data() + 4, &answer.edx, 4);
    std::memcpy(letters.data() + 8, &answer.ecx, 4);
    return std::string(letters.begin(), letters.end());
}

std::size_t ReadLargestCacheBytes(Cpuid const& cpuid) {
    if (ReadVendor(cpuid) != IntelVendor || cpuid.Ask(VendorLeaf, 0).eax < CacheDescriptorLeaf) {
        return 0;
    }
    CpuidAnswer const answer = cpuid.Ask(CacheDescriptorLeaf, 0);
    constexpr unsigned NotDescriptorsBit = 31;
    constexpr std::uint32_t CountByte = 0xFF;
    std::size_t largest = 0;
    // The lowest byte of EAX tells how often to ask: always once, and is no descriptor.
    for (std::uint32_t descriptors : {answer.eax & ~CountByte, answer.ebx, answer.ecx, answer.edx}) {
        if (HasBit(descriptors, NotDescriptorsBit)) {
            continue;
        }
        for (; descriptors != 0; descriptors >>= 8) {
            auto const byte = static_cast<std::uint8_t>(descriptors & 0xFF);
            largest = std::max(largest, SizeOfDescriptor(cpuid, byte));
        }
    }
    return largest;
}

} // namespace Media::Primitives
