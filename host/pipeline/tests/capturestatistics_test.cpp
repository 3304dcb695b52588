#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <vector>

#include "pipelinetest.h"

namespace {

using Media::CaptureStatistics_t;
using Media::FrameAud;

constexpr std::int64_t FrameNanoSec = 20 * Kovra::NanoSecPerMilliSec;

class Pipeline_AddCaptured : public PipelineTests::PipelineTest, private Kovra::ClockSource {
protected:
    Pipeline_AddCaptured() { Kovra::SetClockSource(this); }
    ~Pipeline_AddCaptured() override { Kovra::SetClockSource(nullptr); }

    /// One read a frame, each in time.
    void Read(int frames) {
        for (int frame = 0; frame < frames; ++frame) {
            now_ += FrameNanoSec;
            ReadAtOnce(1);
        }
    }
    void ReadAtOnce(int frames) {
        std::vector<std::shared_ptr<FrameAud>> read;
        for (int frame = 0; frame < frames; ++frame) {
            read.push_back(std::make_shared<FrameAud>(
                Media::FrameIdent(Kovra::SysTime(), number_++, "microphone"),
                boost::intrusive_ptr<Media::ParamsAud>(new Media::ParamsAud(Media::MediaCoding_t::RawPcm))));
        }
        pipeline_.AddCaptured(read);
    }
    void Wait(std::int64_t nanoSec) { now_ += nanoSec; }
    void SetNumber(std::uint32_t number) { number_ = number; }

    CaptureStatistics_t Get() const { return pipeline_.GetStatistics().capture; }

private:
    std::int64_t SystemNanoSec() const override { return 0; }
    std::int64_t MonotonicNanoSec() const override { return now_; }

    std::atomic<std::int64_t> now_{50'000 * Kovra::NanoSecPerMilliSec};
    std::uint32_t number_ = 0;
    Media::Pipeline pipeline_{renderer, 1};
};

} // namespace

TEST_F(Pipeline_AddCaptured, OfFramesInTimeNoneIsLost) {
    Read(1000);
    EXPECT_EQ(Get().frames, 1000U);
    EXPECT_EQ(Get().losses.times, 0U);
    EXPECT_EQ(Get().lostFrames, 0U);
    EXPECT_EQ(Get().restarts, 0U);
}

// Two seconds later: late frames would have come by then.
TEST_F(Pipeline_AddCaptured, FramesThatNeverComeAreOneLoss) {
    Read(250);
    Wait(5 * FrameNanoSec);
    Read(95);
    EXPECT_EQ(Get().losses.episodes, 0U);
    Read(50);
    EXPECT_EQ(Get().losses.episodes, 1U);
    EXPECT_EQ(Get().lostFrames, 5U);
    Read(1000);
    EXPECT_EQ(Get().lostFrames, 5U);
}

TEST_F(Pipeline_AddCaptured, LateFramesAreNoLoss) {
    Read(250);
    Wait(40 * FrameNanoSec);
    ReadAtOnce(40);
    Read(250);
    EXPECT_EQ(Get().lostFrames, 0U);
}

TEST_F(Pipeline_AddCaptured, PauseOfAMinuteIsOneLossOfItsLength) {
    Read(250);
    Wait(60'000 * Kovra::NanoSecPerMilliSec);
    Read(250);
    EXPECT_EQ(Get().losses.episodes, 1U);
    EXPECT_EQ(Get().lostFrames, 3000U);
}

TEST_F(Pipeline_AddCaptured, FramesOfOthersAreSkippedNotLost) {
    Read(250);
    Wait(7 * FrameNanoSec);
    SetNumber(257);
    Read(250);
    EXPECT_EQ(Get().skippedFrames, 7U);
    EXPECT_EQ(Get().lostFrames, 0U);
    EXPECT_EQ(Get().restarts, 0U);
}

TEST_F(Pipeline_AddCaptured, NumbersThatBeginAnewAreARestartAndNoLoss) {
    Read(250);
    Wait(3'000 * Kovra::NanoSecPerMilliSec);
    SetNumber(0);
    Read(250);
    EXPECT_EQ(Get().restarts, 1U);
    EXPECT_EQ(Get().frames, 500U);
    EXPECT_EQ(Get().lostFrames, 0U);
}

TEST_F(Pipeline_AddCaptured, NumbersThatWrapGoOn) {
    SetNumber(0xFFFFFFF0U);
    Read(250);
    EXPECT_EQ(Get().restarts, 0U);
    EXPECT_EQ(Get().skippedFrames, 0U);
}

// Half of their range is forward.
TEST_F(Pipeline_AddCaptured, NumbersThatGoBackAreARestart) {
    Read(250);
    SetNumber(250 + 0x7FFFFFFFU);
    Read(1);
    EXPECT_EQ(Get().skippedFrames, 0x7FFFFFFFU);
    EXPECT_EQ(Get().restarts, 0U);
    SetNumber(251 + 0x7FFFFFFFU + 0x80000000U);
    Read(1);
    EXPECT_EQ(Get().skippedFrames, 0x7FFFFFFFU);
    EXPECT_EQ(Get().restarts, 1U);
}

TEST_F(Pipeline_AddCaptured, OneFrameInTimeOfASlotTellsThatTheOthersAreLate) {
    Read(250);
    for (int pair = 0; pair < 200; ++pair) {
        Wait(2 * FrameNanoSec);
        ReadAtOnce(1);
        ReadAtOnce(1);
    }
    EXPECT_EQ(Get().lostFrames, 0U);
}

TEST_F(Pipeline_AddCaptured, ReadWithoutFramesChangesNothing) {
    ReadAtOnce(0);
    Wait(10'000 * Kovra::NanoSecPerMilliSec);
    Read(250);
    EXPECT_EQ(Get().frames, 250U);
    EXPECT_EQ(Get().lostFrames, 0U);
}
