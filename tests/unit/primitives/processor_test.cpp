#include "primitives/processor.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <utility>
#include <vector>

namespace Media::Primitives {
namespace {

/// A processor of a test's making; leaves not set answer zeros.
class MadeUpProcessor final : public Cpuid {
public:
    MadeUpProcessor(char const* vendor, std::uint32_t maxLeaf) {
        CpuidAnswer answer{maxLeaf, 0, 0, 0};
        std::memcpy(&answer.ebx, vendor, 4);
        std::memcpy(&answer.edx, vendor + 4, 4);
        std::memcpy(&answer.ecx, vendor + 8, 4);
        Set(0, 0, answer);
    }

    void Set(std::uint32_t leaf, std::uint32_t subleaf, CpuidAnswer answer) {
        answers_[{leaf, subleaf}] = answer;
    }
    void SetXcr0(std::uint64_t value) { xcr0_ = value; }

    CpuidAnswer Ask(std::uint32_t leaf, std::uint32_t subleaf) const override {
        auto const found = answers_.find({leaf, subleaf});
        return found == answers_.end() ? CpuidAnswer{} : found->second;
    }
    std::uint64_t ReadXcr0() const override {
        EXPECT_NE(Ask(1, 0).ecx & 1U << 27, 0U) << "the instruction may not be there";
        return xcr0_;
    }

private:
    std::map<std::pair<std::uint32_t, std::uint32_t>, CpuidAnswer> answers_;
    std::uint64_t xcr0_ = 0;
};

constexpr char const* Intel = "GenuineIntel";
constexpr char const* Other = "AuthenticAMD";

std::uint64_t MaskOf(CpuidAnswer const& leaf1, std::uint64_t xcr0 = 0) {
    MadeUpProcessor processor(Intel, 1);
    processor.Set(1, 0, leaf1);
    processor.SetXcr0(xcr0);
    return ReadFeatureMask(processor).value();
}

CpuidAnswer Ecx(std::uint32_t ecx) {
    return {0, 0, ecx, 0};
}
CpuidAnswer Edx(std::uint32_t edx) {
    return {0, 0, 0, edx};
}

TEST(Processor_ReadFeatureMask, HasOneBitForEachFeature) {
    EXPECT_EQ(MaskOf(Edx(1U << 23)), 0x1U);
    EXPECT_EQ(MaskOf(Edx(1U << 25)), 0x2U);
    EXPECT_EQ(MaskOf(Edx(1U << 26)), 0x4U);
    EXPECT_EQ(MaskOf(Ecx(1U << 0)), 0x8U);
    EXPECT_EQ(MaskOf(Ecx(1U << 9)), 0x10U);
    EXPECT_EQ(MaskOf(Ecx(1U << 22)), 0x20U);
    EXPECT_EQ(MaskOf(Ecx(1U << 19)), 0x40U);
    EXPECT_EQ(MaskOf(Ecx(1U << 20)), 0x80U);
    EXPECT_EQ(MaskOf(Ecx(1U << 28)), 0x100U);
    EXPECT_EQ(MaskOf(Ecx(1U << 25)), 0x400U);
    EXPECT_EQ(MaskOf(Ecx(1U << 1)), 0x800U);
    EXPECT_EQ(MaskOf(Ecx(1U << 30)), 0x2000U);
    EXPECT_EQ(MaskOf(Ecx(1U << 29)), 0x4000U);
}

TEST(Processor_ReadFeatureMask, HasNoBitForAnythingElse) {
    EXPECT_EQ(MaskOf({0xFFFFF0FF, 0xFFFFFFFF, 0, 0}), 0U);
    // Every bit but those of the features.
    EXPECT_EQ(MaskOf(Edx(~(1U << 23 | 1U << 25 | 1U << 26))), 0U);
    EXPECT_EQ(MaskOf(Ecx(~(1U << 0 | 1U << 1 | 1U << 9 | 1U << 19 | 1U << 20 | 1U << 22 | 1U << 25 |
                           1U << 28 | 1U << 29 | 1U << 30))),
              0U);
}

TEST(Processor_ReadFeatureMask, EveryFeatureAtOnceIsEveryBitButTheVendors) {
    EXPECT_EQ(MaskOf({0, 0, 0xFFFFFFFF, 0xFFFFFFFF}, 0x6), 0x6FFFU);
}

TEST(Processor_ReadFeatureMask, TheAvxStateCountsWhenTheSystemSavesBothHalves) {
    constexpr std::uint32_t OsxsaveAndAvx = 1U << 27 | 1U << 28;
    EXPECT_EQ(MaskOf(Ecx(OsxsaveAndAvx), 0x6), 0x300U);
    EXPECT_EQ(MaskOf(Ecx(OsxsaveAndAvx), 0xE7), 0x300U);
    EXPECT_EQ(MaskOf(Ecx(OsxsaveAndAvx), 0x2), 0x100U);
    EXPECT_EQ(MaskOf(Ecx(OsxsaveAndAvx), 0x4), 0x100U);
    EXPECT_EQ(MaskOf(Ecx(OsxsaveAndAvx), 0x1), 0x100U);
}

TEST(Processor_ReadFeatureMask, TheAvxStateDoesNotCountWithoutAvxOrWithoutTheInstructionThatTells) {
    EXPECT_EQ(MaskOf(Ecx(1U << 27), 0x6), 0U);
    EXPECT_EQ(MaskOf(Ecx(1U << 28), 0x6), 0x100U);
}

TEST(Processor_ReadFeatureMask, TheVendorsBitIsAskedForOnFamilyBAlone) {
    for (std::uint32_t family = 0; family < 16; ++family) {
        MadeUpProcessor processor(Intel, 1);
        processor.Set(1, 0, {family << 8, 0, 0, 0});
        processor.Set(0x20000001, 0, {0, 0, 0, 1U << 1});
        EXPECT_EQ(ReadFeatureMask(processor), family == 0xB ? 0x1000U : 0U) << family;
    }
}

TEST(Processor_ReadFeatureMask, TheVendorsBitIsBitOne) {
    MadeUpProcessor processor(Intel, 1);
    processor.Set(1, 0, {0xB00, 0, 0, 0});
    processor.Set(0x20000001, 0, {0, 0, 0, ~(1U << 1)});
    EXPECT_EQ(ReadFeatureMask(processor), 0U);
}

TEST(Processor_ReadFeatureMask, CannotBeReadFromAProcessorWithoutLeaf1) {
    MadeUpProcessor processor(Intel, 0);
    processor.Set(1, 0, {0, 0, 0xFFFFFFFF, 0xFFFFFFFF});
    EXPECT_EQ(ReadFeatureMask(processor), std::nullopt);
}

TEST(Processor_ReadFeatureMask, OfThisProcessorHasWhatEvery64BitOneHas) {
    constexpr std::uint64_t Always = Feature::Mmx | Feature::Sse | Feature::Sse2;
    EXPECT_EQ(ReadFeatureMask(ThisProcessor()).value_or(0) & Always, Always);
}

TEST(Processor_ReadVendor, IsTwelveLetters) {
    EXPECT_EQ(ReadVendor(MadeUpProcessor(Intel, 1)), "GenuineIntel");
    EXPECT_EQ(ReadVendor(MadeUpProcessor(Other, 1)), "AuthenticAMD");
    EXPECT_EQ(ReadVendor(ThisProcessor()).size(), 12U);
}

// --- the largest cache

std::size_t LargestCacheOf(CpuidAnswer const& leaf2, char const* vendor = Intel, std::uint32_t maxLeaf = 2) {
    MadeUpProcessor processor(vendor, maxLeaf);
    processor.Set(2, 0, leaf2);
    return ReadLargestCacheBytes(processor);
}

TEST(Processor_ReadLargestCacheBytes, IsTheLargestThatTheDescriptorsName) {
    // 32 KiB, 6 MiB and 3 MiB, in three registers.
    EXPECT_EQ(LargestCacheOf({0x00002C01, 0x00DE0000, 0x00000048, 0}), 6U * 1024 * 1024);
    EXPECT_EQ(LargestCacheOf({0x00000001, 0, 0, 0x00EC2C7D}), 24U * 1024 * 1024);
}

TEST(Processor_ReadLargestCacheBytes, KnowsEveryDescriptorAndNoOther) {
    constexpr std::size_t Kib = 1024;
    constexpr std::size_t Mib = 1024 * Kib;
    // The vendor's manual has them by descriptor, with caches of instructions and pages among them.
    std::map<std::size_t, std::vector<std::uint32_t>> const descriptorsOf = {
        {8 * Kib, {0x0A, 0x66}},
        {16 * Kib, {0x0C, 0x0D, 0x60, 0x67}},
        {24 * Kib, {0x0E}},
        {32 * Kib, {0x2C, 0x68}},
        {128 * Kib, {0x1D, 0x41, 0x79}},
        {256 * Kib, {0x21, 0x42, 0x7A, 0x82}},
        {512 * Kib, {0x22, 0x43, 0x7B, 0x7F, 0x80, 0x83, 0x86, 0xD0}},
        {1 * Mib, {0x23, 0x24, 0x44, 0x78, 0x7C, 0x84, 0x87, 0xD1, 0xD6}},
        {1536 * Kib, {0xDC}},
        {2 * Mib, {0x25, 0x45, 0x7D, 0x85, 0xD2, 0xD7, 0xE2}},
        {3 * Mib, {0x48, 0xDD}},
        {4 * Mib, {0x29, 0x46, 0x49, 0xD8, 0xE3}},
        {6 * Mib, {0x4A, 0x4E, 0xDE}},
        {8 * Mib, {0x47, 0x4B, 0xE4}},
        {12 * Mib, {0x4C, 0xEA}},
        {16 * Mib, {0x4D}},
        {18 * Mib, {0xEB}},
        {24 * Mib, {0xEC}},
    };
    std::map<std::uint32_t, std::size_t> sizes;
    for (auto const& [size, descriptors] : descriptorsOf) {
        for (std::uint32_t const descriptor : descriptors) {
            sizes[descriptor] = size;
        }
    }
    // 0xFF is none, and asks the parameter leaf, which tells of nothing here.
    for (std::uint32_t descriptor = 0; descriptor <= 0xFF; ++descriptor) {
        EXPECT_EQ(LargestCacheOf({0x01, descriptor, 0, 0}), sizes[descriptor]) << std::hex << descriptor;
    }
}

TEST(Processor_ReadLargestCacheBytes, LeavesOutRegistersThatHoldNoDescriptors) {
    EXPECT_EQ(LargestCacheOf({0x00002C01, 0x800000EC, 0, 0}), 32U * 1024);
}

TEST(Processor_ReadLargestCacheBytes, DoesNotTakeTheCountForADescriptor) {
    // 0x0A in the lowest byte of EAX would be a cache of 8 KiB.
    EXPECT_EQ(LargestCacheOf({0x0000000A, 0, 0, 0}), 0U);
}

TEST(Processor_ReadLargestCacheBytes, AsksTheParameterLeafWhenTheDescriptorsSaySo) {
    MadeUpProcessor processor(Intel, 4);
    processor.Set(2, 0, {0x00FF0001, 0, 0, 0});
    // Ways, partitions, line and sets, each less one: 8 x 1 x 64 x 64 of data, 4 x 1 x 64 x 99999 of
    // instructions, 16 x 2 x 64 x 4096 unified.
    processor.Set(4, 0, {1, 7U << 22 | 63, 63, 0});
    processor.Set(4, 1, {2, 3U << 22 | 63, 99998, 0});
    processor.Set(4, 2, {3, 15U << 22 | 1U << 12 | 63, 4095, 0});
    EXPECT_EQ(ReadLargestCacheBytes(processor), 16U * 2 * 64 * 4096);
}

TEST(Processor_ReadLargestCacheBytes, BeginsWithTheFirstCacheOfTheParameterLeaf) {
    MadeUpProcessor processor(Intel, 4);
    processor.Set(2, 0, {0x00FF0001, 0, 0, 0});
    processor.Set(4, 0, {1, 7U << 22 | 63, 63, 0});
    EXPECT_EQ(ReadLargestCacheBytes(processor), 8U * 64 * 64);
}

TEST(Processor_ReadLargestCacheBytes, EndsOnAProcessorThatTellsOfCachesWithoutEnd) {
    MadeUpProcessor processor(Intel, 4);
    processor.Set(2, 0, {0x00FF0001, 0, 0, 0});
    for (std::uint32_t i = 0; i < 1000; ++i) {
        processor.Set(4, i, {3, 63, i, 0});
    }
    EXPECT_EQ(ReadLargestCacheBytes(processor), 64U * 16);
}

TEST(Processor_ReadLargestCacheBytes, IsUnknownOnProcessorsOfOtherVendorsAndWithoutLeaf2) {
    EXPECT_EQ(LargestCacheOf({0x00002C01, 0, 0, 0}, Other), 0U);
    EXPECT_EQ(LargestCacheOf({0x00002C01, 0, 0, 0}, Intel, 1), 0U);
}

} // namespace
} // namespace Media::Primitives
