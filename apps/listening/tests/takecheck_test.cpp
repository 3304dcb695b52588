#include "listening/takecheck.h"

#include <gtest/gtest.h>

#include "listening/tests/testsounds.h"

namespace Listening {

namespace {

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

TEST(CheckTake, OfAPerfectRecordingFindsItsStartInTheRepeatedSound) {
    Loop const loop;
    TakeCheck const check = CheckTake(loop.sound, loop.perfect);
    ASSERT_TRUE(check.comparison.isFound);
    EXPECT_EQ(check.periodSamples, 96000);
    EXPECT_EQ(check.startSample, 72000);
    EXPECT_EQ(check.exact.identical, 144000);
    EXPECT_EQ(check.exact.changed + check.exact.missing + check.exact.inserted, 0);
    EXPECT_EQ(check.comparison.GetMatchedShare(), 1.0);
    EXPECT_TRUE(check.exact.jumps.empty());
}

TEST(CheckTake, CountsMissingSamplesToTheSample) {
    Loop const loop;
    Samples const take =
        Join({SampleView(loop.perfect).Cut(0, 60000), SampleView(loop.perfect).Cut(61920, 82080)});
    TakeCheck const check = CheckTake(loop.sound, take);
    EXPECT_EQ(check.exact.missing, 1920);
    EXPECT_EQ(check.exact.identical, 142080);
    EXPECT_EQ(check.exact.changed + check.exact.inserted, 0);
    ASSERT_EQ(check.exact.jumps.size(), 1U);
    EXPECT_EQ(check.exact.jumps[0].kind, TimelineJump::Kind_t::Missing);
    EXPECT_EQ(check.exact.jumps[0].samples, 1920);
    EXPECT_EQ(check.exact.jumps[0].sentSample, 60000);
}

TEST(CheckTake, TellsADoubledBufferFromASilentOne) {
    Loop const loop;
    SampleView const perfect(loop.perfect);
    TakeCheck const doubled = CheckTake(loop.sound, Join({perfect.Cut(0, 60000), perfect.Cut(59520, 84480)}));
    EXPECT_EQ(doubled.exact.inserted, 480);
    EXPECT_EQ(doubled.exact.identical, 144000);
    EXPECT_EQ(doubled.exact.jumps.at(0).kind, TimelineJump::Kind_t::Repeated);
    EXPECT_EQ(doubled.exact.jumps.at(0).sentSample, 60000);
    TakeCheck const silent =
        CheckTake(loop.sound, Join({perfect.Cut(0, 60000), Samples(480, 0), perfect.Cut(60000, 84000)}));
    EXPECT_EQ(silent.exact.inserted, 480);
    EXPECT_EQ(silent.exact.changed, 0);
    EXPECT_EQ(silent.exact.identical, 144000);
    EXPECT_EQ(silent.exact.jumps.at(0).kind, TimelineJump::Kind_t::SilenceInserted);
    EXPECT_EQ(silent.exact.jumps.at(0).sentSample, 60000);
}

TEST(CheckTake, CountsChangedSamplesInTheirPlace) {
    Loop const loop;
    Samples take = loop.perfect;
    for (std::size_t i = 1000; i < 1010; ++i) {
        take[i] = static_cast<std::int16_t>(take[i] + 1);
    }
    TakeCheck const check = CheckTake(loop.sound, take);
    EXPECT_EQ(check.exact.changed, 10);
    EXPECT_EQ(check.exact.identical, 143990);
    EXPECT_TRUE(check.exact.jumps.empty());
}

TEST(CheckTake, OfALowerLevelIsFoundThoughEverySampleDiffers) {
    Loop const loop;
    Samples take = loop.perfect;
    for (std::int16_t& sample : take) {
        sample = static_cast<std::int16_t>(sample / 2);
    }
    TakeCheck const check = CheckTake(loop.sound, take);
    ASSERT_TRUE(check.comparison.isFound);
    EXPECT_EQ(check.comparison.GetMatchedShare(), 1.0);
    EXPECT_NEAR(check.comparison.heardLevelDecibel - check.comparison.sentLevelDecibel, -6.02, 0.05);
    // The few that are alike are next to zero.
    EXPECT_GT(check.exact.changed, 140000);
}

TEST(CheckTake, OfSomethingElseFindsNothing) {
    Loop const loop;
    for (Samples const& take :
         {MakeVoice(3 * SecondSamples, 5), Samples(3 * SecondSamples, 0), Samples(10, 1)}) {
        TakeCheck const check = CheckTake(loop.sound, take);
        EXPECT_FALSE(check.comparison.isFound);
        EXPECT_EQ(check.exact.identical + check.exact.changed, 0);
    }
}

TEST(CheckTake, FollowsLossesThatAddUp) {
    Samples const sound = MakeVoice(10 * SecondSamples);
    Samples take;
    // A tenth of each second is missing.
    for (std::int64_t start = 0; start < 10 * SecondSamples; start += SecondSamples) {
        take = Join({take, Cut(sound, start, 43200)});
    }
    TakeCheck const check = CheckTake(sound, take);
    EXPECT_EQ(check.exact.missing, 9 * 4800);
    EXPECT_EQ(check.exact.identical, 432000);
}

} // namespace Listening
