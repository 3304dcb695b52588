#include "ears/tracking.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "listening/search/correlation.h"
#include "listening/soundlevel.h"
#include "support/recording/noise.h"

namespace SystemTest {
namespace {

using Listening::Samples;
using Listening::SampleView;

constexpr std::int64_t SilenceSamples = 2345;

/// A recording of `sound` after `SilenceSamples` of silence, with some silence behind it.
Samples Record(Samples const& sound) {
    Samples recording(SilenceSamples);
    recording.insert(recording.end(), sound.begin(), sound.end());
    recording.resize(recording.size() + SilenceSamples);
    return recording;
}

/// Only the sound itself is there, so a window that is half missing is still found by a likeness of 0.7.
constexpr TrackSettings AloneTrack = {960, 19200, 0.9};

std::vector<HeardWindow> Track(Samples const& sent, Samples const& recording) {
    return TrackWindows(sent, recording, SilenceSamples, AloneTrack);
}

/// A sound of fifty windows of 960, and a recording of it that a test damages.
class TrackingTest : public testing::Test {
protected:
    Delivery Judge() const { return SumUp(Track(sent, recording)); }
    void ExpectEvents(std::int64_t lost, std::int64_t jumps) const {
        Delivery const delivery = Judge();
        EXPECT_EQ(delivery.lost, lost);
        EXPECT_EQ(delivery.jumps, jumps);
    }

    Samples const sent = TestSupport::MakeNoise(1, 48000);
    Samples recording = Record(sent);
};

using Tracking_SumUp = TrackingTest;
using Tracking_TrackWindows = TrackingTest;

TEST(Tracking_MakeNoise, HasItsLevelAndStaysInItsBand) {
    Samples const noise = TestSupport::MakeNoise(1, 48000, TestSupport::TelephoneBand);

    // 6000 of 32768 is -14.75 dB; cutting off the highest peaks takes next to nothing from it.
    EXPECT_NEAR(Listening::LevelDecibel(noise), -14.75, 0.05);
    // Every sixth sample, held: had the noise much above 4000 Hz, another sixth would hold another level.
    Samples first;
    Samples second;
    for (std::size_t i = 0; i + 3 < noise.size(); i += 6) {
        first.push_back(noise[i]);
        second.push_back(noise[i + 3]);
    }
    EXPECT_NEAR(Listening::LevelDecibel(first), Listening::LevelDecibel(second), 0.1);
}

TEST(Tracking_MakeNoise, IsAnotherForEverySeed) {
    Samples const one = TestSupport::MakeNoise(1, 48000);
    Samples const other = TestSupport::MakeNoise(2, 48000);

    EXPECT_EQ(one, TestSupport::MakeNoise(1, 48000));
    EXPECT_EQ(FindStart(other, one), std::nullopt);
}

TEST(Tracking_FindStart, FindsASoundAmongFourOthersAsLoud) {
    Samples const sent = TestSupport::MakeNoise(1, 24000);
    Samples mixed = Record(sent);
    for (std::int16_t& sample : mixed) {
        sample = static_cast<std::int16_t>(sample / 5);
    }
    for (std::uint32_t seed = 2; seed < 6; ++seed) {
        Samples const other = TestSupport::MakeNoise(seed, mixed.size());
        for (std::size_t i = 0; i < mixed.size(); ++i) {
            mixed[i] = static_cast<std::int16_t>(mixed[i] + other[i] / 5);
        }
    }

    EXPECT_EQ(FindStart(sent, mixed), SilenceSamples);
}

TEST_F(Tracking_SumUp, CompleteSoundIsHeardWithoutAnEvent) {
    EXPECT_EQ(Judge().windows, 50);
    ExpectEvents(0, 0);
}

TEST_F(Tracking_SumUp, SoundAtTheSlowestRateIsHeardWithoutAnEvent) {
    // About the middle, so the first sample comes 20 samples late: 0.5 x 48000 x 833 ppm.
    recording = Record(Listening::ChangeSpeed(sent, 47960.0 / 48000.0));

    Delivery const delivery = Judge();

    // At the ends the change of speed finds no samples any more and holds the last one: one window each.
    EXPECT_LE(delivery.lost, 2);
    EXPECT_EQ(delivery.jumps, 0);
}

TEST_F(Tracking_SumUp, SilenceInBetweenTearsAWindowAndIsAJump) {
    // In the middle of the window that begins at 9600.
    recording.insert(recording.begin() + SilenceSamples + 10080, 480, 0);

    ExpectEvents(1, 1);
}

TEST_F(Tracking_TrackWindows, AShiftOfTheResamplersWithinAWindowIsNoLoss) {
    // 0.7 ms, in the middle of the window that begins at 9600.
    recording.insert(recording.begin() + SilenceSamples + 10080, 33, 0);

    ExpectEvents(0, 0);
}

TEST_F(Tracking_TrackWindows, AMissingHalfOfAWindowIsALossThoughTheResamplerShiftsItsRest) {
    std::fill_n(recording.begin() + SilenceSamples + 9600, 480, std::int16_t{0});
    recording.insert(recording.begin() + SilenceSamples + 10080, 33, 0);

    EXPECT_EQ(Judge().lost, 1);
}

TEST_F(Tracking_SumUp, MissingFrameIsLostAndAJump) {
    auto const at = recording.begin() + SilenceSamples + 9600;
    recording.erase(at, at + 960);

    ExpectEvents(1, 1);
}

TEST_F(Tracking_SumUp, SilencedFramesAreLostWithoutAJump) {
    std::fill_n(recording.begin() + SilenceSamples + 9600, 3 * 960, std::int16_t{0});

    ExpectEvents(3, 0);
}

TEST_F(Tracking_SumUp, FrameHeardTwiceIsAJump) {
    Samples const frame(recording.begin() + SilenceSamples + 9600,
                        recording.begin() + SilenceSamples + 10560);
    recording.insert(recording.begin() + SilenceSamples + 10560, frame.begin(), frame.end());

    ExpectEvents(0, 1);
}

/// A sound of 25 windows beside one that is 4 dB louder.
class Tracking_LookAgainWithout : public testing::Test {
protected:
    Tracking_LookAgainWithout() {
        for (std::size_t i = 0; i < sound.size(); ++i) {
            sound[i] = static_cast<std::int16_t>(sound[i] / 4);
            other[i] = static_cast<std::int16_t>(other[i] * 2 / 5);
        }
    }

    /// How many windows of `sound`, as it was `played`, are not heard at first, and then not either.
    std::pair<std::int64_t, std::int64_t> CountLost(Samples const& played) const {
        Samples mix = Record(played);
        for (std::size_t i = 0; i < other.size(); ++i) {
            mix[SilenceSamples + i] = static_cast<std::int16_t>(mix[SilenceSamples + i] + other[i]);
        }
        TrackedSound tracked{sound, TrackWindows(sound, mix, SilenceSamples, FineTrack)};
        std::int64_t const lost = SumUp(tracked.windows).lost;
        LookAgainWithout({{other, TrackWindows(other, mix, SilenceSamples, FineTrack)}}, mix, tracked);
        return {lost, SumUp(tracked.windows).lost};
    }

    Samples sound = TestSupport::MakeNoise(1, 48000);
    Samples other = TestSupport::MakeNoise(2, 48000);
};

TEST_F(Tracking_LookAgainWithout, FindsWhatALouderSoundHid) {
    auto const [lost, lostAlone] = CountLost(sound);
    EXPECT_GT(lost, 5);
    EXPECT_EQ(lostAlone, 0);
}

TEST_F(Tracking_LookAgainWithout, AMissingFrameStaysMissing) {
    Samples played = sound;
    std::fill_n(played.begin() + 12 * FineTrack.windowSamples, FineTrack.windowSamples / 2, std::int16_t{0});
    EXPECT_EQ(CountLost(played).second, 1);
}

} // namespace
} // namespace SystemTest
