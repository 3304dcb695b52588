#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "primitives/processor.h"
#include "primitives/varianttable.h"
#include "unit/primitives/guardedbytes.h"

namespace Media::Primitives {
namespace {

constexpr std::size_t LineBytes = 64;

/// Sizes beyond 4096 bytes: a captured block's, the rings', and those at which writing past the caches
/// begins, for registers of 16 and of 32 bytes.
std::size_t const LargeSizes[] = {16384,  262144, 480000, 524287, 524288, 524289, 524290,
                                  524304, 524305, 524320, 524321, 524352, 960000, 1048579};

/// The variants that this processor runs, each once.
std::vector<std::uint32_t> RunnableVariants() {
    std::uint64_t const features = ReadFeatureMask(ThisProcessor()).value_or(0);
    std::vector<std::uint32_t> runnable;
    for (std::uint32_t const index :
         {VariantIndex::Baseline, VariantIndex::Ssse3, VariantIndex::Sse41, VariantIndex::Avx}) {
        if (CanRunVariant(index, features)) {
            runnable.push_back(index);
        }
    }
    return runnable;
}

/// Memory that begins at a multiple of 64 bytes, with room for every alignment and guard bytes on both sides.
class Arena {
public:
    explicit Arena(std::size_t largestBytes) : bytes_(largestBytes + 4 * LineBytes, Guard) {
        auto const address = reinterpret_cast<std::uintptr_t>(bytes_.data());
        base_ = bytes_.data() + LineBytes + (LineBytes - address % LineBytes) % LineBytes;
    }

    /// The region `offset` bytes behind a multiple of 64.
    std::uint8_t* At(std::size_t offset) { return base_ + offset; }

    /// Guard bytes in the region and in a line on both of its sides.
    void Restore(std::size_t offset, std::size_t sizeBytes) {
        std::memset(At(offset) - LineBytes, Guard, sizeBytes + 2 * LineBytes);
    }

    bool AreGuardsWhole(std::size_t offset, std::size_t sizeBytes) const {
        std::uint8_t const* const region = base_ + offset;
        return std::memcmp(region - LineBytes, guards_.data(), LineBytes) == 0 &&
               std::memcmp(region + sizeBytes, guards_.data(), LineBytes) == 0;
    }

private:
    std::vector<std::uint8_t> bytes_;
    std::vector<std::uint8_t> const guards_ = std::vector<std::uint8_t>(LineBytes, Guard);
    std::uint8_t* base_;
};

class Primitives_Variants : public ::testing::TestWithParam<std::uint32_t> {
protected:
    static constexpr std::size_t LargestBytes = 1048579;
    static constexpr std::size_t NeverStream = 0;
    static constexpr std::size_t AlwaysStream = 1;

    Variant const& variant = *GetVariants()[GetParam()];

    bool ZeroesExactly(std::size_t sizeBytes, std::size_t offset, std::size_t largestCacheBytes) {
        arena.Restore(offset, sizeBytes);
        variant.zeroBytes(arena.At(offset), sizeBytes, largestCacheBytes);
        return std::memcmp(arena.At(offset), zeros.data(), sizeBytes) == 0 &&
               arena.AreGuardsWhole(offset, sizeBytes);
    }

    bool CopiesExactly(std::size_t sizeBytes, std::size_t from, std::size_t to,
                       std::size_t largestCacheBytes) {
        arena.Restore(to, sizeBytes);
        variant.copyBytes(pattern.data() + from, arena.At(to), sizeBytes, largestCacheBytes);
        return std::memcmp(arena.At(to), pattern.data() + from, sizeBytes) == 0 &&
               arena.AreGuardsWhole(to, sizeBytes);
    }

    Arena arena{LargestBytes};
    std::vector<std::uint8_t> const zeros = std::vector<std::uint8_t>(LargestBytes, 0);
    std::vector<std::uint8_t> const pattern = Pattern(LargestBytes + LineBytes);
};

TEST_P(Primitives_Variants, ZeroBytesClearsExactlyTheRegionOfEverySizeUpTo4096AtEveryAlignment) {
    for (std::size_t size = 1; size <= 4096; ++size) {
        for (std::size_t offset = 0; offset < LineBytes; ++offset) {
            ASSERT_TRUE(ZeroesExactly(size, offset, NeverStream)) << size << " at " << offset;
        }
    }
}

TEST_P(Primitives_Variants, ZeroBytesClearsExactlyTheRegionOfLargeSizesAtEveryAlignment) {
    for (std::size_t const size : LargeSizes) {
        for (std::size_t offset = 0; offset < LineBytes; ++offset) {
            ASSERT_TRUE(ZeroesExactly(size, offset, offset % 2 == 0 ? AlwaysStream : NeverStream))
                << size << " at " << offset;
        }
    }
}

TEST_P(Primitives_Variants, CopyBytesCopiesExactlyTheRegionOfEverySizeUpTo4096AtEveryAlignment) {
    for (std::size_t size = 1; size <= 4096; ++size) {
        for (std::size_t to = 0; to < LineBytes; ++to) {
            // Prime to 64: with the size, every pair of alignments comes up.
            std::size_t const from = (to * 5 + size) % LineBytes;
            ASSERT_TRUE(CopiesExactly(size, from, to, NeverStream))
                << size << " from " << from << " to " << to;
        }
    }
}

TEST_P(Primitives_Variants, CopyBytesCopiesExactlyTheRegionAtEveryPairOfAlignments) {
    for (std::size_t const size :
         {1U, 2U, 3U, 7U, 15U, 16U, 17U, 31U, 32U, 33U, 63U, 64U, 65U, 127U, 128U, 129U, 255U, 1920U}) {
        for (std::size_t from = 0; from < LineBytes; ++from) {
            for (std::size_t to = 0; to < LineBytes; ++to) {
                ASSERT_TRUE(CopiesExactly(size, from, to, NeverStream))
                    << size << " from " << from << " to " << to;
            }
        }
    }
}

TEST_P(Primitives_Variants, CopyBytesCopiesExactlyTheRegionOfLargeSizesAtEveryAlignment) {
    for (std::size_t const size : LargeSizes) {
        for (std::size_t to = 0; to < LineBytes; ++to) {
            std::size_t const from = to * 5 % LineBytes;
            ASSERT_TRUE(CopiesExactly(size, from, to, to % 2 == 0 ? AlwaysStream : NeverStream))
                << size << " from " << from << " to " << to;
        }
    }
}

TEST_P(Primitives_Variants, MinMaxS16FindsAnExtremeAtEveryPlaceAndNoneOutside) {
    std::vector<std::int16_t> samples(2 + 200 + 2);
    for (std::size_t count = 1; count <= 200; ++count) {
        for (std::size_t offset = 0; offset < 2; ++offset) {
            for (std::size_t place = 0; place < count; ++place) {
                // What lies around must not be looked at.
                std::fill(samples.begin(), samples.end(), std::int16_t{INT16_MIN});
                auto const first = samples.begin() + 1 + static_cast<std::ptrdiff_t>(offset);
                std::fill(first, first + static_cast<std::ptrdiff_t>(count), std::int16_t{100});
                auto const at = first + static_cast<std::ptrdiff_t>(place);
                std::int16_t minimum = 0;
                std::int16_t maximum = 0;

                *at = -32767;
                variant.minMaxS16(&*first, count, &minimum, &maximum);
                ASSERT_EQ(minimum, -32767) << place << " of " << count;
                ASSERT_EQ(maximum, count == 1 ? -32767 : 100) << place << " of " << count;

                *at = 32767;
                variant.minMaxS16(&*first, count, &minimum, &maximum);
                ASSERT_EQ(minimum, count == 1 ? 32767 : 100) << place << " of " << count;
                ASSERT_EQ(maximum, 32767) << place << " of " << count;
            }
        }
    }
}

TEST_P(Primitives_Variants, MinMaxS16IsThatOfAPlainSearchForEverySizeUpTo4096) {
    std::mt19937 random(20'260'101);
    std::uniform_int_distribution<int> any(INT16_MIN, INT16_MAX);
    std::vector<std::int16_t> samples(4096);
    std::generate(samples.begin(), samples.end(), [&] { return static_cast<std::int16_t>(any(random)); });
    for (std::size_t count = 1; count <= 4096; ++count) {
        // From the end, so that every size has extremes of its own.
        std::int16_t const* const first = samples.data() + (4096 - count);
        std::int16_t expectedMinimum = *first;
        std::int16_t expectedMaximum = *first;
        for (std::size_t i = 1; i < count; ++i) {
            expectedMinimum = first[i] < expectedMinimum ? first[i] : expectedMinimum;
            expectedMaximum = first[i] > expectedMaximum ? first[i] : expectedMaximum;
        }
        std::int16_t minimum = 0;
        std::int16_t maximum = 0;
        variant.minMaxS16(first, count, &minimum, &maximum);
        ASSERT_EQ(minimum, expectedMinimum) << count;
        ASSERT_EQ(maximum, expectedMaximum) << count;
    }
}

TEST_P(Primitives_Variants, MinMaxS16KnowsEveryValueAsMinimumAndAsMaximum) {
    // Every pair of a value and its upper neighbour, in a whole number of registers.
    std::vector<std::int16_t> samples(32);
    for (int value = INT16_MIN; value < INT16_MAX; ++value) {
        std::fill(samples.begin(), samples.end(), static_cast<std::int16_t>(value));
        samples[13] = static_cast<std::int16_t>(value + 1);
        std::int16_t minimum = 0;
        std::int16_t maximum = 0;
        variant.minMaxS16(samples.data(), samples.size(), &minimum, &maximum);
        ASSERT_EQ(minimum, value);
        ASSERT_EQ(maximum, value + 1);
    }
}

std::string NameOf(::testing::TestParamInfo<std::uint32_t> const& test) {
    char const* const names[] = {"Baseline", "Baseline", "Ssse3", "Ssse3", "Sse41", "Avx"};
    return names[test.param];
}

INSTANTIATE_TEST_SUITE_P(Runnable, Primitives_Variants, ::testing::ValuesIn(RunnableVariants()), NameOf);

TEST(Primitives_GetVariants, NameTheSameBaselineTwiceAndTheSameSsse3Twice) {
    auto const& variants = GetVariants();
    EXPECT_EQ(variants[0], &BaselineVariant);
    EXPECT_EQ(variants[1], &BaselineVariant);
    EXPECT_EQ(variants[2], &Ssse3Variant);
    EXPECT_EQ(variants[3], &Ssse3Variant);
    EXPECT_EQ(variants[4], &Sse41Variant);
    EXPECT_EQ(variants[5], &AvxVariant);
}

TEST(Primitives_GetVariantIndex, IsTheBestThatThisProcessorRuns) {
    ThisProcessor const processor;
    EXPECT_EQ(GetVariantIndex(), SelectVariant(ReadFeatureMask(processor), ReadVendor(processor)).index);
}

/// Set before main, after the choice or before it: static objects of several files are made in any order.
bool const hasWorkedBeforeMain = [] {
    std::vector<std::uint8_t> bytes(100, Guard);
    BaselineVariant.zeroBytes(bytes.data(), bytes.size(), 0);
    return bytes.front() == 0 && GetVariants()[GetVariantIndex()] != nullptr;
}();

TEST(Primitives_GetVariantIndex, NamesAVariantAlsoInStaticInitialisers) {
    EXPECT_TRUE(hasWorkedBeforeMain);
}

} // namespace
} // namespace Media::Primitives
