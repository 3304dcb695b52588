#include "ears/soundplan.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <stdexcept>

namespace Soak {
namespace {

class SoundPlan_Sessions : public testing::TestWithParam<std::size_t> {};

TEST_P(SoundPlan_Sessions, TonesAreWholePeriodsApartInAFrameAndBelowTheBursts) {
    SoundPlan const plan(GetParam());
    for (std::size_t session = 0; session + 1 < GetParam(); ++session) {
        double const apart = plan.GetToneHz(session + 1) - plan.GetToneHz(session);
        EXPECT_GT(apart, 99.9);
        // 50 Hz is one period in 20 ms.
        EXPECT_NEAR(std::remainder(apart, 50.0), 0.0, 1e-6);
    }
    EXPECT_LT(plan.GetToneHz(GetParam() - 1), 10'000.0);
}

TEST_P(SoundPlan_Sessions, NeverTwoBurstAtATimeAndEachIsInItsFrame) {
    SoundPlan const plan(GetParam());
    std::set<std::int64_t> taken;
    for (std::size_t session = 0; session < GetParam(); ++session) {
        for (std::int64_t index = 0; index < 3; ++index) {
            EXPECT_TRUE(taken.insert(plan.GetBurstFrame(session, index)).second);
        }
        EXPECT_EQ(plan.CountBursts(session, plan.GetBurstFrame(session, 2)), 2);
        EXPECT_EQ(plan.CountBursts(session, plan.GetBurstFrame(session, 2) + 1), 3);
        Listening::Samples const with = plan.MakeFrame(session, plan.GetBurstFrame(session, 1));
        Listening::Samples const without = plan.MakeFrame(session, plan.GetBurstFrame(session, 1) + 1);
        double power = 0.0;
        double rest = 0.0;
        for (std::size_t i = 0; i < with.size(); ++i) {
            power += static_cast<double>(with[i]) * with[i];
            rest += static_cast<double>(without[i]) * without[i];
        }
        EXPECT_GT(power, 4.0 * rest);
    }
}

INSTANTIATE_TEST_SUITE_P(Numbers, SoundPlan_Sessions, testing::Values(1U, 16U, 32U, 63U, 80U));

TEST(SoundPlan_Constructor, RefusesNoneAndMoreThanMost) {
    EXPECT_THROW(SoundPlan(0), std::invalid_argument);
    EXPECT_THROW(SoundPlan(SoundPlan::MaxSessions + 1), std::invalid_argument);
}

} // namespace
} // namespace Soak
