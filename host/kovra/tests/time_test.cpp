#include "kovra/time.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <thread>
#include <type_traits>

using Kovra::JiffyTime;
using Kovra::NanoSecPerMilliSec;
using Kovra::SysTime;

namespace {

constexpr std::int64_t Max = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t Min = std::numeric_limits<std::int64_t>::min();

class FixedClock : public Kovra::ClockSource {
public:
    FixedClock(std::int64_t system, std::int64_t monotonic) : system_(system), monotonic_(monotonic) {}

    std::int64_t SystemNanoSec() const override { return system_; }
    std::int64_t MonotonicNanoSec() const override { return monotonic_; }

private:
    std::int64_t const system_;
    std::int64_t const monotonic_;
};

class Clock_Replaced : public testing::Test {
protected:
    ~Clock_Replaced() override { Kovra::SetClockSource(nullptr); }
};

} // namespace

static_assert(sizeof(JiffyTime) == 8 && std::is_trivially_copyable_v<JiffyTime>);
static_assert(sizeof(SysTime) == 8 && std::is_trivially_copyable_v<SysTime>);

TEST(SysTime, CountsNanosecondsFromZero) {
    EXPECT_EQ(SysTime().NanoSec(), 0);
    EXPECT_EQ(SysTime(-7).NanoSec(), -7);
    EXPECT_EQ(SysTime::FromMilliSec(20).NanoSec(), 20'000'000);
    EXPECT_EQ(SysTime::FromMilliSec(-3).NanoSec(), -3'000'000);
}

TEST(SysTime, AddsSubtractsAndCompares) {
    EXPECT_EQ(SysTime(5) + SysTime(3), SysTime(8));
    EXPECT_EQ(SysTime(5) - SysTime(8), SysTime(-3));
    SysTime sum(5);
    sum += SysTime(-6);
    EXPECT_EQ(sum, SysTime(-1));
    EXPECT_NE(SysTime(1), SysTime(2));
    EXPECT_LT(SysTime(-1), SysTime(0));
    EXPECT_FALSE(SysTime(0) < SysTime(0));
}

TEST(SysTime, SumsAndDifferencesBeyondTheRangeSaturate) {
    constexpr SysTime First(INT64_MIN);
    constexpr SysTime Last(INT64_MAX);
    constexpr SysTime One(1);
    constexpr SysTime MinusOne(-1);
    EXPECT_EQ(Last + One, Last);
    EXPECT_EQ(SysTime(INT64_MAX - 1) + One, Last);
    EXPECT_EQ(First + MinusOne, First);
    EXPECT_EQ(First + Last, MinusOne);
    EXPECT_EQ(First - One, First);
    EXPECT_EQ(SysTime(INT64_MIN + 1) - One, First);
    EXPECT_EQ(Last - MinusOne, Last);
    EXPECT_EQ(SysTime() - First, Last);
    EXPECT_EQ(MinusOne - First, Last);
    SysTime instant = Last;
    instant += One;
    EXPECT_EQ(instant, Last);
}

TEST(JiffyTime, IsAnAtomicEightByteValueThatCompares) {
    std::atomic<JiffyTime> const shared{JiffyTime(9)};
    EXPECT_EQ(shared.load(), JiffyTime(9));
    EXPECT_EQ(JiffyTime().NanoSec(), 0);
    EXPECT_NE(JiffyTime(1), JiffyTime(2));
    EXPECT_LT(JiffyTime(1), JiffyTime(2));
    EXPECT_FALSE(JiffyTime(2) < JiffyTime(2));
}

TEST_F(Clock_Replaced, BothTimesComeFromTheReplacement) {
    FixedClock const clock(1'700'000'000'000'000'000, 42);
    Kovra::SetClockSource(&clock);
    EXPECT_EQ(SysTime::Now().NanoSec(), 1'700'000'000'000'000'000);
    EXPECT_EQ(JiffyTime::Now().NanoSec(), 42);
}

TEST_F(Clock_Replaced, NullBringsTheMachinesClocksBack) {
    FixedClock const clock(-1, -1);
    Kovra::SetClockSource(&clock);
    Kovra::SetClockSource(nullptr);
    // 2020-01-01, which any machine that runs this has behind it.
    EXPECT_LT(SysTime(1'577'836'800'000'000'000), SysTime::Now());
    EXPECT_NE(JiffyTime::Now().NanoSec(), -1);
}

TEST_F(Clock_Replaced, TakesEffectOnOtherThreads) {
    FixedClock const first(1, 1);
    FixedClock const second(2, 2);
    Kovra::SetClockSource(&first);
    std::atomic<bool> hasRead{false};
    std::thread reader([&] {
        std::int64_t earlier = JiffyTime::Now().NanoSec();
        EXPECT_EQ(earlier, 1);
        hasRead = true;
        while (earlier != 2) {
            earlier = JiffyTime::Now().NanoSec();
        }
    });
    while (!hasRead) {
        std::this_thread::yield();
    }
    Kovra::SetClockSource(&second);
    reader.join();
}

TEST(JiffyTime_Now, MachineClockNeverRunsBackwards) {
    JiffyTime earlier = JiffyTime::Now();
    for (int reading = 0; reading < 1000; ++reading) {
        JiffyTime const later = JiffyTime::Now();
        ASSERT_FALSE(later < earlier);
        earlier = later;
    }
}

TEST(JiffyTime_GetDiffSysTime, IsThisMinusEarlier) {
    EXPECT_EQ(JiffyTime(10).GetDiffSysTime(JiffyTime(4)), SysTime(6));
    EXPECT_EQ(JiffyTime(4).GetDiffSysTime(JiffyTime(10)), SysTime(-6));
}

TEST(JiffyTime_GetDiffSysTime, SaturatesBeyondTheRange) {
    EXPECT_EQ(JiffyTime(Max).GetDiffSysTime(JiffyTime(0)).NanoSec(), Max);
    EXPECT_EQ(JiffyTime(Max).GetDiffSysTime(JiffyTime(-1)).NanoSec(), Max);
    EXPECT_EQ(JiffyTime(Max).GetDiffSysTime(JiffyTime(Min)).NanoSec(), Max);
    EXPECT_EQ(JiffyTime(0).GetDiffSysTime(JiffyTime(Min)).NanoSec(), Max);
    EXPECT_EQ(JiffyTime(-1).GetDiffSysTime(JiffyTime(Max)).NanoSec(), Min);
    EXPECT_EQ(JiffyTime(-2).GetDiffSysTime(JiffyTime(Max)).NanoSec(), Min);
    EXPECT_EQ(JiffyTime(Min).GetDiffSysTime(JiffyTime(Max)).NanoSec(), Min);
    EXPECT_EQ(JiffyTime(Min).GetDiffSysTime(JiffyTime(Min)).NanoSec(), 0);
}

struct DiffMilliSecCase {
    char const* name;
    std::int64_t diffNanoSec;
    std::int32_t milliSec;
};

class JiffyTime_GetDiffMilliSec32 : public testing::TestWithParam<DiffMilliSecCase> {};

TEST_P(JiffyTime_GetDiffMilliSec32, TruncatesTowardsZeroThenKeepsTheLow32Bits) {
    EXPECT_EQ(JiffyTime(GetParam().diffNanoSec).GetDiffMilliSec32(JiffyTime(0)), GetParam().milliSec);
}

INSTANTIATE_TEST_SUITE_P(
    Boundaries, JiffyTime_GetDiffMilliSec32,
    testing::Values(
        DiffMilliSecCase{"Zero", 0, 0}, DiffMilliSecCase{"JustUnderOne", NanoSecPerMilliSec - 1, 0},
        DiffMilliSecCase{"One", NanoSecPerMilliSec, 1},
        DiffMilliSecCase{"JustOverMinusOne", 1 - NanoSecPerMilliSec, 0},
        DiffMilliSecCase{"MinusOne", -NanoSecPerMilliSec, -1},
        DiffMilliSecCase{"JustUnderMinusOne", -NanoSecPerMilliSec - 1, -1},
        DiffMilliSecCase{"JustUnder2To31", (1LL << 31) * NanoSecPerMilliSec - 1, 2147483647},
        DiffMilliSecCase{"At2To31Wraps", (1LL << 31) * NanoSecPerMilliSec, -2147483647 - 1},
        DiffMilliSecCase{"Over2To31Wraps", ((1LL << 31) + 5) * NanoSecPerMilliSec, -2147483647 + 4},
        DiffMilliSecCase{"Minus2To31", -(1LL << 31) * NanoSecPerMilliSec, -2147483647 - 1},
        DiffMilliSecCase{"UnderMinus2To31Wraps", (-(1LL << 31) - 1) * NanoSecPerMilliSec, 2147483647},
        DiffMilliSecCase{"At2To32Wraps", (1LL << 32) * NanoSecPerMilliSec, 0},
        DiffMilliSecCase{"Over2To32Wraps", ((1LL << 32) + 7) * NanoSecPerMilliSec, 7},
        // (2^63 - 1) / 10^6 = 9223372036854 = 2147 * 2^32 + 2077252342, whose low half is positive.
        DiffMilliSecCase{"Longest", Max, 2077252342}),
    [](auto const& instance) { return instance.param.name; });

TEST(JiffyTime_AddMilliSec, MovesForwardsAndBackwards) {
    EXPECT_EQ(JiffyTime(1).AddMilliSec(2), JiffyTime(2'000'001));
    EXPECT_EQ(JiffyTime(1).AddMilliSec(-2), JiffyTime(-1'999'999));
    EXPECT_EQ(JiffyTime(1).AddMilliSec(0), JiffyTime(1));
}

TEST(JiffyTime_AddMilliSec, SaturatesAtBothEnds) {
    // The longest span in milliseconds is 9223372036854; 775807 nanoseconds are left above it.
    EXPECT_EQ(JiffyTime(775'807).AddMilliSec(9'223'372'036'854), JiffyTime(Max));
    EXPECT_EQ(JiffyTime(775'806).AddMilliSec(9'223'372'036'854), JiffyTime(Max - 1));
    EXPECT_EQ(JiffyTime(775'808).AddMilliSec(9'223'372'036'854), JiffyTime(Max));
    EXPECT_EQ(JiffyTime(0).AddMilliSec(9'223'372'036'855), JiffyTime(Max));
    EXPECT_EQ(JiffyTime(0).AddMilliSec(Max), JiffyTime(Max));
    EXPECT_EQ(JiffyTime(0).AddMilliSec(-9'223'372'036'855), JiffyTime(Min));
    EXPECT_EQ(JiffyTime(0).AddMilliSec(Min), JiffyTime(Min));
    EXPECT_EQ(JiffyTime(Max).AddMilliSec(1), JiffyTime(Max));
    EXPECT_EQ(JiffyTime(Min).AddMilliSec(-1), JiffyTime(Min));
}

TEST(JiffyTime_AddMilliSec, SpansLongerThanTheRangeOfNanosecondsAreExactFromTheOtherEnd) {
    // 18446744073709 ms = 2^64 - 551616 ns, so from -2^63 it ends 551616 ns before 2^63, 551615 before the
    // end.
    EXPECT_EQ(JiffyTime(Min).AddMilliSec(18'446'744'073'709), JiffyTime(Max - 551'615));
    EXPECT_EQ(JiffyTime(Max).AddMilliSec(-18'446'744'073'709), JiffyTime(Min + 551'615));
    EXPECT_EQ(JiffyTime(Min).AddMilliSec(18'446'744'073'710), JiffyTime(Max));
}
