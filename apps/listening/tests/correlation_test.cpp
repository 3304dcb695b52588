#include "listening/search/correlation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "listening/tests/testsounds.h"

namespace Listening {

TEST(NormalisedCorrelation, IsOneWhereThePatternStands) {
    Samples const text = MakeVoice(5000);
    std::vector<float> const values = NormalisedCorrelation(SampleView(text).Cut(1234, 1000), text);
    ASSERT_EQ(values.size(), 4001U);
    EXPECT_EQ(std::max_element(values.begin(), values.end()) - values.begin(), 1234);
    EXPECT_NEAR(values[1234], 1.0F, 1e-3F);
}

TEST(NormalisedCorrelation, AgreesWithTheDirectSum) {
    Samples const text = {100, -200, 300, 50, -70, 20};
    Samples const pattern = {3, -5, 7};
    std::vector<float> const values = NormalisedCorrelation(pattern, text);
    ASSERT_EQ(values.size(), 4U);
    // k = 1: -600 - 1500 + 350 = -1750; energies 83 and 40000 + 90000 + 2500 = 132500.
    EXPECT_NEAR(values[1], -1750.0 / std::sqrt(83.0 * 132500.0), 1e-5);
    // k = 3: 150 + 350 + 140 = 640; energy 2500 + 4900 + 400 = 7800.
    EXPECT_NEAR(values[3], 640.0 / std::sqrt(83.0 * 7800.0), 1e-5);
}

TEST(NormalisedCorrelation, OfATextLongerThanOneTransformLosesNoPlace) {
    // Blocks of 131072 samples hold 131072 - 1000 + 1 = 130073 places; the pattern stands across the first
    // seam.
    Samples const text = MakeVoice(300000);
    std::vector<float> const values = NormalisedCorrelation(SampleView(text).Cut(130500, 1000), text);
    ASSERT_EQ(values.size(), 299001U);
    EXPECT_EQ(std::max_element(values.begin(), values.end()) - values.begin(), 130500);
}

TEST(NormalisedCorrelation, DoesNotCareForTheLevelButForTheSign) {
    Samples const text = MakeVoice(3000);
    Samples pattern(text.begin() + 500, text.begin() + 1500);
    for (std::int16_t& sample : pattern) {
        sample = static_cast<std::int16_t>(-sample / 4);
    }
    EXPECT_NEAR(NormalisedCorrelation(pattern, text)[500], -1.0F, 1e-3F);
}

TEST(NormalisedCorrelation, SilenceIsLikeNothing) {
    Samples const silence(2000, 1);
    std::vector<float> const values = NormalisedCorrelation(MakeVoice(500), silence);
    EXPECT_EQ(*std::max_element(values.begin(), values.end()), 0.0F);
    EXPECT_EQ(NormalisedCorrelation(Samples(500, 0), MakeVoice(600))[0], 0.0F);
}

// Sixteen at once where that is possible, which is not to be seen: before the beginning and behind the end,
// too.
TEST(ValuesAt, AreThoseOfEachPlace) {
    Samples const voice = MakeVoice(500);
    Signal const signal(voice.begin(), voice.end());
    for (double const step : {1.0, 0.9989, 1.0011}) {
        for (double first = -20.0; first < -18.0; first += 0.0625) {
            Signal const values = ValuesAt(signal, first, step, 540);
            ASSERT_EQ(values.size(), 540U);
            for (std::size_t i = 0; i < values.size(); ++i) {
                // Single precision, of values up to some thousands.
                ASSERT_NEAR(values[i], ValueAt(signal, first + static_cast<double>(i) * step), 0.05)
                    << i << " from " << first << " by " << step;
            }
        }
    }
}

TEST(NormalisedCorrelation, OfALongerPatternOrAnEmptyOneIsEmpty) {
    EXPECT_TRUE(NormalisedCorrelation(Samples(3, 9), Samples(2, 9)).empty());
    EXPECT_TRUE(NormalisedCorrelation(Samples(), Samples(2, 9)).empty());
}

TEST(ChangeSpeed, TwiceAsFastTakesEverySecondSampleAboutTheMiddle) {
    // Middle 4: result i is the value at 4 + (i - 4) * 2, held at the ends.
    Samples const ramp = {0, 10, 20, 30, 40, 50, 60, 70};
    EXPECT_EQ(ChangeSpeed(ramp, 2.0), (Samples{0, 0, 0, 20, 40, 60, 70, 70}));
}

TEST(ChangeSpeed, HalfAsFastPutsTheMeanBetweenNeighbours) {
    Samples const ramp = {0, 10, 20, 30};
    // Middle 2: places 1, 1.5, 2, 2.5.
    EXPECT_EQ(ChangeSpeed(ramp, 0.5), (Samples{10, 15, 20, 25}));
}

} // namespace Listening
