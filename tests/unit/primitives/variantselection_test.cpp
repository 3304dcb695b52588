#include "primitives/variantselection.h"

#include <gtest/gtest.h>

#include "primitives/processor.h"

namespace Media::Primitives {
namespace {

constexpr std::uint64_t Everything = 0x7FFF;

std::uint32_t IndexFor(std::uint64_t features) {
    return SelectVariant(features, "GenuineIntel").index;
}
int WarningFor(std::uint64_t features, char const* vendor) {
    return SelectVariant(features, vendor).warning;
}

TEST(VariantSelection_SelectVariant, AvxNeedsTheProcessorAndTheSystem) {
    EXPECT_EQ(IndexFor(Everything), 5U);
    EXPECT_EQ(IndexFor(Feature::Avx | Feature::AvxEnabled), 5U);
    EXPECT_EQ(IndexFor(Everything & ~Feature::AvxEnabled), 4U);
    EXPECT_EQ(IndexFor(Everything & ~Feature::Avx), 4U);
}

TEST(VariantSelection_SelectVariant, Sse41NeedsItsOwnFeatureAlone) {
    EXPECT_EQ(IndexFor(Feature::Sse41), 4U);
    EXPECT_EQ(IndexFor(Feature::Sse41 | Feature::Ssse3 | Feature::Movbe), 4U);
    // SSE4.2 is no SSE4.1.
    EXPECT_EQ(IndexFor(Feature::Sse42 | Feature::Sse3), 1U);
}

TEST(VariantSelection_SelectVariant, Ssse3IsThreeWithMovbeAndTwoWithout) {
    EXPECT_EQ(IndexFor(Feature::Ssse3 | Feature::Movbe | Feature::Sse3), 3U);
    EXPECT_EQ(IndexFor(Feature::Ssse3 | Feature::Sse3), 2U);
    EXPECT_EQ(IndexFor(Feature::Movbe | Feature::Sse3), 1U);
}

TEST(VariantSelection_SelectVariant, Sse3IsOneAndLessIsZeroWithAWarning) {
    EXPECT_EQ(IndexFor(Feature::Sse3), 1U);
    EXPECT_EQ(WarningFor(Feature::Sse3, "GenuineIntel"), 0);
    EXPECT_EQ(IndexFor(Feature::Mmx | Feature::Sse | Feature::Sse2), 0U);
    EXPECT_EQ(WarningFor(Feature::Mmx | Feature::Sse | Feature::Sse2, "GenuineIntel"), 36);
    EXPECT_EQ(WarningFor(0, "GenuineIntel"), 36);
}

TEST(VariantSelection_SelectVariant, AnotherVendorIsWarnedOfInsteadAndKeepsItsVariant) {
    for (char const* const vendor : {"AuthenticAMD", "", "genuineintel", "GenuineIntel "}) {
        EXPECT_EQ(SelectVariant(Everything, vendor).index, 5U) << vendor;
        EXPECT_EQ(WarningFor(Everything, vendor), 20) << vendor;
        EXPECT_EQ(SelectVariant(0, vendor).index, 0U) << vendor;
        EXPECT_EQ(WarningFor(0, vendor), 20) << vendor;
    }
    EXPECT_EQ(WarningFor(Everything, "GenuineIntel"), 0);
}

TEST(VariantSelection_SelectVariant, UnreadableFeaturesAreTheBaselineWithoutAWarning) {
    for (char const* const vendor : {"GenuineIntel", "AuthenticAMD"}) {
        Selection const selection = SelectVariant(std::nullopt, vendor);
        EXPECT_EQ(selection.index, 0U);
        EXPECT_EQ(selection.warning, 0);
    }
}

TEST(VariantSelection_SelectVariant, NeverNamesAVariantThatTheProcessorCannotRun) {
    for (std::uint64_t features = 0; features <= Everything; ++features) {
        ASSERT_TRUE(CanRunVariant(IndexFor(features), features)) << std::hex << features;
    }
}

TEST(VariantSelection_CanRunVariant, FollowsTheFeatures) {
    EXPECT_TRUE(CanRunVariant(0, 0));
    EXPECT_TRUE(CanRunVariant(1, 0));
    EXPECT_FALSE(CanRunVariant(2, Everything & ~Feature::Ssse3));
    EXPECT_TRUE(CanRunVariant(2, Feature::Ssse3));
    EXPECT_FALSE(CanRunVariant(3, Everything & ~Feature::Ssse3));
    EXPECT_TRUE(CanRunVariant(3, Feature::Ssse3));
    EXPECT_FALSE(CanRunVariant(4, Everything & ~Feature::Sse41));
    EXPECT_FALSE(CanRunVariant(5, Everything & ~Feature::Avx));
    EXPECT_FALSE(CanRunVariant(5, Everything & ~Feature::AvxEnabled));
    EXPECT_FALSE(CanRunVariant(6, Everything));
}

} // namespace
} // namespace Media::Primitives
