#include "support/recording/handovers.h"

#include <gtest/gtest.h>

#include "listening/samples.h"

namespace TestSupport {
namespace {

/// Frames to be heard at 200 ms, and what became of them.
class HandOvers_Finish : public testing::Test {
protected:
    static Kovra::JiffyTime At(std::int64_t milliSec) {
        return Kovra::JiffyTime(5'000'000'000).AddMilliSec(milliSec);
    }
    bool Finish(std::size_t session, std::int64_t begunMilliSec, std::int64_t renderMilliSec) {
        return handOvers.Finish(session, At(200), At(begunMilliSec),
                                renderMilliSec * Listening::NanoSecPerMilliSec);
    }

    HandOvers handOvers;
};

TEST_F(HandOvers_Finish, OfAFrameHandedOverLateIsTheMachines) {
    handOvers.Add(1, At(169));
    EXPECT_FALSE(Finish(1, 169, 0));
    handOvers.Add(1, At(171));
    EXPECT_TRUE(Finish(1, 171, 0));
}

TEST_F(HandOvers_Finish, OfAJobBegunLateByAnIdleThreadIsTheMachines) {
    handOvers.Add(1, At(0));
    EXPECT_TRUE(Finish(1, 180, 0));
}

TEST_F(HandOvers_Finish, OfALongJobIsTheModules) {
    handOvers.Add(1, At(0));
    EXPECT_FALSE(Finish(1, 1, 250));
}

TEST_F(HandOvers_Finish, OfAJobThatWaitedForALongOneIsTheModules) {
    handOvers.Add(1, At(0));
    handOvers.Add(2, At(20));
    handOvers.Add(1, At(20));
    EXPECT_FALSE(Finish(1, 1, 189));
    EXPECT_FALSE(Finish(2, 190, 0));
    EXPECT_FALSE(Finish(1, 190, 0));
}

TEST_F(HandOvers_Finish, OfAFrameHandedOverLateDuringALongJobIsTheMachines) {
    handOvers.Add(1, At(0));
    handOvers.Add(1, At(180));
    EXPECT_FALSE(Finish(1, 1, 184));
    // 5 of the 184 ms lay behind the hand-over.
    EXPECT_TRUE(Finish(1, 185, 0));
}

} // namespace
} // namespace TestSupport
