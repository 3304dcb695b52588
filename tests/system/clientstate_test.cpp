#include <functional>
#include <vector>

#include "ears/pilotsound.h"
#include "playbacktest.h"

namespace SystemTest {
namespace {

using Listening::SampleView;

constexpr std::int64_t ChangeMilliSec = 1500;
/// A change is listened to from so long after it (output delay) and for so long: that ends 200 ms before the
/// next one.
constexpr std::int64_t SettlingMilliSec = 500;
constexpr std::int64_t ListeningMilliSec = 800;
constexpr std::int64_t PieceMilliSec = 100;

/// What the client hears of a sound that plays on while the client state is set to something else at
/// `ChangeMilliSec` and so on.
class RendererAudio_ClientState : public PlaybackTest {
protected:
    struct Wish {
        float volume;
        float balance;
    };

    /// Calls `judge(change)` once for each change (0: before the first) that nothing disturbed.
    void PlayWith(std::vector<Wish> const& wishes, std::function<void(int)> const& judge) {
        auto const count = static_cast<std::int64_t>(wishes.size()) + 1;
        sent = TestSupport::MakeNoise(4, SamplesOf(count * ChangeMilliSec));
        Retakes retakes(static_cast<std::size_t>(count));
        while (!HasFailure() && retakes.Begin()) {
            Session const session(OnStage());
            Score score;
            session.Play(score, MakeRawStream(sent), 0, UsualLeadMilliSec);
            for (std::size_t i = 0; i < wishes.size(); ++i) {
                session.SetVolumeAndBalance(score, (static_cast<std::int64_t>(i) + 1) * ChangeMilliSec,
                                            wishes[i].volume, wishes[i].balance);
            }
            Take const take = OnStage().Perform(score, UsualTailMilliSec);
            auto const start = FindPlayed(sent, take.heard.left, UsualLeadMilliSec);
            if (!start) {
                EXPECT_FALSE(take.IsCalm(session.GetId(), 0, ChangeMilliSec)) << "the sound is not heard";
                continue;
            }
            lag = *start;
            left = WithoutPilot(take.heard.left);
            right = WithoutPilot(take.heard.right);
            for (std::int64_t change = 0; change < count; ++change) {
                auto const part = static_cast<std::size_t>(change);
                std::int64_t const begin = change * ChangeMilliSec;
                if (!retakes.IsSettled(part) &&
                    take.IsCalm(session.GetId(), begin, begin + SettlingMilliSec + ListeningMilliSec)) {
                    retakes.Settle(part);
                    judge(static_cast<int>(change));
                }
            }
        }
        retakes.Conclude();
    }

    static SampleView CutAfterChange(SampleView sound, int change) {
        return sound.Cut(Listening::MilliSecToSamples(change * ChangeMilliSec + SettlingMilliSec),
                         Listening::MilliSecToSamples(ListeningMilliSec));
    }

    /// Gain of a channel after the change with this number (0: before the first), in decibels: the median
    /// over pieces.
    double GetGainDecibel(SampleView channel, int change) const {
        SampleView const heard = CutAfterChange(channel, change);
        std::int64_t const sentStart =
            Listening::MilliSecToSamples(change * ChangeMilliSec + SettlingMilliSec) - lag;
        std::int64_t const piece = Listening::MilliSecToSamples(PieceMilliSec);
        std::vector<double> gains;
        for (std::int64_t at = 0; at + piece <= static_cast<std::int64_t>(heard.GetSize()); at += piece) {
            gains.push_back(
                Listening::LevelDecibel(heard.Cut(at, piece)) -
                Listening::LevelDecibel(WithoutPilot(SampleView(sent).Cut(sentStart + at, piece))));
        }
        return Listening::Median(gains);
    }

    Listening::Samples sent;
    /// What was heard without the pilot.
    Listening::Samples left;
    Listening::Samples right;
    std::int64_t lag = 0;
};

TEST_F(RendererAudio_ClientState, VolumeIsHeardOnItsCurveWhilePlaying) {
    PlayWith({{0.5F, 0.5F}, {0.0F, 0.5F}, {1.0F, 0.5F}}, [this](int change) {
        if (change == 2) {
            EXPECT_LE(Listening::Peak(CutAfterChange(left, change)), SilencePeakLsb);
            EXPECT_LE(Listening::Peak(CutAfterChange(right, change)), SilencePeakLsb);
            return;
        }
        // 0.5 to the power of 0.34375 is 0.788: 21.21 of 100 dB are taken away.
        double const expected = change == 1 ? -21.21 : 0.0;
        EXPECT_NEAR(GetGainDecibel(left, change), expected, LevelToleranceDecibel) << "change " << change;
        EXPECT_NEAR(GetGainDecibel(right, change), expected, LevelToleranceDecibel) << "change " << change;
    });
}

TEST_F(RendererAudio_ClientState, BalanceIsHeardOnItsSideWhilePlaying) {
    PlayWith({{1.0F, 0.0F}, {1.0F, 1.0F}, {1.0F, 0.5F}}, [this](int change) {
        if (change == 2) {
            EXPECT_LE(Listening::Peak(CutAfterChange(left, change)), SilencePeakLsb);
        } else {
            EXPECT_NEAR(GetGainDecibel(left, change), 0.0, LevelToleranceDecibel) << "change " << change;
        }
        if (change == 1) {
            EXPECT_LE(Listening::Peak(CutAfterChange(right, change)), SilencePeakLsb);
        } else {
            EXPECT_NEAR(GetGainDecibel(right, change), 0.0, LevelToleranceDecibel) << "change " << change;
        }
    });
}

} // namespace
} // namespace SystemTest
