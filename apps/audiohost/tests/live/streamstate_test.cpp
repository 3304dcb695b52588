#include "live/streamstate.h"

#include <gtest/gtest.h>

namespace AudioHost {

namespace {

StreamState MakeState() {
    StreamState state;
    state.clock.jitterNanoSec = 2'340'000;
    state.clock.leadNanoSec = 120'000'000;
    state.clock.skewPartsPerMillion = 12.4;
    state.handedNanoSec = 98'000'000'000;
    state.missingNanoSec = 2'000'000'000;
    state.leftOut = 3;
    return state;
}

} // namespace

TEST(StreamState, TellsJitterLossSkewAndLead) {
    EXPECT_EQ(FormatStream(MakeState()), "jitter 2.3 ms  loss 2.0 %  skew +12 ppm  lead 120 ms");
    EXPECT_EQ(
        DescribeStream(MakeState()),
        "The stream: jitter 2.3 ms, 2.00 % of the sound missing, 3 packets left out, the sender's clock at "
        "+12 ppm, a lead of 120 ms.");
}

TEST(StreamState, TellsThatItIsBrokenOrGivenUp) {
    StreamState state = MakeState();
    state.isBroken = true;
    state.breaks = 2;
    state.error = "nobody there.";
    EXPECT_EQ(FormatStream(state), "broken, opening again");
    std::string const end = "a lead of 120 ms. It broke 2 times. Given up: nobody there.";
    std::string const told = DescribeStream(state);
    EXPECT_EQ(told.substr(told.size() - end.size()), end);
}

TEST(StreamState, BeforeAnythingCameHasLostNothing) {
    EXPECT_EQ(StreamState().GetLossPercent(), 0.0);
}

} // namespace AudioHost
