#include "recordingcheck.h"

#include <gtest/gtest.h>

#include "testsounds.h"

namespace AudioHost {

namespace {

constexpr std::int64_t SecondSamples = 48000;

Samples Cut(Samples const& sound, std::int64_t start, std::int64_t count) {
    SampleView const part = SampleView(sound).Cut(start, count);
    return Samples(part.begin(), part.end());
}

/// Three seconds of a sound that lasts two, from half a second before its end.
struct Loop {
    Samples const sound = MakeVoice(2 * SecondSamples);
    Samples const perfect =
        Join({SampleView(sound).Cut(72000, 24000), sound, SampleView(sound).Cut(0, 24000)});
};

} // namespace

TEST(CheckRecording, OfAPerfectRecordingFindsItsStartInTheRepeatedSound) {
    Loop const loop;
    RecordingCheck const check = CheckRecording(loop.sound, loop.perfect);
    ASSERT_TRUE(check.comparison.isFound);
    EXPECT_EQ(check.periodSamples, 96000);
    EXPECT_EQ(check.startSample, 72000);
    EXPECT_EQ(check.exact.identical, 144000);
    EXPECT_EQ(check.exact.changed + check.exact.missing + check.exact.inserted, 0);
    EXPECT_EQ(check.comparison.GetMatchedShare(), 1.0);
    EXPECT_TRUE(check.exact.jumps.empty());
}

TEST(CheckRecording, CountsMissingSamplesToTheSample) {
    Loop const loop;
    Samples const recorded =
        Join({SampleView(loop.perfect).Cut(0, 60000), SampleView(loop.perfect).Cut(61920, 82080)});
    RecordingCheck const check = CheckRecording(loop.sound, recorded);
    EXPECT_EQ(check.exact.missing, 1920);
    EXPECT_EQ(check.exact.identical, 142080);
    EXPECT_EQ(check.exact.changed + check.exact.inserted, 0);
    ASSERT_EQ(check.exact.jumps.size(), 1U);
    EXPECT_EQ(check.exact.jumps[0].kind, TimelineJump::Kind_t::Missing);
    EXPECT_EQ(check.exact.jumps[0].samples, 1920);
    EXPECT_EQ(check.exact.jumps[0].sentSample, 60000);
}

TEST(CheckRecording, TellsADoubledBufferFromASilentOne) {
    Loop const loop;
    SampleView const perfect(loop.perfect);
    RecordingCheck const doubled =
        CheckRecording(loop.sound, Join({perfect.Cut(0, 60000), perfect.Cut(59520, 84480)}));
    EXPECT_EQ(doubled.exact.inserted, 480);
    EXPECT_EQ(doubled.exact.identical, 144000);
    EXPECT_EQ(doubled.exact.jumps.at(0).kind, TimelineJump::Kind_t::Repeated);
    EXPECT_EQ(doubled.exact.jumps.at(0).sentSample, 60000);
    RecordingCheck const silent =
        CheckRecording(loop.sound, Join({perfect.Cut(0, 60000), Samples(480, 0), perfect.Cut(60000, 84000)}));
    EXPECT_EQ(silent.exact.inserted, 480);
    EXPECT_EQ(silent.exact.changed, 0);
    EXPECT_EQ(silent.exact.identical, 144000);
    EXPECT_EQ(silent.exact.jumps.at(0).kind, TimelineJump::Kind_t::SilenceInserted);
    EXPECT_EQ(silent.exact.jumps.at(0).sentSample, 60000);
}

TEST(CheckRecording, CountsChangedSamplesInTheirPlace) {
    Loop const loop;
    Samples recorded = loop.perfect;
    for (std::size_t i = 1000; i < 1010; ++i) {
        recorded[i] = static_cast<std::int16_t>(recorded[i] + 1);
    }
    RecordingCheck const check = CheckRecording(loop.sound, recorded);
    EXPECT_EQ(check.exact.changed, 10);
    EXPECT_EQ(check.exact.identical, 143990);
    EXPECT_TRUE(check.exact.jumps.empty());
}

TEST(CheckRecording, OfALowerLevelIsFoundThoughEverySampleDiffers) {
    Loop const loop;
    Samples recorded = loop.perfect;
    for (std::int16_t& sample : recorded) {
        sample = static_cast<std::int16_t>(sample / 2);
    }
    RecordingCheck const check = CheckRecording(loop.sound, recorded);
    ASSERT_TRUE(check.comparison.isFound);
    EXPECT_EQ(check.comparison.GetMatchedShare(), 1.0);
    EXPECT_NEAR(check.comparison.heardLevelDecibel - check.comparison.sentLevelDecibel, -6.02, 0.05);
    // The few that are alike are next to zero.
    EXPECT_GT(check.exact.changed, 140000);
}

TEST(CheckRecording, OfSomethingElseFindsNothing) {
    Loop const loop;
    for (Samples const& recorded :
         {MakeVoice(3 * SecondSamples, 5), Samples(3 * SecondSamples, 0), Samples(10, 1)}) {
        RecordingCheck const check = CheckRecording(loop.sound, recorded);
        EXPECT_FALSE(check.comparison.isFound);
        EXPECT_EQ(check.exact.identical + check.exact.changed, 0);
    }
}

TEST(CheckRecording, FollowsLossesThatAddUp) {
    Samples const sound = MakeVoice(10 * SecondSamples);
    Samples recorded;
    // A tenth of each second is missing.
    for (std::int64_t start = 0; start < 10 * SecondSamples; start += SecondSamples) {
        recorded = Join({recorded, Cut(sound, start, 43200)});
    }
    RecordingCheck const check = CheckRecording(sound, recorded);
    EXPECT_EQ(check.exact.missing, 9 * 4800);
    EXPECT_EQ(check.exact.identical, 432000);
}

} // namespace AudioHost
