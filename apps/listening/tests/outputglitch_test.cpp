#include "listening/outputglitch.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "listening/samples.h"

namespace Listening {

namespace {

constexpr std::int64_t LookMilliSec = 3;
/// A second before the first frame.
constexpr std::int64_t WarmUpMilliSec = 1000;

/// What a watch sees in `seconds` that looks every 3 ms at an output that moves its cursor in steps of 10 ms,
/// at `playedAt(ms since the first frame)`; `looksAt` says when it gets to look.
std::deque<CursorStay> See(
    double seconds, std::function<std::int64_t(std::int64_t)> const& playedAt,
    std::function<bool(std::int64_t)> const& looksAt = [](std::int64_t) { return true; }) {
    constexpr std::int64_t StepMilliSec = 10;
    std::deque<CursorStay> stays;
    for (std::int64_t at = -WarmUpMilliSec; at < static_cast<std::int64_t>(seconds * MilliSecPerSec);
         at += LookMilliSec) {
        if (!looksAt(at)) {
            continue;
        }
        std::int64_t const now = at * NanoSecPerMilliSec;
        std::int64_t const played =
            (playedAt(at) + WarmUpMilliSec) / StepMilliSec * StepMilliSec * NanoSecPerMilliSec;
        if (stays.empty() || stays.back().playedNanoSec != played) {
            stays.push_back({now, now, played});
        } else {
            stays.back().lastNanoSec = now;
        }
    }
    return stays;
}

/// Times from any origin: here the clock reads 0 when the first frame is handed over.
OutputLog Find(std::deque<CursorStay> const& stays) {
    return FindOutputGlitches(stays, 0);
}

} // namespace

TEST(FindOutputGlitches, OfAnEvenCursorFindsNone) {
    OutputLog const log = Find(See(3.0, [](std::int64_t at) { return at; }));
    EXPECT_TRUE(log.isWatched);
    EXPECT_TRUE(log.glitches.empty());
    // A look of 3 ms at a step of 10.
    EXPECT_LE(log.worstMilliSec, 3.0);
}

TEST(FindOutputGlitches, OfADeviceOutOfStepWithTheClockFindsNone) {
    // 1000 ppm: 60 ms in a minute.
    EXPECT_TRUE(Find(See(60.0, [](std::int64_t at) { return at - at / 1000; })).glitches.empty());
    EXPECT_TRUE(Find(See(60.0, [](std::int64_t at) { return at + at / 1000; })).glitches.empty());
}

TEST(FindOutputGlitches, OfACursorThatStandsStillAndMakesItGoodTellsBoth) {
    // From 500 to 595 ms nothing is played, then all of it at once.
    OutputLog const log = Find(See(3.0, [](std::int64_t at) { return at >= 500 && at < 595 ? 500 : at; }));
    ASSERT_EQ(log.glitches.size(), 1U);
    OutputGlitch const& glitch = log.glitches[0];
    EXPECT_NEAR(static_cast<double>(glitch.startNanoSec), 500.0 * NanoSecPerMilliSec,
                6.0 * NanoSecPerMilliSec);
    EXPECT_NEAR(static_cast<double>(glitch.endNanoSec), 595.0 * NanoSecPerMilliSec,
                16.0 * NanoSecPerMilliSec);
    // 95 ms without a step, of which one of up to 10 ms was due all the same.
    EXPECT_NEAR(glitch.lateMilliSec, 90.0, 8.0);
    EXPECT_EQ(glitch.GetSizeMilliSec(), glitch.lateMilliSec);
    EXPECT_NEAR(glitch.leftMilliSec, 0.0, 4.0);
    EXPECT_EQ(log.worstMilliSec, glitch.lateMilliSec);
}

TEST(FindOutputGlitches, OfACursorThatStaysBehindTellsWhatIsLeft) {
    OutputLog const log =
        Find(See(3.0, [](std::int64_t at) { return at < 500 ? at : std::max<std::int64_t>(500, at - 60); }));
    ASSERT_EQ(log.glitches.size(), 1U);
    EXPECT_NEAR(log.glitches[0].lateMilliSec, 60.0, 6.0);
    EXPECT_NEAR(log.glitches[0].leftMilliSec, 60.0, 6.0);
}

TEST(FindOutputGlitches, OfALeapTellsHowFarAndWhatIsLeft) {
    OutputLog const log = Find(See(3.0, [](std::int64_t at) { return at < 1500 ? at : at + 40; }));
    ASSERT_EQ(log.glitches.size(), 1U);
    EXPECT_NEAR(static_cast<double>(log.glitches[0].startNanoSec), 1500.0 * NanoSecPerMilliSec,
                13.0 * NanoSecPerMilliSec);
    EXPECT_NEAR(log.glitches[0].earlyMilliSec, 40.0, 5.0);
    EXPECT_NEAR(log.glitches[0].leftMilliSec, -40.0, 5.0);
    EXPECT_EQ(log.glitches[0].lateMilliSec, 0.0);
}

TEST(FindOutputGlitches, OfTwoStallsFindsTwo) {
    OutputLog const log = Find(See(4.0, [](std::int64_t at) {
        return at >= 500 && at < 550 ? 500 : at >= 2000 && at < 2080 ? 2000 : at;
    }));
    ASSERT_EQ(log.glitches.size(), 2U);
    EXPECT_NEAR(log.glitches[1].lateMilliSec, 75.0, 8.0);
}

TEST(FindOutputGlitches, OfAStallSoonAfterAnotherFindsBoth) {
    OutputLog const log = Find(See(4.0, [](std::int64_t at) {
        return at >= 500 && at < 550 ? 500 : at >= 750 && at < 830 ? 750 : at;
    }));
    ASSERT_EQ(log.glitches.size(), 2U);
    EXPECT_NEAR(log.glitches[1].lateMilliSec, 75.0, 8.0);
}

TEST(FindOutputGlitches, OfARunThatEndsSoonAfterAGlitchCountsAsWatched) {
    OutputLog const log = Find(See(0.75, [](std::int64_t at) { return at >= 500 && at < 550 ? 500 : at; }));
    EXPECT_TRUE(log.isWatched);
    EXPECT_EQ(log.glitches.size(), 1U);
}

TEST(FindOutputGlitches, OfStandingStillForALittleFindsNoneAndTellsTheWorst) {
    // 20 ms without a step: 10 ms more than usual.
    OutputLog const log = Find(See(3.0, [](std::int64_t at) { return at >= 500 && at < 520 ? 500 : at; }));
    EXPECT_TRUE(log.glitches.empty());
    EXPECT_GT(log.worstMilliSec, 5.0);
    EXPECT_LT(log.worstMilliSec, GlitchMilliSec);
}

TEST(FindOutputGlitches, LeavesOutWhatWasOverBeforeTheFirstFrame) {
    OutputLog const log = Find(See(3.0, [](std::int64_t at) { return at >= -500 && at < -400 ? -500 : at; }));
    EXPECT_TRUE(log.isWatched);
    EXPECT_TRUE(log.glitches.empty());
    EXPECT_LE(log.worstMilliSec, 3.0);
}

TEST(FindOutputGlitches, OfAWatchThatDidNotGetToLookSaysSo) {
    // The output plays on meanwhile.
    OutputLog const log = Find(See(
        3.0, [](std::int64_t at) { return at; }, [](std::int64_t at) { return at < 500 || at >= 580; }));
    ASSERT_EQ(log.glitches.size(), 1U);
    EXPECT_NEAR(log.glitches[0].blindMilliSec, 80.0, 5.0);
    EXPECT_LE(log.glitches[0].lateMilliSec, 3.0);
    // Looks 16 ms apart are how some machines sleep.
    EXPECT_TRUE(Find(See(
                         3.0, [](std::int64_t at) { return at; },
                         [](std::int64_t at) { return (at + WarmUpMilliSec) % 15 == 0; }))
                    .glitches.empty());
}

TEST(FindOutputGlitches, OfACursorThatStandsStillForGoodHasAnEnd) {
    OutputLog const log = Find(See(2.0, [](std::int64_t at) { return std::min<std::int64_t>(at, 500); }));
    ASSERT_EQ(log.glitches.size(), 1U);
    EXPECT_NEAR(log.glitches[0].lateMilliSec, 1490.0, 15.0);
    EXPECT_NEAR(static_cast<double>(log.glitches[0].endNanoSec), 2000.0 * NanoSecPerMilliSec,
                5.0 * NanoSecPerMilliSec);
}

TEST(FindOutputGlitches, OfHardlyAnythingSeenDoesNotCountAsWatched) {
    EXPECT_FALSE(Find({}).isWatched);
    EXPECT_FALSE(Find(See(-0.8, [](std::int64_t at) { return at; })).isWatched);
}

} // namespace Listening
