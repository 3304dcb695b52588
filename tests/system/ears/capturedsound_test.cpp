#include "ears/capturedsound.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/recording/noise.h"

namespace SystemTest {
namespace {

using Listening::Samples;

constexpr std::int64_t CapturedSamples = 9600;
constexpr std::int64_t BeginSample = 5000;

/// A captured stream with the sound in it, which each test spoils at one place.
class CapturedSound_FollowSound : public testing::Test {
protected:
    CapturedSound_FollowSound() {
        stream.resize(BeginSample);
        stream.insert(stream.end(), sound.begin(), sound.end());
        stream.resize(stream.size() + BeginSample);
    }

    CapturedSound Follow() const { return FollowSound(sound, stream); }

    Samples const sound = TestSupport::MakeNoise(1, CapturedSamples);
    Samples stream;
    /// In the middle of the sound.
    std::int64_t const place = BeginSample + CapturedSamples / 2;
};

TEST_F(CapturedSound_FollowSound, FindsACompleteSoundWithoutABreak) {
    CapturedSound const captured = Follow();
    EXPECT_EQ(captured.begin, BeginSample);
    // But for the noise's first samples, which round to zero.
    EXPECT_NEAR(static_cast<double>(captured.heard), CapturedSamples, 10);
    EXPECT_TRUE(captured.breaks.empty());
}

TEST_F(CapturedSound_FollowSound, TellsSilenceThatWasPutIn) {
    stream.insert(stream.begin() + place, 480, 0);
    CapturedSound const captured = Follow();
    ASSERT_EQ(captured.breaks.size(), 1U);
    EXPECT_EQ(captured.breaks[0].place, place);
    EXPECT_EQ(captured.breaks[0].silent, 480);
    EXPECT_EQ(captured.breaks[0].lost, 0);
    EXPECT_EQ(captured.breaks[0].foreign, 0);
}

TEST_F(CapturedSound_FollowSound, TellsSoundThatIsLeftOut) {
    stream.erase(stream.begin() + place, stream.begin() + place + 960);
    CapturedSound const captured = Follow();
    ASSERT_EQ(captured.breaks.size(), 1U);
    EXPECT_EQ(captured.breaks[0].place, place);
    EXPECT_EQ(captured.breaks[0].lost, 960);
}

TEST_F(CapturedSound_FollowSound, TellsSoundThatIsSilencedAsLost) {
    std::fill_n(stream.begin() + place, 960, std::int16_t{0});
    CapturedSound const captured = Follow();
    ASSERT_EQ(captured.breaks.size(), 1U);
    EXPECT_EQ(captured.breaks[0].lost, 960);
    EXPECT_EQ(captured.breaks[0].silent, 960);
}

TEST_F(CapturedSound_FollowSound, TellsSoundThatComesAgain) {
    Samples const again(stream.begin() + place - 960, stream.begin() + place);
    stream.insert(stream.begin() + place, again.begin(), again.end());
    CapturedSound const captured = Follow();
    ASSERT_EQ(captured.breaks.size(), 1U);
    EXPECT_EQ(captured.breaks[0].lost, -960);
}

TEST_F(CapturedSound_FollowSound, TellsAChangedSample) {
    auto const at = static_cast<std::size_t>(place);
    stream[at] = static_cast<std::int16_t>(stream[at] == 1 ? 2 : 1);
    CapturedSound const captured = Follow();
    ASSERT_EQ(captured.breaks.size(), 1U);
    EXPECT_EQ(captured.breaks[0].place, place);
    EXPECT_EQ(captured.breaks[0].foreign, 1);
    EXPECT_EQ(captured.breaks[0].lost, 1);
}

TEST_F(CapturedSound_FollowSound, TellsWhatIsMissingAtEitherEnd) {
    stream.erase(stream.begin() + BeginSample, stream.begin() + BeginSample + 500);
    stream.resize(stream.size() - BeginSample - 700);
    CapturedSound const captured = Follow();
    ASSERT_EQ(captured.breaks.size(), 2U);
    EXPECT_NEAR(static_cast<double>(captured.breaks[0].lost), 500, 10);
    EXPECT_EQ(captured.breaks[1].lost, 700);
}

TEST_F(CapturedSound_FollowSound, TellsThatNothingCame) {
    std::fill(stream.begin(), stream.end(), std::int16_t{0});
    CapturedSound const captured = Follow();
    EXPECT_LT(captured.heard, 20);
    ASSERT_EQ(captured.breaks.size(), 1U);
    EXPECT_GT(captured.breaks[0].lost, CapturedSamples - 20);
}

} // namespace
} // namespace SystemTest
