#include "terminal/stopsignal.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
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

TEST(AskUntilStopped, AnswersOrThrowsWhatWasAsked) {
    StopSignal stop;
    EXPECT_EQ(AskUntilStopped<int>([] { return 3; }, stop), 3);
    EXPECT_THROW(AskUntilStopped<int>([]() -> int { throw std::out_of_range("none"); }, stop),
                 std::out_of_range);
}

TEST(AskUntilStopped, LeavesWhatNothingEndsWhenThePersonAsksToStop) {
    StopSignal stop;
    std::promise<int> answer;
    std::function<int()> const ask = [answered = answer.get_future().share()] { return answered.get(); };
    std::thread person([&stop] { stop.Request(); });
    EXPECT_EQ(AskUntilStopped<int>(ask, stop), std::nullopt);
    person.join();
    answer.set_value(3);
}

} // namespace AudioHost
