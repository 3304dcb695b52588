#include "support/module/playbackbuffertest.h"

namespace UnitTest {
namespace {

/// The buffer plays, 4800 samples before the newest frame; the presentations ask for 96 ms = 4608 samples.
class PlaybackBuffer_ControlDrift : public PlaybackBufferTest {
protected:
    PlaybackBuffer_ControlDrift() {
        Create();
        PutCursorAt(5200);
        Play();
        GetFields().writePos = 10000;
        GetFields().clearedEnd = 5200;
        GetFields().playFrequency = 48000;
    }

    /// A window of this length with these sums.
    void SetWindow(std::int64_t elapsedMilliSec, std::uint32_t measured, std::uint32_t expected) {
        GetFields().driftWindowStart = Ago(elapsedMilliSec);
        GetFields().measuredLagSum = measured;
        GetFields().expectedLagSum = expected;
    }

    /// 96'000'000 / 20833 = 4608.07.
    void Present() {
        auto presentation = Ahead(96 * NanoSecPerMilliSec);
        buffer->Present(presentation);
        // The lag of 4800 samples sounds for 99.99 ms.
        EXPECT_EQ(presentation, Ahead(99 * NanoSecPerMilliSec));
        EXPECT_EQ(GetFields().lastPresentTime.load(), Kovra::JiffyTime::Now());
    }

    // The sums are seen by nothing but the verdict that they come to a second later.
    void ExpectNewWindow() {
        EXPECT_EQ(GetFields().driftWindowStart, Kovra::JiffyTime::Now());
        EXPECT_EQ(GetFields().measuredLagSum, 0U);
        EXPECT_EQ(GetFields().expectedLagSum, 0U);
    }

    void ExpectAccumulated(Kovra::JiffyTime windowStart, std::uint32_t measured, std::uint32_t expected) {
        EXPECT_EQ(GetFields().driftWindowStart, windowStart);
        EXPECT_EQ(GetFields().measuredLagSum, measured);
        EXPECT_EQ(GetFields().expectedLagSum, expected);
        EXPECT_THAT(TakeCalls(), ElementsAre("GetStatus()", "GetCurrentPosition()"));
        EXPECT_THAT(TakeLog(), IsEmpty());
    }

    std::vector<std::string> TakeFrequencies() { return TakeCalls({Call_t::BufferSetFrequency}); }
};

TEST_F(PlaybackBuffer_ControlDrift, WindowOf1023MillisecondsOnlyAccumulates) {
    SetWindow(1023, 100, 1000);
    Present();
    ExpectAccumulated(Ago(1023), 100 + 4800, 1000 + 4608);
}

TEST_F(PlaybackBuffer_ControlDrift, WindowJustBelow1024MillisecondsOnlyAccumulates) {
    SetWindow(0, 100, 1000);
    auto const start = Ahead(-1024 * NanoSecPerMilliSec + 1);
    GetFields().driftWindowStart = start;
    Present();
    ExpectAccumulated(start, 100 + 4800, 1000 + 4608);
}

TEST_F(PlaybackBuffer_ControlDrift, WindowOf1024MillisecondsIsJudged) {
    SetWindow(1024, 100, 1000);
    Present();
    ExpectNewWindow();
    EXPECT_THAT(TakeFrequencies(), ElementsAre("SetFrequency(47960)"));
}

TEST_F(PlaybackBuffer_ControlDrift, FirstMeasurementIsAccumulatedHoweverOldTheWindow) {
    SetWindow(5000, 100, 0);
    Present();
    ExpectAccumulated(Ago(5000), 100 + 4800, 4608);
    Present();
    ExpectNewWindow();
}

TEST_F(PlaybackBuffer_ControlDrift, WindowOf50DaysBeginsAnewIn32Bits) {
    // 2^32 + 1023 ms are 1023 in 32 bits, 2^32 - 1023 are -1023.
    SetWindow(4'294'968'319, 100, 1000);
    Present();
    ExpectAccumulated(Ago(4'294'968'319), 100 + 4800, 1000 + 4608);
    SetWindow(4'294'966'273, 100, 1000);
    Present();
    ExpectAccumulated(Ago(4'294'966'273), 100 + 4800, 1000 + 4608);
    SetWindow(4'294'968'320, 100, 1000);
    Present();
    ExpectNewWindow();
}

TEST_F(PlaybackBuffer_ControlDrift, SumsWrapAt32Bits) {
    SetWindow(0, UINT32_MAX - 799, UINT32_MAX - 607);
    Present();
    // 4800 - 800 and 4608 - 608.
    ExpectAccumulated(Ago(0), 4000, 4000);
}

TEST_F(PlaybackBuffer_ControlDrift, SumWrappedToZeroCountsAsNone) {
    SetWindow(0, 100, UINT32_MAX - 4607);
    Present();
    ExpectAccumulated(Ago(0), 4900, 0);
    SetWindow(1024, 4900, 0);
    Present();
    ExpectAccumulated(Ago(1024), 9700, 4608);
}

TEST_F(PlaybackBuffer_ControlDrift, RatioOf97PercentSlowsDown) {
    SetWindow(1100, 9700, 10000);
    Present();
    EXPECT_THAT(TakeCalls(CallSet::All()),
                ElementsAre("GetStatus()", "GetCurrentPosition()", "SetFrequency(47960)"));
    EXPECT_THAT(TakeLog(), ElementsAre(Debug("Adjusting audio frequency to 47960 Hz")));
    EXPECT_EQ(Sound().Frequency(), 47960U);
    ExpectNewWindow();
}

TEST_F(PlaybackBuffer_ControlDrift, RatioOf103PercentSpeedsUp) {
    SetWindow(1100, 10300, 10000);
    Present();
    EXPECT_THAT(TakeCalls(CallSet::All()),
                ElementsAre("GetStatus()", "GetCurrentPosition()", "SetFrequency(48040)"));
    EXPECT_THAT(TakeLog(), ElementsAre(Debug("Adjusting audio frequency to 48040 Hz")));
    ExpectNewWindow();
}

TEST_F(PlaybackBuffer_ControlDrift, RatioWithinTheBandComesBackToNominal) {
    GetFields().playFrequency = 47960;
    SetWindow(1100, 10150, 10000);
    Present();
    EXPECT_THAT(TakeFrequencies(), ElementsAre("SetFrequency(48000)"));
    EXPECT_THAT(TakeLog(), ElementsAre(Debug("Adjusting audio frequency to 48000 Hz")));
    ExpectNewWindow();
}

TEST_F(PlaybackBuffer_ControlDrift, SlowStaysSlowWithoutACall) {
    GetFields().playFrequency = 47960;
    SetWindow(1100, 9700, 10000);
    Present();
    EXPECT_THAT(TakeFrequencies(), IsEmpty());
    EXPECT_THAT(TakeLog(), IsEmpty());
    ExpectNewWindow();
}

TEST_F(PlaybackBuffer_ControlDrift, TheMeasurementThatEndsTheWindowIsNotCounted) {
    // With 4800 and 4608 it would be 14780 / 14608 = 1.012.
    SetWindow(1024, 9980, 10000);
    Present();
    EXPECT_THAT(TakeFrequencies(), IsEmpty());
    // Alone 0.979 is too slow; with the measurement (9790 + 4800) / 14608 = 0.9988.
    SetWindow(1024, 9790, 10000);
    Present();
    EXPECT_THAT(TakeFrequencies(), ElementsAre("SetFrequency(47960)"));
}

TEST_F(PlaybackBuffer_ControlDrift, ARefusedFrequencyCountsAsSet) {
    world.Faults().Fail(Call_t::BufferSetFrequency, 1, DSERR_GENERIC);
    SetWindow(1100, 9700, 10000);
    Present();
    EXPECT_THAT(TakeLog(), ElementsAre(Debug("Adjusting audio frequency to 47960 Hz")));
    ExpectNewWindow();
    SetWindow(1100, 9700, 10000);
    Present();
    EXPECT_THAT(TakeFrequencies(), ElementsAre("SetFrequency(47960) = 0x80004005"));
}

TEST_F(PlaybackBuffer_ControlDrift, RecordsThatNobodyWantsAreNotMade) {
    Kovra::LogManager::Instance().SetLevel("Media.RendererAudioPlaybackBuffer", Kovra::LogLevel_t::Info);
    SetWindow(1100, 9700, 10000);
    Present();
    Kovra::LogManager::Instance().SetLevel("Media.RendererAudioPlaybackBuffer", Kovra::LogLevel_t::Debug);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_ControlDrift, PresentationsOfASecondFillAWindowAndThenJudgeIt) {
    // 24 presentations 40 ms apart, each frame written 40 ms = 1920 samples further: the cursor moves as
    // much.
    GetFields().driftWindowStart = Kovra::JiffyTime::Now();
    for (int n = 0; n < 26; ++n) {
        auto presentation = Ahead(96 * NanoSecPerMilliSec);
        buffer->Present(presentation);
        EXPECT_EQ(GetFields().measuredLagSum, static_cast<std::uint32_t>(n + 1) * 4800U);
        EXPECT_EQ(GetFields().expectedLagSum, static_cast<std::uint32_t>(n + 1) * 4608U);
        world.Clock().AdvanceMilliSec(40);
        GetFields().writePos = GetFields().writePos + 1920;
    }
    // 26 * 40 ms = 1040 ms; 4800 / 4608 = 1.04.
    Present();
    EXPECT_THAT(TakeFrequencies(), ElementsAre("SetFrequency(48040)"));
    ExpectNewWindow();
}

} // namespace
} // namespace UnitTest
