#include "arithmetic/ring.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "arithmetic/drift.h"

namespace {

using namespace Media::Ring;
using Media::Drift::FrequencyForSums;
using Media::Drift::IsWindowOver;

constexpr std::uint32_t RingSamples = 240000;
constexpr std::int64_t NsPerSample = 20833;
constexpr std::int64_t FiveSecNanoSec = 5'000'000'000;

std::uint32_t PositionAt(std::int64_t offsetNanoSec) {
    return PositionRoundedUpToEven(offsetNanoSec, NsPerSample, RingSamples);
}

TEST(Ring_Constants, HoldFiveSecondsOfMonoAt48Kilohertz) {
    EXPECT_EQ(NominalFrequencyHz, 48000U);
    EXPECT_EQ(LengthSamples, 240000U);
    EXPECT_EQ(TimeSpanNanoSec, 5'000'000'000);
    EXPECT_EQ(SampleSizeBytes, 2U);
    // 1'000'000'000 / 48000 = 20833.33.
    EXPECT_EQ(SamplePeriodNanoSec, 20833);
}

TEST(Ring_PositionRoundedUpToEven, TruncatesToASampleAndRoundsOddOnesUp) {
    EXPECT_EQ(PositionAt(0), 0U);
    EXPECT_EQ(PositionAt(20832), 0U);
    EXPECT_EQ(PositionAt(20833), 2U);
    EXPECT_EQ(PositionAt(20834), 2U);
    EXPECT_EQ(PositionAt(41665), 2U);
    EXPECT_EQ(PositionAt(41666), 2U);
    // 3 * 20833 = 62499.
    EXPECT_EQ(PositionAt(62498), 2U);
    EXPECT_EQ(PositionAt(62499), 4U);
}

TEST(Ring_PositionRoundedUpToEven, StartsAnewEveryFiveSeconds) {
    EXPECT_EQ(PositionAt(FiveSecNanoSec), 0U);
    EXPECT_EQ(PositionAt(FiveSecNanoSec + 20833), 2U);
    // 1'000'000 / 20833 = 48.0008.
    EXPECT_EQ(PositionAt(FiveSecNanoSec + 1'000'000), 48U);
    // Ten hours, in nanoseconds beyond 2^44, are 7200 times five seconds.
    EXPECT_EQ(PositionAt(36'000'000'000'000), 0U);
    EXPECT_EQ(PositionAt(36'000'000'000'000 + 1'000'000), 48U);
}

TEST(Ring_PositionRoundedUpToEven, WrapsWhatTheTruncatedPeriodPutsBeyondTheEnd) {
    // 239998 * 20833 = 4'999'878'334; 239999 * 20833 = 4'999'899'167 is odd and becomes 240000.
    EXPECT_EQ(PositionAt(4'999'878'334), 239998U);
    EXPECT_EQ(PositionAt(4'999'899'166), 239998U);
    EXPECT_EQ(PositionAt(4'999'899'167), 0U);
    // 240000 * 20833 = 4'999'920'000, 240001 * 20833 = 4'999'940'833.
    EXPECT_EQ(PositionAt(4'999'920'000), 0U);
    EXPECT_EQ(PositionAt(4'999'940'833), 2U);
    // 4'999'999'999 / 20833 = 240003.8, odd: 240004.
    EXPECT_EQ(PositionAt(FiveSecNanoSec - 1), 4U);
}

TEST(Ring_PositionRoundedUpToEven, TakesTheGreatestOffset) {
    // 9'223'372'036'854'775'807 mod 5e9 = 1'854'775'807, / 20833 = 89030.6.
    EXPECT_EQ(PositionAt(INT64_MAX), 89030U);
}

TEST(Ring_WrappingDifference, SubtractsAndWrapsAtTheEndsOfTheRange) {
    EXPECT_EQ(WrappingDifference(7, 10), -3);
    EXPECT_EQ(WrappingDifference(10, 7), 3);
    EXPECT_EQ(WrappingDifference(INT64_MIN, 0), INT64_MIN);
    // -2^63 - 1 wraps to 2^63 - 1, and 2^63 - 1 + 2^63 = 2^64 - 1 wraps to -1.
    EXPECT_EQ(WrappingDifference(INT64_MIN, 1), INT64_MAX);
    EXPECT_EQ(WrappingDifference(INT64_MAX, INT64_MIN), -1);
    EXPECT_EQ(WrappingDifference(INT64_MIN, INT64_MAX), 1);
}

TEST(Ring_ForwardDistance, CountsForwardRoundTheRing) {
    EXPECT_EQ(ForwardDistance(100, 100, RingSamples), 0U);
    EXPECT_EQ(ForwardDistance(100, 101, RingSamples), 1U);
    EXPECT_EQ(ForwardDistance(101, 100, RingSamples), 239999U);
    EXPECT_EQ(ForwardDistance(239999, 0, RingSamples), 1U);
    EXPECT_EQ(ForwardDistance(0, 239999, RingSamples), 239999U);
}

TEST(Ring_ForwardDistance, FoldsPositionsBeyondTheRing) {
    EXPECT_EQ(ForwardDistance(240000, 5, RingSamples), 5U);
    EXPECT_EQ(ForwardDistance(300000, 10000, RingSamples), 190000U);
    EXPECT_EQ(ForwardDistance(10000, 300000, RingSamples), 50000U);
    // 479999 is the last position of a stereo buffer.
    EXPECT_EQ(ForwardDistance(0, 479999, RingSamples), 239999U);
    EXPECT_EQ(ForwardDistance(479999, 0, RingSamples), 1U);
}

TEST(Ring_JudgeGap, FramesThatTouchHaveNone) {
    EXPECT_EQ(JudgeGap(0, RingSamples), Gap_t::None);
}

TEST(Ring_JudgeGap, UpToTenSamplesAreSmall) {
    EXPECT_EQ(JudgeGap(1, RingSamples), Gap_t::Small);
    EXPECT_EQ(JudgeGap(9, RingSamples), Gap_t::Small);
    EXPECT_EQ(JudgeGap(10, RingSamples), Gap_t::Small);
}

TEST(Ring_JudgeGap, ElevenSamplesUpToHalfTheRingAreALoss) {
    EXPECT_EQ(JudgeGap(11, RingSamples), Gap_t::Loss);
    EXPECT_EQ(JudgeGap(119999, RingSamples), Gap_t::Loss);
}

TEST(Ring_JudgeGap, HalfTheRingOrMoreIsThePast) {
    EXPECT_EQ(JudgeGap(120000, RingSamples), Gap_t::None);
    EXPECT_EQ(JudgeGap(120001, RingSamples), Gap_t::None);
    EXPECT_EQ(JudgeGap(239999, RingSamples), Gap_t::None);
}

TEST(Ring_SamplesAheadTruncated, CountsWholeSamples) {
    EXPECT_EQ(SamplesAheadTruncated(0, NsPerSample), 0U);
    EXPECT_EQ(SamplesAheadTruncated(20832, NsPerSample), 0U);
    EXPECT_EQ(SamplesAheadTruncated(20833, NsPerSample), 1U);
    // 100'000'000 / 20833 = 4800.08.
    EXPECT_EQ(SamplesAheadTruncated(100'000'000, NsPerSample), 4800U);
}

TEST(Ring_SamplesAheadTruncated, StartsAnewEveryFiveSeconds) {
    // 4'999'999'999 / 20833 = 240003.8: three more than the ring holds.
    EXPECT_EQ(SamplesAheadTruncated(FiveSecNanoSec - 1, NsPerSample), 240003U);
    EXPECT_EQ(SamplesAheadTruncated(FiveSecNanoSec, NsPerSample), 0U);
    EXPECT_EQ(SamplesAheadTruncated(FiveSecNanoSec + 20833, NsPerSample), 1U);
    // Three years of 365 days are a multiple of five seconds.
    EXPECT_EQ(SamplesAheadTruncated(94'608'000'000'000'000 + 100'000'000, NsPerSample), 4800U);
    EXPECT_EQ(SamplesAheadTruncated(INT64_MAX, NsPerSample), 89030U);
}

TEST(Ring_StartPosition, LiesBeforeTheFrameRoundTheRing) {
    EXPECT_EQ(StartPosition(10000, 4800, RingSamples), 5200U);
    EXPECT_EQ(StartPosition(4800, 4800, RingSamples), 0U);
    EXPECT_EQ(StartPosition(4799, 4800, RingSamples), 239999U);
    EXPECT_EQ(StartPosition(239999, 0, RingSamples), 239999U);
    EXPECT_EQ(StartPosition(239999, 239999, RingSamples), 0U);
}

TEST(Ring_StartPosition, MoreAheadThanTheRingHoldsWrapsTheThirtyTwoBitsNotTheRing) {
    EXPECT_EQ(StartPosition(0, 240000, RingSamples), 0U);
    // 0 - 240003 + 240000 = -3, as 32 bits 4'294'967'293; minus 17895 * 240000 = 4'294'800'000.
    EXPECT_EQ(StartPosition(0, 240003, RingSamples), 167293U);
    EXPECT_EQ(StartPosition(0, 240001, RingSamples), 167295U);
    EXPECT_EQ(StartPosition(2, 240003, RingSamples), 167295U);
    EXPECT_EQ(StartPosition(3, 240003, RingSamples), 0U);
}

TEST(Ring_ClearableSamples, IsNothingBelowASixteenthOfTheRing) {
    EXPECT_EQ(ClearableSamples(0, 0, RingSamples), 0U);
    EXPECT_EQ(ClearableSamples(0, 14999, RingSamples), 0U);
}

TEST(Ring_ClearableSamples, IsRoundedDownToMultiplesOf128) {
    // 117 * 128 = 14976, 118 * 128 = 15104.
    EXPECT_EQ(ClearableSamples(0, 15000, RingSamples), 14976U);
    EXPECT_EQ(ClearableSamples(0, 15001, RingSamples), 14976U);
    EXPECT_EQ(ClearableSamples(0, 15103, RingSamples), 14976U);
    EXPECT_EQ(ClearableSamples(0, 15104, RingSamples), 15104U);
    EXPECT_EQ(ClearableSamples(0, 15105, RingSamples), 15104U);
}

TEST(Ring_ClearableSamples, CountsFromTheClearedEndRoundTheRing) {
    // From 239000 to 14000 are 15000.
    EXPECT_EQ(ClearableSamples(239000, 14000, RingSamples), 14976U);
    EXPECT_EQ(ClearableSamples(239000, 13999, RingSamples), 0U);
    // 1874 * 128 = 239872.
    EXPECT_EQ(ClearableSamples(1, 0, RingSamples), 239872U);
}

TEST(Ring_IsLagBeyondLimit, OnlyAboveASixteenthOfTheRing) {
    EXPECT_FALSE(IsLagBeyondLimit(0, RingSamples));
    EXPECT_FALSE(IsLagBeyondLimit(14999, RingSamples));
    EXPECT_FALSE(IsLagBeyondLimit(15000, RingSamples));
    EXPECT_TRUE(IsLagBeyondLimit(15001, RingSamples));
    EXPECT_TRUE(IsLagBeyondLimit(239999, RingSamples));
}

TEST(Ring_MilliSecTruncated, CountsWholeMilliseconds) {
    EXPECT_EQ(MilliSecTruncated(0, NsPerSample), 0);
    // 48 * 20833 = 999'984, 49 * 20833 = 1'020'817.
    EXPECT_EQ(MilliSecTruncated(48, NsPerSample), 0);
    EXPECT_EQ(MilliSecTruncated(49, NsPerSample), 1);
    // 58849 * 20833 = 1'226'001'217 and 62545 * 20833 = 1'302'999'985: just above and just below a whole one.
    EXPECT_EQ(MilliSecTruncated(58849, NsPerSample), 1226);
    EXPECT_EQ(MilliSecTruncated(62545, NsPerSample), 1302);
    // 15000 * 20833 = 312'495'000.
    EXPECT_EQ(MilliSecTruncated(15000, NsPerSample), 312);
    // 239999 * 20833 = 4'999'899'167, beyond 32 bits.
    EXPECT_EQ(MilliSecTruncated(239999, NsPerSample), 4999);
}

TEST(Drift_IsWindowOver, From1024MillisecondsOfEitherSignOn) {
    EXPECT_FALSE(IsWindowOver(0));
    EXPECT_FALSE(IsWindowOver(1023));
    EXPECT_TRUE(IsWindowOver(1024));
    EXPECT_TRUE(IsWindowOver(1025));
    EXPECT_TRUE(IsWindowOver(INT32_MAX));
    EXPECT_FALSE(IsWindowOver(-1023));
    EXPECT_TRUE(IsWindowOver(-1024));
    EXPECT_TRUE(IsWindowOver(INT32_MIN));
}

TEST(Drift_FrequencyForSums, RatioBelowTheBandSlowsDown) {
    EXPECT_EQ(FrequencyForSums(0, 1), 47960U);
    EXPECT_EQ(FrequencyForSums(9700, 10000), 47960U);
    EXPECT_EQ(FrequencyForSums(9799, 10000), 47960U);
    EXPECT_EQ(FrequencyForSums(97'999'999, 100'000'000), 47960U);
}

TEST(Drift_FrequencyForSums, RatioWithinTheBandIsNominalBoundsIncluded) {
    // The quotients of the first and the last are the doubles nearest to 0.98 and 1.02, as the bounds are.
    EXPECT_EQ(FrequencyForSums(9800, 10000), 48000U);
    EXPECT_EQ(FrequencyForSums(98'000'001, 100'000'000), 48000U);
    EXPECT_EQ(FrequencyForSums(10000, 10000), 48000U);
    EXPECT_EQ(FrequencyForSums(10150, 10000), 48000U);
    EXPECT_EQ(FrequencyForSums(101'999'999, 100'000'000), 48000U);
    EXPECT_EQ(FrequencyForSums(10200, 10000), 48000U);
}

TEST(Drift_FrequencyForSums, RatioAboveTheBandSpeedsUp) {
    EXPECT_EQ(FrequencyForSums(102'000'001, 100'000'000), 48040U);
    EXPECT_EQ(FrequencyForSums(10201, 10000), 48040U);
    EXPECT_EQ(FrequencyForSums(10300, 10000), 48040U);
    EXPECT_EQ(FrequencyForSums(UINT32_MAX, 1), 48040U);
}

TEST(Drift_FrequencyForSums, TakesSumsUpToThirtyTwoBits) {
    // 0.98 * 4'294'967'295 = 4'209'067'949.1.
    EXPECT_EQ(FrequencyForSums(4'209'067'949U, UINT32_MAX), 47960U);
    EXPECT_EQ(FrequencyForSums(4'209'067'950U, UINT32_MAX), 48000U);
    // 1.02 * 4'200'000'000 = 4'284'000'000.
    EXPECT_EQ(FrequencyForSums(4'284'000'001U, 4'200'000'000U), 48040U);
    EXPECT_EQ(FrequencyForSums(4'284'000'000U, 4'200'000'000U), 48000U);
}

} // namespace
