#include "rendereraudiolinelevel.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "support/facts.h"

namespace Media {

/// The tests' key to the meter's rings.
struct RendererAudioLineLevelPeer {
    static std::uint8_t* GetMaxRing(RendererAudioLineLevel& level) { return level.maxRing_; }
};

} // namespace Media

namespace {

using Media::RendererAudioLineLevel;

/// A level is a single-precision power: its last bits depend on the C library.
constexpr float Tolerance = 1e-6F;

/// Meters a block whose extremes are `minimum` and `maximum`.
void Meter(RendererAudioLineLevel& level, std::int16_t minimum, std::int16_t maximum) {
    std::vector<std::int16_t> block(Facts::FrameSamples, minimum);
    block.back() = maximum;
    level.MeterBlock(block.data(), Facts::FrameSamples);
}

void MeterTimes(RendererAudioLineLevel& level, int blocks, std::int16_t minimum, std::int16_t maximum) {
    for (int i = 0; i < blocks; ++i) {
        Meter(level, minimum, maximum);
    }
}

TEST(LineLevel_GetLevel, IsZeroBeforeTheFirstBlock) {
    RendererAudioLineLevel level;
    EXPECT_EQ(level.GetLevel(), 0.0F);
}

TEST(LineLevel_GetLevel, SilenceIsZero) {
    RendererAudioLineLevel level;
    MeterTimes(level, 16, 0, 0);
    EXPECT_EQ(level.GetLevel(), 0.0F);
}

TEST(LineLevel_GetLevel, AConstantOffsetIsSilence) {
    RendererAudioLineLevel level;
    MeterTimes(level, 16, 20000, 20000);
    EXPECT_EQ(level.GetLevel(), 0.0F);
}

TEST(LineLevel_GetLevel, AFullScaleSquareInEveryBlockIsOne) {
    RendererAudioLineLevel level;
    MeterTimes(level, 16, INT16_MIN, INT16_MAX);
    EXPECT_EQ(level.GetLevel(), 1.0F);
}

TEST(LineLevel_GetLevel, OneMissingBlockOfSixteenShows) {
    RendererAudioLineLevel level;
    MeterTimes(level, 15, INT16_MIN, INT16_MAX);
    // 15 of 16: (3825 / 4080) ^ 0.65625 = 0.9375 ^ 0.65625.
    EXPECT_NEAR(level.GetLevel(), 0.958531F, Tolerance);
}

TEST(LineLevel_GetLevel, FollowsThePowerOfTwentyOneThirtySeconds) {
    RendererAudioLineLevel level;
    // 0 and 51 * 256 reduce to 128 and 179: a fifth of the range in every block, 0.2 ^ 0.65625.
    MeterTimes(level, 16, 0, 51 * 256);
    EXPECT_NEAR(level.GetLevel(), 0.347777F, Tolerance);
}

TEST(LineLevel_GetLevel, ASineOfMinus20DecibelsIsAsItsExtremesSay) {
    RendererAudioLineLevel level;
    // -3277 and 3277 reduce to 115 and 140: (16 * 25 / 4080) ^ 0.65625.
    MeterTimes(level, 16, -3277, 3277);
    EXPECT_NEAR(level.GetLevel(), 0.217824F, Tolerance);
}

TEST(LineLevel_GetLevel, TheSmallestDifferenceInOneBlockShows) {
    RendererAudioLineLevel level;
    // -1 and 0 reduce to 127 and 128: (1 / 4080) ^ 0.65625.
    Meter(level, -1, 0);
    EXPECT_NEAR(level.GetLevel(), 0.0042708F, Tolerance);
}

TEST(LineLevel_GetLevel, DifferencesWithinOneStepOfEightBitsAreSilence) {
    RendererAudioLineLevel level;
    // 0..255 all reduce to 128, -256..-1 to 127.
    MeterTimes(level, 8, 0, 255);
    MeterTimes(level, 8, -256, -1);
    EXPECT_EQ(level.GetLevel(), 0.0F);
}

TEST(LineLevel_GetLevel, TheSeventeenthBlockTakesTheFirstOnesPlace) {
    RendererAudioLineLevel level;
    Meter(level, INT16_MIN, INT16_MAX);
    MeterTimes(level, 15, 0, 0);
    // 1 of 16: (255 / 4080) ^ 0.65625 = 2 ^ -2.625.
    EXPECT_NEAR(level.GetLevel(), 0.162105F, Tolerance);
    Meter(level, 0, 0);
    EXPECT_EQ(level.GetLevel(), 0.0F);
}

TEST(LineLevel_GetLevel, IsNotComputedAgainUntilABlockIsMetered) {
    RendererAudioLineLevel level;
    MeterTimes(level, 3, -1000, 1000);
    float const first = level.GetLevel();
    EXPECT_GT(first, 0.0F);
    // Behind the meter's back: what it would compute now is another level.
    Media::RendererAudioLineLevelPeer::GetMaxRing(level)[15] = 255;
    EXPECT_EQ(level.GetLevel(), first);
    Meter(level, -1000, 1000);
    EXPECT_GT(level.GetLevel(), first);
}

TEST(LineLevel_MeterBlock, FindsTheExtremesOfAPartOfABlock) {
    RendererAudioLineLevel level;
    // The extremes lie at the ends, and what follows the counted samples is not looked at.
    std::vector<std::int16_t> const samples{INT16_MIN, 0, INT16_MAX, INT16_MIN};
    level.MeterBlock(samples.data() + 1, 2);
    // 128 and 255: (127 / 4080) ^ 0.65625.
    EXPECT_NEAR(level.GetLevel(), 0.102595F, Tolerance);
}

TEST(LineLevel_MeterBlock, OneSampleIsABlock) {
    RendererAudioLineLevel level;
    MeterTimes(level, 16, INT16_MIN, INT16_MAX);
    std::int16_t const sample = 5;
    level.MeterBlock(&sample, 1);
    EXPECT_NEAR(level.GetLevel(), 0.958531F, Tolerance);
}

} // namespace
