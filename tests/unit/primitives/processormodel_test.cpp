// On a processor whose model the starter of this program knows: qemu's, see CMakeLists.txt.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "primitives/processor.h"
#include "primitives/varianttable.h"

namespace Media::Primitives {
namespace {

/// Every function of a variant, on regions at an odd place.
[[noreturn]] void RunAll(Variant const& variant) {
    std::vector<std::uint8_t> const source(1000, 1);
    std::vector<std::uint8_t> destination(1000);
    variant.zeroBytes(destination.data() + 1, 900, 0);
    variant.copyBytes(source.data() + 2, destination.data() + 1, 900, 0);
    std::vector<std::int16_t> const samples(450);
    std::int16_t minimum = 0;
    std::int16_t maximum = 0;
    variant.minMaxS16(samples.data(), samples.size(), &minimum, &maximum);
    std::exit(0);
}

TEST(ProcessorModel_GetVariantIndex, IsTheOneExpectedOfIt) {
    char const* const expected = std::getenv("RENDERERAUDIO_EXPECTED_VARIANT");
    ASSERT_NE(expected, nullptr);
    char const* const names[] = {"Baseline", "Sse3", "Ssse3", "Ssse3Movbe", "Sse41", "Avx"};
    EXPECT_STREQ(names[GetVariantIndex()], expected);
}

/// So that a variant which is chosen by mistake, or an instruction that stands where it may not, is noticed.
TEST(ProcessorModel_Variant, EndsAtItsFirstInstructionThatTheProcessorLacks) {
    std::uint64_t const features = ReadFeatureMask(ThisProcessor()).value();
    for (std::uint32_t index = 0; index < VariantCount; ++index) {
        if (CanRunVariant(index, features)) {
            EXPECT_EXIT(RunAll(*GetVariants()[index]), ::testing::ExitedWithCode(0), "") << index;
        } else {
            EXPECT_EXIT(RunAll(*GetVariants()[index]), ::testing::KilledBySignal(SIGILL), "") << index;
        }
    }
}

} // namespace
} // namespace Media::Primitives
