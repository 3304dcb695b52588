// What clearing takes although it was not heard yet: docs/timing.md tells it, and why it stays.

#include <algorithm>

#include "support/module/playbackbuffertest.h"

namespace UnitTest {
namespace {

class PlaybackBuffer_ClearedUnheard : public PlaybackBufferTest {
protected:
    static constexpr std::int64_t LeadNanoSec = 100 * NanoSecPerMilliSec;
    /// How far a device leaps ahead that takes its first buffers at once.
    static constexpr std::uint32_t LeapSamples = 45 * 48;

    PlaybackBuffer_ClearedUnheard() {
        Create();
        Sound().EnableSpeaker();
    }

    /// One job: the frame number `number` of 10 ms, every sample `number` + 1.
    void Render(std::int64_t number, std::int64_t aheadNanoSec = LeadNanoSec) {
        EXPECT_TRUE(Write(number * 10 * NanoSecPerMilliSec, 480, static_cast<std::int16_t>(number + 1)));
        auto presentation = Ahead(aheadNanoSec);
        buffer->Present(presentation);
    }

    /// Frames 0 to 32 in time, one every 10 ms, on a device that leaps ahead at the start; it is time for
    /// frame 33 then, whose presentation would clear: the cursor stands at 237360 + 330 * 48 = 13200 (round
    /// the ring), and at 10 ms it stood at 237840, where the second presentation cleared up to 237824.
    /// `missing` is left out.
    void PlayEarlyUpToFrame33(std::int64_t missing) {
        for (std::int64_t number = 0; number < 33; ++number) {
            if (number != missing) {
                Render(number);
            }
            if (number == 0) {
                PutCursorAt(RingSamples - 4800 + LeapSamples);
            }
            world.Clock().AdvanceMilliSec(10);
        }
        ASSERT_EQ(Sound().PlayFrame(), 13200U);
        ASSERT_EQ(GetFields().clearedEnd, 237824U);
    }

    /// Goes on with frames in time, up to and without `end`, and until all is heard.
    void PlayOn(std::int64_t first, std::int64_t end) {
        for (std::int64_t number = first; number < end; ++number) {
            Render(number);
            world.Clock().AdvanceMilliSec(10);
        }
        world.Clock().AdvanceMilliSec(LeadNanoSec / NanoSecPerMilliSec);
    }

    /// How many samples of frame `number` were heard, each time counted.
    std::int64_t HeardOf(std::int64_t number) {
        auto const& heard = Sound().GetSpeaker().Samples();
        return std::count(heard.begin(), heard.end(), static_cast<std::int16_t>(number + 1));
    }
};

// --- starts

TEST_F(PlaybackBuffer_ClearedUnheard, TakesTheFirstTwoFramesOfAStart) {
    PlayOn(0, 4);
    EXPECT_EQ(HeardOf(0), 0);
    EXPECT_EQ(HeardOf(1), 0);
    EXPECT_EQ(HeardOf(2), 480);
    EXPECT_EQ(HeardOf(3), 480);
}

TEST_F(PlaybackBuffer_ClearedUnheard, TakesTheFirstTwoFramesOfAReturnFromIdleness) {
    PlayOn(0, 4);
    world.Clock().AdvanceMilliSec(1001);
    buffer->Service();
    buffer->Service();
    ASSERT_FALSE(Sound().IsPlaying());
    PlayOn(200, 204);
    EXPECT_EQ(HeardOf(200), 0);
    EXPECT_EQ(HeardOf(201), 0);
    EXPECT_EQ(HeardOf(202), 480);
    EXPECT_EQ(HeardOf(203), 480);
}

TEST_F(PlaybackBuffer_ClearedUnheard, TakesEveryFrameUpToTheFirstPresentationThatMeasures) {
    // The second frame is late and stops playback; the third starts it anew, still behind position 0.
    Render(0);
    world.Clock().AdvanceMilliSec(10);
    Render(1, -1);
    world.Clock().AdvanceMilliSec(10);
    PlayOn(2, 6);
    for (std::int64_t number = 0; number < 4; ++number) {
        EXPECT_EQ(HeardOf(number), 0) << number;
    }
    EXPECT_EQ(HeardOf(4), 480);
}

// --- a frame before the origin

TEST_F(PlaybackBuffer_ClearedUnheard, TakesAFrameBeforeTheOriginWithTheCursorAt15000) {
    PutCursorAt(15000);
    Play();
    EXPECT_TRUE(Write(-NanoSecPerMilliSec, 480, 7));
    auto presentation = Ahead(LeadNanoSec);
    buffer->Present(presentation);
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
    EXPECT_EQ(GetFields().clearedEnd, 14976U);
    // 225000 samples ahead: the cursor has jumped to a lead before position 0, and what comes next is heard.
    world.Clock().AdvanceMilliSec(10);
    EXPECT_TRUE(Write(9 * NanoSecPerMilliSec, 480, 8));
    presentation = Ahead(LeadNanoSec);
    buffer->Present(presentation);
    EXPECT_EQ(Sound().Samples(480, 480), Repeat(480, 8));
}

TEST_F(PlaybackBuffer_ClearedUnheard, TakesAFrameBeforeTheOriginWithTheNextOneWithTheCursorAt14999) {
    PutCursorAt(14999);
    Play();
    EXPECT_TRUE(Write(-NanoSecPerMilliSec, 480, 7));
    auto presentation = Ahead(LeadNanoSec);
    buffer->Present(presentation);
    EXPECT_EQ(Sound().Samples(0, 480), Repeat(480, 7));
    world.Clock().AdvanceMilliSec(10);
    EXPECT_TRUE(Write(9 * NanoSecPerMilliSec, 480, 8));
    presentation = Ahead(LeadNanoSec);
    buffer->Present(presentation);
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
}

// --- a cursor that goes back behind what was cleared

TEST_F(PlaybackBuffer_ClearedUnheard, TakesAllThatIsQueuedAfterARestartBehindTheClearedEnd) {
    PlayEarlyUpToFrame33(23);
    // 13200 - 237824 + 240000 = 15376, 120 * 128 = 15360 of them cleared.
    Render(33);
    ASSERT_EQ(GetFields().clearedEnd, 13184U);
    world.Clock().AdvanceMilliSec(1);
    // Due 330 ms after the start, it comes at 331 ms. The cursor has come to 13248, in the middle of
    // frame 27.
    Render(23, -NanoSecPerMilliSec);
    world.Clock().AdvanceMilliSec(9);
    // Frame 34 starts at 34 * 480 - 4800 = 11520; at frame 35 the cursor is at 12000, and from 13184 round
    // the ring to there are 238816 samples: 1865 * 128 = 238720 of them are cleared, all that is queued among
    // them.
    PlayOn(34, 40);
    EXPECT_EQ(HeardOf(23), 0);
    EXPECT_EQ(HeardOf(26), 480);
    // 13248 - 27 * 480, and the sample at which the cursor stopped.
    EXPECT_EQ(HeardOf(27), 289);
    for (std::int64_t number = 28; number < 36; ++number) {
        EXPECT_EQ(HeardOf(number), 0) << number;
    }
    // The rest of frame 27 and eight frames: 84 ms, and with the late frame 94 ms.
    EXPECT_EQ(HeardOf(36), 480);
}

TEST_F(PlaybackBuffer_ClearedUnheard, TakesAllThatIsQueuedAfterAJumpBehindTheClearedEnd) {
    PlayEarlyUpToFrame33(26);
    // 70 ms late and still in time, but the early cursor is past its place, 12480. Its presentation clears up
    // to 13184, the frame itself with it, and jumps to 12480 - 1440 = 11040.
    Render(26, 30 * NanoSecPerMilliSec);
    ASSERT_EQ(GetFields().clearedEnd, 13184U);
    ASSERT_EQ(Sound().PlayFrame(), 11040U);
    PlayOn(33, 40);
    EXPECT_EQ(HeardOf(26), 0);
    // 13200 - 27 * 480, and the sample at which the cursor jumped.
    EXPECT_EQ(HeardOf(27), 241);
    for (std::int64_t number = 28; number < 34; ++number) {
        EXPECT_EQ(HeardOf(number), 0) << number;
    }
    EXPECT_EQ(HeardOf(34), 480);
}

TEST_F(PlaybackBuffer_ClearedUnheard, TakesNothingWhenTheCursorGoesBackToWhatIsNotClearedYet) {
    PlayEarlyUpToFrame33(23);
    // Without frame 33's presentation nothing has been cleared since 237824: a restart from 11520 is ahead of
    // it.
    Render(23, -NanoSecPerMilliSec);
    world.Clock().AdvanceMilliSec(10);
    PlayOn(34, 40);
    for (std::int64_t number = 27; number < 33; ++number) {
        EXPECT_GE(HeardOf(number), 480) << number;
    }
    EXPECT_EQ(HeardOf(34), 480);
}

} // namespace
} // namespace UnitTest
