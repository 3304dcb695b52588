#include "record/captureloop.h"

#include <gtest/gtest.h>

#include "listening/tests/testsounds.h"
#include "support/testerror.h"
#include "support/testmicrophone.h"

namespace AudioHost {

namespace {

using Listening::NanoSecPerMilliSec;
using Listening::NanoSecPerSec;

struct CaptureLoopFixture {
    TestClock clock;
    ClockPacer pacer{clock};
    Listening::Samples const sound = Listening::MakeVoice(480000);
    TestMicrophone microphone{clock, sound};
    CaptureLogKeeper keeper{false};
    Listening::Samples heard;
    CaptureLoop loop{microphone, keeper, pacer, [this](Listening::SampleView piece) {
                         heard.insert(heard.end(), piece.begin(), piece.end());
                     }};

    bool Run(std::int64_t samples) {
        keeper.SetStart(Kovra::JiffyTime::Now());
        return loop.Run(Kovra::JiffyTime::Now(), samples);
    }

    ExitCode_t RunToError(std::int64_t samples) {
        return CodeOf([&] { Run(samples); });
    }
};

} // namespace

TEST(CaptureLoop_Run, HandsOnEverySampleUntilThereAreEnough) {
    CaptureLoopFixture fixture;
    // Not a whole number of frames.
    EXPECT_TRUE(fixture.Run(50000));
    EXPECT_EQ(fixture.heard, Listening::Samples(fixture.sound.begin(), fixture.sound.begin() + 50000));
    CaptureLog const log = fixture.keeper.Take();
    // 52.08 frames.
    EXPECT_EQ(log.frames, 53U);
    EXPECT_EQ(log.samples, 50000U);
    EXPECT_TRUE(log.losses.empty());
}

TEST(CaptureLoop_Run, ReadsTwiceAFrame) {
    CaptureLoopFixture fixture;
    std::vector<std::int64_t> waits;
    fixture.pacer.onWait = [&](std::int64_t time) { waits.push_back(time); };
    fixture.Run(1920);
    EXPECT_EQ(waits, (std::vector<std::int64_t>{10 * NanoSecPerMilliSec, 20 * NanoSecPerMilliSec,
                                                30 * NanoSecPerMilliSec, 40 * NanoSecPerMilliSec}));
}

TEST(CaptureLoop_Run, InterruptedHandsOnWhatHadCome) {
    CaptureLoopFixture fixture;
    // In the wait for the end of the fiftieth frame.
    fixture.pacer.stopNanoSec = NanoSecPerSec - 1;
    EXPECT_FALSE(fixture.Run(480000));
    EXPECT_EQ(fixture.heard.size(), 48000U);
}

TEST(CaptureLoop_Run, AfterAStallGoesOnFromThere) {
    CaptureLoopFixture fixture;
    int waits = 0;
    fixture.pacer.onWait = [&](std::int64_t time) {
        ++waits;
        fixture.clock.nanoSec += time == NanoSecPerSec ? NanoSecPerSec : 0;
    };
    EXPECT_TRUE(fixture.Run(144000));
    // Two seconds of waits, and the one that lasted a second.
    EXPECT_EQ(waits, 200);
    EXPECT_TRUE(fixture.keeper.Take().losses.empty());
}

TEST(CaptureLoop_Run, FindsBlocksThatTheClockMisses) {
    CaptureLoopFixture fixture;
    fixture.pacer.onWait = [&](std::int64_t time) {
        if (time == 5 * NanoSecPerSec) {
            fixture.microphone.Skip(4);
        }
    };
    EXPECT_TRUE(fixture.Run(384000));
    CaptureLog const log = fixture.keeper.Take();
    ASSERT_EQ(log.losses.size(), 1U);
    EXPECT_EQ(log.losses[0].frames, 4U);
    EXPECT_TRUE(log.losses[0].isAtRingEnd);
    // Neither of them shows it.
    EXPECT_EQ(log.numbersMissing + log.timestampsOff, 0U);
}

TEST(CaptureLoop_Run, WithoutAnythingForThreeSecondsEndsWithItsCode) {
    CaptureLoopFixture fixture;
    fixture.microphone.endNanoSec = NanoSecPerSec;
    fixture.microphone.failedStatus = Microphone::NothingYet;
    EXPECT_EQ(fixture.RunToError(480000), ExitCode_t::NoInput);
    // The last frame came at 0.98 s.
    EXPECT_EQ(fixture.clock.nanoSec, 1003 * NanoSecPerSec + 980 * NanoSecPerMilliSec);
    EXPECT_EQ(fixture.heard.size(), 49U * 960U);
    EXPECT_EQ(fixture.keeper.Take().readsFailed, 0U);
}

TEST(CaptureLoop_Run, BeginsACaptureAnewFromWhichNothingEverCame) {
    CaptureLoopFixture fixture;
    fixture.microphone.deadCaptures = 2;
    EXPECT_TRUE(fixture.Run(48000));
    EXPECT_EQ(fixture.microphone.restartsNanoSec,
              (std::vector<std::int64_t>{NanoSecPerSec, 2 * NanoSecPerSec}));
    EXPECT_EQ(fixture.heard, Listening::Samples(fixture.sound.begin(), fixture.sound.begin() + 48000));
}

TEST(CaptureLoop_Run, DoesNotBeginAnewWhatHasGivenSomething) {
    CaptureLoopFixture fixture;
    fixture.microphone.endNanoSec = NanoSecPerSec;
    EXPECT_EQ(fixture.RunToError(480000), ExitCode_t::NoInput);
    EXPECT_TRUE(fixture.microphone.restartsNanoSec.empty());
}

TEST(CaptureLoop_Run, GivesUpAfterThreeSecondsOfBeginningAnew) {
    CaptureLoopFixture fixture;
    fixture.microphone.deadCaptures = 100;
    EXPECT_EQ(fixture.RunToError(480000), ExitCode_t::NoInput);
    EXPECT_EQ(fixture.microphone.restartsNanoSec,
              (std::vector<std::int64_t>{NanoSecPerSec, 2 * NanoSecPerSec}));
}

TEST(CaptureLoop_Run, CountsReadsThatFail) {
    CaptureLoopFixture fixture;
    fixture.microphone.endNanoSec = NanoSecPerSec;
    fixture.microphone.failedStatus = -120;
    EXPECT_EQ(fixture.RunToError(480000), ExitCode_t::NoInput);
    CaptureLog const log = fixture.keeper.Take();
    // From 1.00 to 3.98 s, every 10 ms.
    EXPECT_EQ(log.readsFailed, 299U);
    EXPECT_EQ(log.failedStatus, -120);
}

TEST(CaptureLoop_Run, RefusesAFrameOfAnotherFormat) {
    class OddMicrophone : public Microphone {
    public:
        int ReadFrames(std::vector<std::shared_ptr<Media::FrameAud>>& frames) override {
            frames.push_back(MakeMicrophoneFrame(Listening::Samples(480), 0, 0));
            return 0;
        }
        void Restart() override {}
        float GetLevel() const override { return 0.0F; }
    };
    CaptureLoopFixture fixture;
    OddMicrophone odd;
    CaptureLoop loop(odd, fixture.keeper, fixture.pacer, [](Listening::SampleView) {});
    EXPECT_THROW(loop.Run(Kovra::JiffyTime::Now(), 960), HostError);
}

TEST(CaptureLoop_Run, PassesThroughWhatTheSinkThrows) {
    CaptureLoopFixture fixture;
    CaptureLoop loop(fixture.microphone, fixture.keeper, fixture.pacer,
                     [](Listening::SampleView) { throw HostError(ExitCode_t::NotWritten, "full"); });
    EXPECT_THROW(loop.Run(Kovra::JiffyTime::Now(), 960), HostError);
    EXPECT_EQ(fixture.keeper.Take().samples, 0U);
}

} // namespace AudioHost
