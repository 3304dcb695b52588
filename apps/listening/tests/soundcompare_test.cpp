#include "listening/soundcompare.h"

#include <gtest/gtest.h>

#include <cmath>

#include "listening/soundlevel.h"
#include "listening/tests/testmix.h"
#include "listening/tests/testsounds.h"

namespace Listening {

namespace {

/// Silence that a recorder takes down before the sound starts.
constexpr std::int64_t HeadSamples = 7321;

Samples Silence(std::int64_t count) {
    return Samples(static_cast<std::size_t>(count), 0);
}

/// `sound` as a recorder gets it, when its first sample comes at `HeadSamples`.
Samples Record(SampleView sound) {
    return Join({Silence(HeadSamples), sound, Silence(3000)});
}

/// `sound` as a player gives it out that runs at `speed`.
Samples PlayAt(double speed, Samples const& sound) {
    Samples played;
    for (double place = 0.0; place + 1.0 < static_cast<double>(sound.size()); place += speed) {
        auto const below = static_cast<std::size_t>(place);
        double const share = place - static_cast<double>(below);
        played.push_back(
            static_cast<std::int16_t>(std::lround((1.0 - share) * sound[below] + share * sound[below + 1])));
    }
    return played;
}

} // namespace

TEST(LevelDecibel, OfAFullScaleSquareWaveIsZero) {
    EXPECT_NEAR(LevelDecibel(Samples{32767, -32768, 32767, -32768}), 0.0, 0.001);
}

TEST(LevelDecibel, OfASineIsThreeDecibelBelowItsPeak) {
    // 20 log10(3276.8 / 32768) - 10 log10(2) = -20 - 3.01
    EXPECT_NEAR(LevelDecibel(MakeSine(48000, 1000.0, 3276.8)), -23.01, 0.01);
}

TEST(LevelDecibel, OfSilenceIsTheFloor) {
    EXPECT_EQ(LevelDecibel(Silence(100)), -120.0);
    EXPECT_EQ(LevelDecibel(SampleView()), -120.0);
}

TEST(Peak, IsTheGreatestMagnitude) {
    EXPECT_EQ(Peak(Samples{5, -32768, 12}), 32768);
}

TEST(MixSounds, AddsAndCutsOffAtFullScale) {
    Samples const a = {30000, -30000, 5};
    Samples const b = {10000, -10000};
    EXPECT_EQ(MixSounds({a, b}), (Samples{32767, -32768, 5}));
}

TEST(CompareSounds, OfAnUntouchedSoundFindsItsPlaceAndNothingWrong) {
    Samples const sent = MakeVoice(4 * SecondSamples);
    SoundComparison const result = CompareSounds(sent, Record(sent));
    ASSERT_TRUE(result.isFound);
    EXPECT_EQ(result.firstSampleAt, HeadSamples);
    EXPECT_EQ(result.medianLagSamples, HeadSamples);
    EXPECT_EQ(result.lagDriftSamples, 0.0);
    EXPECT_EQ(result.lagSpreadSamples, 0.0);
    EXPECT_EQ(result.windowsWithSignal, 16);
    EXPECT_EQ(result.windowsMatched, 16);
    EXPECT_NEAR(result.heardLevelDecibel, result.sentLevelDecibel, 1e-9);
    EXPECT_EQ(result.longestHole.samples, 0);
    EXPECT_TRUE(result.jumps.empty());
    EXPECT_TRUE(result.lost.empty());
}

TEST(CompareSounds, FindsASoundWhoseRecorderStartedLate) {
    Samples const sent = MakeVoice(4 * SecondSamples);
    SoundComparison const result = CompareSounds(sent, SampleView(sent).Cut(20000, 4 * SecondSamples));
    ASSERT_TRUE(result.isFound);
    EXPECT_EQ(result.medianLagSamples, -20000.0);
    // Windows 0 (0 to 12000) and 1 (to 24000) started before the recording: they count neither way.
    EXPECT_EQ(result.windowsWithSignal, 14);
    EXPECT_EQ(result.unrecordedSamples, 24000);
    EXPECT_TRUE(result.lost.empty());
    EXPECT_EQ(result.silentStartSamples, 0);
    EXPECT_EQ(result.windowsMatched, 14);
}

TEST(CompareSounds, FindsASoundFarIntoALongRecording) {
    Samples const sent = MakeVoice(2 * SecondSamples);
    Samples const heard = Join({MakeVoice(300000, 2), sent, MakeVoice(50000, 3)});
    SoundComparison const result = CompareSounds(sent, heard);
    ASSERT_TRUE(result.isFound);
    EXPECT_EQ(result.firstSampleAt, 300000.0);
    EXPECT_EQ(result.GetMatchedShare(), 1.0);
}

TEST(CompareSounds, FindsASoundThatRepeatsItselfWhereTheRangeSays) {
    Samples const once = MakeVoice(4 * SecondSamples);
    Samples const sent = Join({once, once, once});
    // Of the three likenesses of the first four seconds the one at HeadSamples is the first.
    SoundComparison const result =
        CompareSounds(sent, Record(sent), LagRange{HeadSamples - 1000, HeadSamples + 1000});
    ASSERT_TRUE(result.isFound);
    EXPECT_EQ(result.firstSampleAt, HeadSamples);
    EXPECT_EQ(result.unrecordedSamples, 0);
    EXPECT_EQ(result.windowsMatched, result.windowsWithSignal);
}

TEST(CompareSounds, FindsASoundAtBothEndsOfTheRangeAndNotBeyond) {
    Samples const sent = MakeVoice(4 * SecondSamples);
    Samples const heard = Record(sent);
    EXPECT_TRUE(CompareSounds(sent, heard, LagRange{HeadSamples, HeadSamples + 1}).isFound);
    EXPECT_TRUE(CompareSounds(sent, heard, LagRange{HeadSamples - 1, HeadSamples}).isFound);
    EXPECT_FALSE(CompareSounds(sent, heard, LagRange{HeadSamples + 2000, HeadSamples + 9000}).isFound);
}

TEST(CompareSounds, HalfTheAmplitudeIsSixDecibelLess) {
    Samples const sent = MakeVoice(2 * SecondSamples);
    Samples quieter = sent;
    for (std::int16_t& sample : quieter) {
        sample = static_cast<std::int16_t>(sample / 2);
    }
    SoundComparison const result = CompareSounds(sent, Record(quieter));
    EXPECT_EQ(result.GetMatchedShare(), 1.0);
    EXPECT_NEAR(result.heardLevelDecibel - result.sentLevelDecibel, -6.02, 0.02);
}

TEST(CompareSounds, SilenceInPlaceOfSoundIsAHoleAndNoJump) {
    Samples const sent = MakeVoice(4 * SecondSamples);
    Samples broken = sent;
    // 25 ms from 1.1 s on: five blocks of 5 ms, aligned with them as 52800 = 220 * 240.
    std::fill(broken.begin() + 52800, broken.begin() + 54000, std::int16_t(0));
    SoundComparison const result = CompareSounds(sent, Record(broken));
    EXPECT_EQ(result.longestHole.start, 52800);
    EXPECT_EQ(result.longestHole.samples, 1200);
    ASSERT_EQ(result.holes.size(), 1U);
    EXPECT_EQ(result.holes[0].start, 52800);
    EXPECT_TRUE(result.jumps.empty());
}

TEST(CompareSounds, SilenceAtTheVeryBeginningIsToldApartFromHoles) {
    Samples const sent = MakeVoice(4 * SecondSamples);
    Samples broken = sent;
    // Two frames of 20 ms.
    std::fill(broken.begin(), broken.begin() + 1920, std::int16_t(0));
    SoundComparison const result = CompareSounds(sent, Record(broken));
    EXPECT_EQ(result.silentStartSamples, 1920);
    EXPECT_EQ(result.longestHole.samples, 0);
    EXPECT_EQ(CompareSounds(sent, Record(sent)).silentStartSamples, 0);
}

TEST(CompareSounds, AStepOfAMillisecondWithinAWindowIsNoLoss) {
    Samples const sent = MakeVoice(4 * SecondSamples);
    SampleView const view(sent);
    // 40 samples more in the middle of the window from 96000 to 108000.
    Samples const heard = Join({view.Cut(0, 102000), view.Cut(101960, 90040)});
    SoundComparison const result = CompareSounds(sent, Record(heard));
    EXPECT_EQ(result.GetMatchedShare(), 1.0);
    EXPECT_EQ(result.lagDriftSamples, 40.0);
}

TEST(CompareSounds, AHoleOverSilenceThatWasSentIsNone) {
    Samples const sent =
        Join({MakeVoice(SecondSamples), Silence(SecondSamples / 2), MakeVoice(SecondSamples, 5)});
    SoundComparison const result = CompareSounds(sent, Record(sent));
    EXPECT_EQ(result.longestHole.samples, 0);
    // 2.5 s are ten windows, two of them silent.
    EXPECT_EQ(result.windowsWithSignal, 8);
    EXPECT_EQ(result.windowsMatched, 8);
}

TEST(CompareSounds, SilencePutInIsAJumpOfItsLength) {
    Samples const sent = MakeVoice(4 * SecondSamples);
    SampleView const view(sent);
    Samples const heard = Join({view.Cut(0, 96000), Silence(4800), view.Cut(96000, 96000)});
    SoundComparison const result = CompareSounds(sent, Record(heard));
    ASSERT_EQ(result.jumps.size(), 1U);
    EXPECT_EQ(result.jumps[0].kind, TimelineJump::Kind_t::SilenceInserted);
    EXPECT_EQ(result.jumps[0].samples, 4800);
    EXPECT_EQ(result.jumps[0].sentSample, 96000);
    // The windows before and after it.
    EXPECT_EQ(result.jumps[0].within.start, 84000);
    EXPECT_EQ(result.jumps[0].within.samples, 24000);
    EXPECT_EQ(result.lagDriftSamples, 4800.0);
}

TEST(CompareSounds, SilencePutIntoAPauseIsNoHoleWhereTheSoundBeginsAgain) {
    // Half a second of pause. In its last 45 ms the next word begins so faintly (-50 dBFS) that this quarter
    // second is not looked up.
    Samples const voice = MakeVoice(4 * SecondSamples);
    SampleView const view(voice);
    Samples faint;
    for (int i = 0; i < 2160; ++i) {
        faint.push_back(static_cast<std::int16_t>(i % 2 == 0 ? 100 : -100));
    }
    Samples const sent = Join({view.Cut(0, 48000), Silence(21840), faint, view.Cut(48000, 96000)});
    Samples const heard = Join({view.Cut(0, 48000), Silence(21840 + 3600), faint, view.Cut(48000, 96000)});
    SoundComparison const result = CompareSounds(sent, Record(heard));
    ASSERT_EQ(result.jumps.size(), 1U);
    EXPECT_EQ(result.jumps[0].samples, 3600);
    EXPECT_TRUE(result.holes.empty());
}

TEST(CompareSounds, APartPlayedTwiceIsARepeat) {
    Samples const sent = MakeVoice(4 * SecondSamples);
    SampleView const view(sent);
    Samples const heard = Join({view.Cut(0, 96000), view.Cut(94560, 1440), view.Cut(96000, 96000)});
    SoundComparison const result = CompareSounds(sent, Record(heard));
    ASSERT_EQ(result.jumps.size(), 1U);
    EXPECT_EQ(result.jumps[0].kind, TimelineJump::Kind_t::Repeated);
    EXPECT_EQ(result.jumps[0].samples, 1440);
}

TEST(CompareSounds, APartPlayedTwiceBesideAPauseIsARepeat) {
    Samples const voice = MakeVoice(4 * SecondSamples);
    SampleView const view(voice);
    // 50 ms of silence, and 30 ms that come twice soon after it.
    Samples const sent = Join({view.Cut(0, 90000), Silence(2400), view.Cut(90000, 102000)});
    SampleView const all(sent);
    Samples const heard = Join({all.Cut(0, 96000), all.Cut(94560, 1440), all.Cut(96000, 98400)});
    SoundComparison const result = CompareSounds(sent, Record(heard));
    ASSERT_EQ(result.jumps.size(), 1U);
    EXPECT_EQ(result.jumps[0].kind, TimelineJump::Kind_t::Repeated);
}

TEST(CompareSounds, OfSilenceAndAPartPlayedTwiceTheLongerOneTells) {
    Samples const sent = MakeVoice(4 * SecondSamples);
    SampleView const view(sent);
    for (std::int64_t const silent : {1920, 3360}) {
        std::int64_t const twice = 4800 - silent;
        Samples const heard = Join(
            {view.Cut(0, 96000), Silence(silent), view.Cut(96000 - twice, twice), view.Cut(96000, 96000)});
        SoundComparison const result = CompareSounds(sent, Record(heard));
        ASSERT_EQ(result.jumps.size(), 1U);
        EXPECT_EQ(result.jumps[0].samples, 4800);
        EXPECT_EQ(result.jumps[0].kind,
                  silent > twice ? TimelineJump::Kind_t::SilenceInserted : TimelineJump::Kind_t::Repeated);
    }
}

TEST(CompareSounds, APartPlayedTwiceBesideOneThatNoiseCoversIsARepeat) {
    Samples const voice = MakeVoice(4 * SecondSamples);
    SampleView const view(voice);
    // 50 ms of -58 dBFS, which at a tenth of that the recording's noise covers.
    Samples const sent = Join({view.Cut(0, 90000), Samples(2400, 40), view.Cut(90000, 102000)});
    SampleView const all(sent);
    Samples const played = Join({all.Cut(0, 96000), all.Cut(94560, 1440), all.Cut(96000, 98400)});
    SoundComparison const result =
        CompareSounds(sent, RecordMix({Scale(played, 0.1)}, HeadSamples, 3000, 8.0));
    ASSERT_EQ(result.jumps.size(), 1U);
    EXPECT_EQ(result.jumps[0].kind, TimelineJump::Kind_t::Repeated);
}

TEST(CompareSounds, APartLeftOutIsMissing) {
    Samples const sent = MakeVoice(4 * SecondSamples);
    SampleView const view(sent);
    Samples const heard = Join({view.Cut(0, 96000), view.Cut(97920, 94080)});
    SoundComparison const result = CompareSounds(sent, Record(heard));
    ASSERT_EQ(result.jumps.size(), 1U);
    EXPECT_EQ(result.jumps[0].kind, TimelineJump::Kind_t::Missing);
    EXPECT_EQ(result.jumps[0].samples, 1920);
}

TEST(CompareSounds, ADifferentPartInTheMiddleIsLost) {
    Samples const sent = MakeVoice(4 * SecondSamples);
    Samples broken = sent;
    Samples const other = MakeVoice(24000, 9);
    std::copy(other.begin(), other.end(), broken.begin() + 96000);
    SoundComparison const result = CompareSounds(sent, Record(broken));
    ASSERT_EQ(result.lost.size(), 1U);
    EXPECT_EQ(result.lost[0].start, 96000);
    EXPECT_EQ(result.lost[0].samples, 24000);
    EXPECT_EQ(result.windowsMatched, 14);
}

TEST(CompareSounds, PlaybackAtTheSlowFrequencyFallsBehindSteadilyAndIsStillHeard) {
    Samples const sent = MakeVoice(8 * SecondSamples);
    SoundComparison const result = CompareSounds(sent, Record(PlayAt(47960.0 / 48000.0, sent)));
    EXPECT_EQ(result.GetMatchedShare(), 1.0);
    EXPECT_TRUE(result.jumps.empty());
    // Windows 0 to 4 speak for the start, 27 to 31 for the end: 27 windows of 12000 samples apart, stretched
    // by 48000 / 47960 - 1 = 834 ppm: 270.2 samples.
    EXPECT_NEAR(result.lagDriftSamples, 270.2, 2.0);
}

TEST(CompareSounds, OfTrebleAtTheFastFrequencyNeedsTheSpeedTriedToo) {
    // 2 kHz sweeping to 2.5 kHz: over a quarter second 833 ppm are ten samples, nearly half a period.
    Samples sent;
    double phase = 0.0;
    for (std::int64_t i = 0; i < 2 * SecondSamples; ++i) {
        phase +=
            2.0 * 3.14159265358979 * (2000.0 + 500.0 * static_cast<double>(i % 12000) / 12000.0) / 48000.0;
        sent.push_back(static_cast<std::int16_t>(std::lround(8000.0 * std::sin(phase))));
    }
    SoundComparison const result = CompareSounds(sent, Record(PlayAt(48040.0 / 48000.0, sent)));
    EXPECT_EQ(result.GetMatchedShare(), 1.0);
}

TEST(CompareSounds, AToneIsTakenForTheNearestOfItsPeriods) {
    Samples const sent = MakeSine(2 * SecondSamples, 500.0, 8000.0);
    // The recorder starts late and ends early: neither end of the tone tells its place.
    Samples const heard = Record(sent);
    std::vector<WindowMatch> const windows =
        MatchWindows(sent, SampleView(heard), LagRange{HeadSamples - 40, HeadSamples + 46}).windows;
    ASSERT_EQ(windows.size(), 8U);
    for (WindowMatch const& window : windows) {
        EXPECT_EQ(window.lag, HeadSamples);
    }
}

TEST(CompareSounds, OfSomethingElseIsNotFound) {
    SoundComparison const result =
        CompareSounds(MakeVoice(2 * SecondSamples, 1), MakeVoice(4 * SecondSamples, 2));
    EXPECT_FALSE(result.isFound);
    EXPECT_EQ(result.GetMatchedShare(), 0.0);
}

TEST(CompareSounds, OfSilenceOrNothingIsNotFound) {
    Samples const sent = MakeVoice(SecondSamples);
    EXPECT_FALSE(CompareSounds(sent, Silence(2 * SecondSamples)).isFound);
    EXPECT_FALSE(CompareSounds(sent, SampleView()).isFound);
    EXPECT_FALSE(CompareSounds(SampleView(), sent).isFound);
    EXPECT_EQ(CompareSounds(sent, Silence(2 * SecondSamples)).heardLevelDecibel, -120.0);
}

} // namespace Listening
