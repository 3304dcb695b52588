#include "listening/stats.h"

#include <gtest/gtest.h>

namespace Listening {

TEST(Stats_Percentile, OfNothingIsZero) {
    EXPECT_EQ(Percentile({}, 0.5), 0.0);
}

TEST(Stats_Percentile, InterpolatesBetweenNeighbours) {
    // Sorted 1 2 3 4 5; place 0.95 * 4 = 3.8, so 4 + 0.8 * (5 - 4).
    EXPECT_DOUBLE_EQ(Percentile({5.0, 1.0, 4.0, 2.0, 3.0}, 0.95), 4.8);
}

TEST(Stats_Percentile, EndsAreTheLeastAndTheGreatest) {
    EXPECT_EQ(Percentile({3.0, -1.0, 2.0}, 0.0), -1.0);
    EXPECT_EQ(Percentile({3.0, -1.0, 2.0}, 1.0), 3.0);
    EXPECT_EQ(Percentile({3.0, -1.0, 2.0}, 7.0), 3.0);
}

TEST(Stats_Median, OfAnEvenCountIsTheMiddleOfTheTwoInside) {
    EXPECT_EQ(Median({10.0, 1.0, 2.0, 4.0}), 3.0);
}

TEST(Stats_WeightedMedian, IsWhereHalfOfAllWeightIsReached) {
    EXPECT_EQ(WeightedMedian({}), 0.0);
    EXPECT_EQ(WeightedMedian({{9.0, 1.0}, {2.0, 3.0}, {5.0, 2.0}}), 2.0);
    EXPECT_EQ(WeightedMedian({{9.0, 1.0}, {2.0, 2.9}, {5.0, 2.0}}), 5.0);
}

TEST(Stats_Magnitudes, LoseTheirSigns) {
    EXPECT_EQ(Magnitudes({-2.0, 0.0, 3.0}), (std::vector<double>{2.0, 0.0, 3.0}));
}

} // namespace Listening
