#include "resamplerplan.h"

#include <gtest/gtest.h>

using Media::PlanResampler;
using Media::SampleShare;

namespace {

TEST(SampleShare_Take, TwentyMilliSecOf8000HzAre960At48000Hz) {
    SampleShare share(8'000, 48'000);
    EXPECT_EQ(share.Take(160), 960);
    EXPECT_EQ(share.Take(160), 960);
}

TEST(SampleShare_Take, FractionsAreCarriedToTheNextFrame) {
    // 20 ms at 22050 Hz are 441 samples: 441 x 48000 / 22050 = 960. One of 220 gives 478.9: 478, and the
    // next of 221 (481.09) the rest of the 960.
    SampleShare share(22'050, 48'000);
    EXPECT_EQ(share.Take(220), 478);
    EXPECT_EQ(share.Take(221), 482);
}

TEST(SampleShare_Take, SamplesOfAYearAddUpExactly) {
    // 3 to 1 in single samples: every third completes one.
    SampleShare share(3, 1);
    EXPECT_EQ(share.Take(1), 0);
    EXPECT_EQ(share.Take(1), 0);
    EXPECT_EQ(share.Take(1), 1);
    // 48000 x 86400 x 365 = 1'513'728'000'000 samples.
    std::int64_t total = 0;
    SampleShare day(44'100, 48'000);
    for (int i = 0; i < 365; ++i) {
        total += day.Take(std::int64_t{44'100} * 86'400);
    }
    EXPECT_EQ(total, 1'513'728'000'000);
}

TEST(ResamplerPlan_PlanResampler, DiscardedOutputIsWhatTheExtraPrimingIsWorth) {
    for (std::int64_t const in : {1, 4'000, 8'000, 11'025, 22'050, 44'100, 47'999, 96'000, 192'000}) {
        auto const plan = PlanResampler(in, 48'000);
        EXPECT_EQ((plan.primingSamples - plan.delaySamples) * 48'000, plan.discardedSamples * in) << in;
        EXPECT_GT(plan.primingSamples, Media::CountFilterTaps(in, 48'000)) << in;
    }
}

} // namespace
