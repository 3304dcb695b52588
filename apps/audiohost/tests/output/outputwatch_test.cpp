#include "output/outputwatch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "listening/samples.h"

namespace AudioHost {

namespace {

using Listening::NanoSecPerMilliSec;

/// A clock that the watching thread moves while it rests.
class WatchedClock : public Kovra::ClockSource {
public:
    std::int64_t SystemNanoSec() const override { return now; }
    std::int64_t MonotonicNanoSec() const override { return now; }

    std::atomic<std::int64_t> now{1'000'000'000};
};

struct ClockInUse {
    WatchedClock clock;
    ClockInUse() { Kovra::SetClockSource(&clock); }
    ~ClockInUse() { Kovra::SetClockSource(nullptr); }
};

/// Two seconds of silence in steps of 10 ms. Once it leaps ahead by 40 ms, usually soon after its start, as
/// devices do.
class TestSilence : public SilentSound {
public:
    static constexpr std::int64_t LengthNanoSec = 2000 * NanoSecPerMilliSec;

    explicit TestSilence(WatchedClock& clock, std::int64_t standsFrom = INT64_MAX,
                         std::int64_t leapsAt = 300 * NanoSecPerMilliSec)
        : clock_(clock), begin_(clock.now), standsFrom_(standsFrom), leapsAt_(leapsAt) {}

    std::optional<std::int64_t> GetPositionNanoSec() override {
        std::int64_t const since = std::min(clock_.now - begin_, standsFrom_);
        std::int64_t const played = since + (since > leapsAt_ ? 40 * NanoSecPerMilliSec : 0);
        return played / (10 * NanoSecPerMilliSec) * 10 * NanoSecPerMilliSec % LengthNanoSec;
    }
    std::int64_t GetLengthNanoSec() const override { return LengthNanoSec; }
    void Rest() override {
        clock_.now += 3 * NanoSecPerMilliSec;
        std::this_thread::yield();
    }

private:
    WatchedClock& clock_;
    std::int64_t const begin_;
    std::int64_t const standsFrom_;
    std::int64_t const leapsAt_;
};

/// Waits for the clock that the watch moves.
class PatientPacer : public Pacer {
public:
    explicit PatientPacer(bool isToGoOn = true) : isToGoOn_(isToGoOn) {}

    bool WaitUntil(Kovra::JiffyTime instant) override {
        while (isToGoOn_ && Kovra::JiffyTime::Now() < instant) {
            std::this_thread::yield();
        }
        return isToGoOn_;
    }

private:
    bool const isToGoOn_;
};

} // namespace

TEST(OutputWatch, WaitsUntilTheSoundHasPlayedEvenlyAndSeesItAll) {
    ClockInUse use;
    // Before the watch, whose thread moves the clock from its first moment on.
    std::int64_t const start = use.clock.now;
    OutputWatch watch(std::make_unique<TestSilence>(use.clock));
    PatientPacer pacer;
    watch.WaitUntilSteady(pacer);
    // The leap after 300 ms is older than half a second by then.
    EXPECT_GE(use.clock.now - start, 990 * NanoSecPerMilliSec);
    // Twice round the sound.
    pacer.WaitUntil(Kovra::JiffyTime(start + 4500 * NanoSecPerMilliSec));
    Listening::OutputLog const log = watch.Stop(start + 1000 * NanoSecPerMilliSec);
    EXPECT_TRUE(log.isWatched);
    EXPECT_TRUE(log.glitches.empty());
    EXPECT_LE(log.worstMilliSec, 4.0);
    EXPECT_FALSE(watch.Stop(0).isWatched);
}

TEST(OutputWatch, TellsTheLeapThatItSaw) {
    ClockInUse use;
    std::int64_t const start = use.clock.now;
    OutputWatch watch(std::make_unique<TestSilence>(use.clock, INT64_MAX, 2000 * NanoSecPerMilliSec));
    PatientPacer pacer;
    pacer.WaitUntil(Kovra::JiffyTime(start + 3000 * NanoSecPerMilliSec));
    Listening::OutputLog const log = watch.Stop(start + 1000 * NanoSecPerMilliSec);
    ASSERT_EQ(log.glitches.size(), 1U);
    EXPECT_NEAR(log.glitches[0].earlyMilliSec, 40.0, 5.0);
    EXPECT_NEAR(static_cast<double>(log.glitches[0].startNanoSec), 1000.0 * NanoSecPerMilliSec,
                15.0 * NanoSecPerMilliSec);
}

TEST(OutputWatch, WaitsThreeSecondsForACursorThatNeverMovesEvenly) {
    ClockInUse use;
    OutputWatch watch(std::make_unique<TestSilence>(use.clock, 700 * NanoSecPerMilliSec));
    PatientPacer pacer;
    std::int64_t const start = use.clock.now;
    watch.WaitUntilSteady(pacer);
    EXPECT_GE(use.clock.now - start, 3000 * NanoSecPerMilliSec);
}

TEST(OutputWatch, DoesNotWaitWithoutASoundOrForOneWhoWantsToStop) {
    ClockInUse use;
    PatientPacer pacer;
    OutputWatch nothing(nullptr);
    nothing.WaitUntilSteady(pacer);
    EXPECT_TRUE(nothing.Stop(0).glitches.empty());

    OutputWatch watch(std::make_unique<TestSilence>(use.clock));
    PatientPacer stopped(false);
    watch.WaitUntilSteady(stopped);
    watch.Stop(0);
}

} // namespace AudioHost
