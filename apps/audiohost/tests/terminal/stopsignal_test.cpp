#include "terminal/stopsignal.h"

#include <gtest/gtest.h>

#include <thread>

namespace AudioHost {

TEST(StopSignal_WaitUntil, OfAnInstantThatHasPassedReturnsAtOnce) {
    StopSignal stop;
    EXPECT_TRUE(stop.WaitUntil(Kovra::JiffyTime::Now()));
    EXPECT_FALSE(stop.IsRequested());
}

TEST(StopSignal_Request, EndsAWaitOfAnotherThread) {
    StopSignal stop;
    bool isComplete = true;
    std::thread waiter(
        [&] { isComplete = stop.WaitUntil(Kovra::JiffyTime::Now().AddMilliSec(1000LL * 3600)); });
    EXPECT_TRUE(stop.Request());
    waiter.join();
    EXPECT_FALSE(isComplete);
}

TEST(StopSignal_Request, TellsWhenItIsNotTheFirst) {
    StopSignal stop;
    EXPECT_TRUE(stop.Request());
    EXPECT_FALSE(stop.Request());
    EXPECT_TRUE(stop.IsRequested());
    EXPECT_FALSE(stop.WaitUntil(Kovra::JiffyTime()));
}

} // namespace AudioHost
