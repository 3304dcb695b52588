#include <vector>

#include "playbacktest.h"

namespace SystemTest {
namespace {

using AudioHost::SampleView;

constexpr std::int64_t ChangeMilliSec = 1500;
/// A change is listened to from so long after it (output delay, a busy machine) and for so long: that ends
/// 200 ms before the next one.
constexpr std::int64_t SettlingMilliSec = 500;
constexpr std::int64_t ListeningMilliSec = 800;
constexpr std::int64_t PieceMilliSec = 100;

constexpr double LevelToleranceDecibel = 0.5;

/// What the client hears of a sound that plays on while the client state is set to something else at
/// `ChangeMilliSec` and so on.
class RendererAudio_ClientState : public PlaybackTest {
protected:
    struct Wish {
        float volume;
        float balance;
    };

    void PlayWith(std::vector<Wish> const& wishes) {
        auto const count = static_cast<std::int64_t>(wishes.size()) + 1;
        sent_ = MakeNoise(4, SamplesOf(count * ChangeMilliSec));
        Session const session(OnStage());
        Score score;
        session.Play(score, MakeRawStream(sent_), 0, UsualLeadMilliSec);
        for (std::size_t i = 0; i < wishes.size(); ++i) {
            session.SetVolumeAndBalance(score, (static_cast<std::int64_t>(i) + 1) * ChangeMilliSec,
                                        wishes[i].volume, wishes[i].balance);
        }
        heard_ = OnStage().Perform(score, UsualTailMilliSec);
        auto const start = FindPlayed(sent_, heard_.left, UsualLeadMilliSec);
        ASSERT_TRUE(start);
        lag_ = *start;
    }

    static SampleView CutAfterChange(SampleView sound, int change) {
        return sound.Cut(AudioHost::MilliSecToSamples(change * ChangeMilliSec + SettlingMilliSec),
                         AudioHost::MilliSecToSamples(ListeningMilliSec));
    }

    /// Gain of a channel after the change with this number (0: before the first), in decibels: the median
    /// over pieces, of which a busy machine may tear one.
    double GetGainDecibel(SampleView channel, int change) const {
        SampleView const heard = CutAfterChange(channel, change);
        std::int64_t const sentStart =
            AudioHost::MilliSecToSamples(change * ChangeMilliSec + SettlingMilliSec) - lag_;
        std::int64_t const piece = AudioHost::MilliSecToSamples(PieceMilliSec);
        std::vector<double> gains;
        for (std::int64_t at = 0; at + piece <= static_cast<std::int64_t>(heard.GetSize()); at += piece) {
            gains.push_back(AudioHost::LevelDecibel(heard.Cut(at, piece)) -
                            AudioHost::LevelDecibel(SampleView(sent_).Cut(sentStart + at, piece)));
        }
        return AudioHost::Median(gains);
    }

    AudioHost::Samples sent_;
    HeardSound heard_;
    std::int64_t lag_ = 0;
};

TEST_F(RendererAudio_ClientState, VolumeIsHeardOnItsCurveWhilePlaying) {
    ASSERT_NO_FATAL_FAILURE(PlayWith({{0.5F, 0.5F}, {0.0F, 0.5F}, {1.0F, 0.5F}}));

    EXPECT_NEAR(GetGainDecibel(heard_.left, 0), 0.0, LevelToleranceDecibel);
    // 0.5 to the power of 0.34375 is 0.788: 21.21 of 100 dB are taken away.
    EXPECT_NEAR(GetGainDecibel(heard_.left, 1), -21.21, LevelToleranceDecibel);
    EXPECT_NEAR(GetGainDecibel(heard_.right, 1), -21.21, LevelToleranceDecibel);
    EXPECT_LE(AudioHost::Peak(CutAfterChange(heard_.left, 2)), SilencePeakLsb);
    EXPECT_LE(AudioHost::Peak(CutAfterChange(heard_.right, 2)), SilencePeakLsb);
    EXPECT_NEAR(GetGainDecibel(heard_.left, 3), 0.0, LevelToleranceDecibel);
}

TEST_F(RendererAudio_ClientState, BalanceIsHeardOnItsSideWhilePlaying) {
    ASSERT_NO_FATAL_FAILURE(PlayWith({{1.0F, 0.0F}, {1.0F, 1.0F}, {1.0F, 0.5F}}));

    EXPECT_NEAR(GetGainDecibel(heard_.left, 1), 0.0, LevelToleranceDecibel);
    EXPECT_LE(AudioHost::Peak(CutAfterChange(heard_.right, 1)), SilencePeakLsb);
    EXPECT_LE(AudioHost::Peak(CutAfterChange(heard_.left, 2)), SilencePeakLsb);
    EXPECT_NEAR(GetGainDecibel(heard_.right, 2), 0.0, LevelToleranceDecibel);
    EXPECT_NEAR(GetGainDecibel(heard_.left, 3), 0.0, LevelToleranceDecibel);
    EXPECT_NEAR(GetGainDecibel(heard_.right, 3), 0.0, LevelToleranceDecibel);
}

} // namespace
} // namespace SystemTest
