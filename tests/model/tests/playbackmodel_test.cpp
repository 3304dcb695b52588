// The model by itself, at examples that are worked out by hand.

#include "model/playbackmodel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/capturemodel.h"
#include "support/facts.h"

namespace ModelTest {
namespace {

using Facts::NanoSecPerMilliSec;
using ::testing::ElementsAre;

constexpr std::int64_t Start = 1'000'000'000'000;
constexpr std::int64_t Origin = 7'000'000'000'123;

class PlaybackModelTest : public ::testing::Test {
protected:
    bool Render(std::int64_t offsetNanoSec, std::int64_t aheadNanoSec, std::uint32_t playByte = 0) {
        IncomingFrame frame;
        frame.timestampNanoSec = Origin + offsetNanoSec;
        frame.samples = {samples.data(), static_cast<std::uint32_t>(samples.size())};
        presentation = now + aheadNanoSec;
        trace.BeginStep(faults);
        return model.Render(frame, presentation, now, playByte);
    }
    void Service(std::uint32_t playByte = 0) {
        trace.BeginStep({});
        model.Service(now, playByte);
    }
    std::vector<std::string> Logs() const {
        std::vector<std::string> texts;
        for (LogLine const& line : trace.logs) {
            texts.push_back(line.message);
        }
        return texts;
    }

    Rules rules;
    Trace trace;
    std::int64_t now = Start;
    std::int64_t presentation = 0;
    std::vector<Fault> faults;
    std::vector<std::uint8_t> samples = std::vector<std::uint8_t>(1920, 7);
    PlaybackModel model{rules, trace, Start};
};

TEST_F(PlaybackModelTest, FirstFrameCreatesWritesAndStarts) {
    // 100 ms are 4800.08 samples; 0 - 4800 + 240000 = 235200.
    EXPECT_TRUE(Render(0, 100 * NanoSecPerMilliSec));
    EXPECT_EQ(model.record.writePos, 0U);
    EXPECT_EQ(model.record.writeEnd, 960U);
    EXPECT_EQ(model.record.lastSample, 0x0707);
    EXPECT_TRUE(model.sound.isPlaying);
    EXPECT_EQ(model.sound.ring[1919], 7);
    EXPECT_EQ(model.sound.ring[1920], 0);
    EXPECT_THAT(Logs(), ElementsAre("AudioBuffer playback started"));
    std::vector<std::string> calls;
    for (CallLine const& line : trace.calls) {
        calls.push_back(line.Text());
    }
    EXPECT_THAT(
        calls,
        ElementsAre("Sound::CreateSoundBuffer on 1 (33256 480000 0 0)",
                    "SoundBuffer::QueryInterface(IDirectSoundBuffer8) on 1 (0 0 0 0)",
                    "SoundBuffer::Release on 1 (0 0 0 0)", "SoundBuffer::SetVolume on 1 (0 0 0 0)",
                    "SoundBuffer::SetPan on 1 (0 0 0 0)", "SoundBuffer::SetCurrentPosition on 1 (0 0 0 0)",
                    "SoundBuffer::QueryInterface(IDirectSoundNotify) on 1 (0 0 0 0)",
                    "Win32::CreateEventA on 3 (0 0 0 0)", "Win32::SetEvent on 1 (1 0 0 0)",
                    "SoundBuffer::Lock on 1 (0 480000 0 0)", "SoundBuffer::Unlock on 1 (480000 0 0 0)",
                    "SoundBuffer::Lock on 1 (0 1920 0 0)", "SoundBuffer::Unlock on 1 (1920 0 0 0)",
                    "SoundBuffer::GetStatus on 1 (0 0 0 0)",
                    "SoundBuffer::SetCurrentPosition on 1 (470400 0 0 0)",
                    "SoundBuffer::SetFrequency on 1 (48000 0 0 0)",
                    "SoundNotify::SetNotificationPositions on 1 (1 1920 3 0)",
                    "SoundBuffer::SetVolume on 1 (0 0 0 0)", "SoundBuffer::Play on 1 (1 0 0 0)"));
}

TEST_F(PlaybackModelTest, OddPositionIsRoundedUp) {
    Render(0, 0);
    Render(2 * 20833 - 1, 0);
    EXPECT_EQ(model.record.writePos, 2U);
}

TEST_F(PlaybackModelTest, GapOfTenIsClosedAndElevenIsLost) {
    Render(0, 0);
    // 970 and, behind the 960 samples more, 1920 + 12: the positions are even.
    Render(970 * 20833, 0);
    EXPECT_EQ(model.record.writePos, 960U);
    EXPECT_THAT(trace.logs.front().message, "AudioBuffer ignoring small gap (10 samples)");
    Render(1932 * 20833, 0);
    EXPECT_EQ(model.record.writePos, 1932U);
    EXPECT_THAT(trace.logs.front().message, "AudioBuffer packet loss, zero'ing 12 samples");
}

TEST_F(PlaybackModelTest, LagIsMeasuredAndGivenBack) {
    Render(0, 100 * NanoSecPerMilliSec);
    now += 20 * NanoSecPerMilliSec;
    // The cursor went from 235200 on by 960 samples; the second frame lies at 960: 4800 samples are between.
    Render(20 * NanoSecPerMilliSec, 100 * NanoSecPerMilliSec, 2 * (235200 + 960));
    EXPECT_EQ(model.record.measuredLagSum, 4800U);
    EXPECT_EQ(model.record.expectedLagSum, 4800U);
    // 4800 * 20833 ns are 99.998 ms.
    EXPECT_EQ(presentation, now + 99 * NanoSecPerMilliSec);
}

TEST_F(PlaybackModelTest, IdleBufferIsStoppedAtTheSecondPass) {
    Render(20 * NanoSecPerMilliSec, 0);
    Render(40 * NanoSecPerMilliSec, 0);
    now += 1001 * NanoSecPerMilliSec;
    Service();
    EXPECT_TRUE(model.sound.isPlaying);
    Service();
    EXPECT_FALSE(model.sound.isPlaying);
    EXPECT_EQ(model.record.baseTimestamp, 0);
    EXPECT_THAT(Logs(), ElementsAre("Idle AudioBuffer playback stopped (1001 ms)"));
}

TEST_F(PlaybackModelTest, LostBufferIsRestoredOnce) {
    Render(0, 0);
    model.Lose();
    faults = {{Call_t::BufferRestore, 1, Failure}};
    EXPECT_FALSE(Render(20 * NanoSecPerMilliSec, 0));
    EXPECT_TRUE(model.sound.isLost);
    faults.clear();
    EXPECT_TRUE(Render(40 * NanoSecPerMilliSec, 0));
    EXPECT_FALSE(model.sound.isLost);
}

TEST(CaptureModel_Read, LosesTheBlocksBehindTheRingEnd) {
    Rules const rules;
    Trace trace;
    CaptureModel model(rules, trace);
    model.Start(1000);
    // All but two blocks of the ring, then three blocks: two up to its end, one behind it.
    EXPECT_EQ(model.Read({2 * 238'080, 238'080}, 0), 0);
    EXPECT_EQ(model.frames.size(), 248U);
    EXPECT_EQ(model.Read({2 * 960, 240'960}, 0), 0);
    EXPECT_EQ(model.frames.size(), 2U);
    EXPECT_EQ(model.frames[1].number, 249U);
    EXPECT_EQ(model.frames[1].timeNanoSec, 1000 + 249 * 20 * NanoSecPerMilliSec);
    EXPECT_EQ(model.record.readPos, 960U);
    EXPECT_EQ(model.Read({2 * 960, 240'960}, 0), -30);
}

TEST(CaptureModel_Level, IsThePowerOfTheSumOfDifferences) {
    Rules const rules;
    Trace trace;
    CaptureModel model(rules, trace);
    model.Start(1000);
    EXPECT_EQ(model.Level(), 0.0F);
    model.record.minRing.fill(0);
    model.record.maxRing.fill(255);
    model.record.isLevelStale = true;
    EXPECT_EQ(model.Level(), 1.0F);
}

} // namespace
} // namespace ModelTest
