// What the whole suite leans on: that the thread sanitizer, as this program is run, finds races and locks
// taken in different orders, and ends the program over them.

#if defined(UNDER_THREAD_SANITIZER)

#include <gtest/gtest.h>

#include <boost/thread/mutex.hpp>
#include <thread>

namespace Media {
namespace {

/// The exit code of a program that the sanitizer has ended.
constexpr int SanitizerExitCode = 66;

class DetectorDeathTest : public ::testing::Test {
protected:
    DetectorDeathTest() { ::testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

TEST_F(DetectorDeathTest, AFieldThatTwoThreadsWriteEndsTheProgram) {
    auto const race = [] {
        int field = 0;
        std::thread other([&field] { field = 1; });
        field = 2;
        other.join();
    };
    EXPECT_EXIT(race(), ::testing::ExitedWithCode(SanitizerExitCode), "data race");
}

TEST_F(DetectorDeathTest, TwoLocksTakenInBothOrdersEndTheProgramWithBothPlaces) {
    // One thread after the other: nothing is blocked, the order alone is wrong.
    auto const invert = [] {
        boost::mutex first;
        boost::mutex second;
        std::thread([&] {
            boost::mutex::scoped_lock const outer(first);
            boost::mutex::scoped_lock const inner(second);
        }).join();
        std::thread([&] {
            boost::mutex::scoped_lock const outer(second);
            boost::mutex::scoped_lock const inner(first);
        }).join();
    };
    // The place of the outer lock is told only where the sanitizer keeps second stacks.
    EXPECT_EXIT(invert(), ::testing::ExitedWithCode(SanitizerExitCode),
                "lock-order-inversion(.|\n)*previously acquired by the same thread");
}

} // namespace
} // namespace Media

#endif
