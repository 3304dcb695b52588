#include "playbacktest.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "ears/pilotsound.h"

namespace SystemTest {

namespace {

using Listening::SampleView;

/// Far more than an output's delay, which is some tens of milliseconds.
constexpr std::int64_t GreatestLatenessMilliSec = 1000;

/// Sounds that are played together, and the time between their starts: what they share is the output, not the
/// place in the ring. With more of them a window of one would be found by chance, or not.
constexpr std::size_t Sounds = 2;
constexpr std::int64_t StaggerMilliSec = 370;
/// The beginning by which a sound is found.
constexpr std::int64_t SearchedMilliSec = 1000;
constexpr char const* LossText = "packet loss";

/// What the way added to the level of a window among other sounds, in decibels: its likeness to all that is
/// heard is the share that it has in it.
double GetGainDecibel(HeardWindow const& window, SampleView sent, SampleView heard) {
    return Listening::LevelDecibel(heard.Cut(window.sentStart + window.lag, window.samples)) +
           20.0 * std::log10(window.correlation) -
           Listening::LevelDecibel(sent.Cut(window.sentStart, window.samples));
}

} // namespace

Listening::Samples MakeQuietNoise(std::uint32_t seed, std::size_t samples, TestSupport::Band band) {
    Listening::Samples sound = TestSupport::MakeNoise(seed, samples, band);
    for (std::int16_t& sample : sound) {
        sample = static_cast<std::int16_t>(sample / 3);
    }
    return sound;
}

std::unique_ptr<Stage> PlaybackTest::stage_;

void PlaybackTest::SetUpTestSuite() {
    stage_ = std::make_unique<Stage>();
}

void PlaybackTest::TearDownTestSuite() {
    stage_.reset();
}

void PlaybackTest::SetUp() {
    ASSERT_NE(stage_, nullptr);
    stage_->TakeReports();
    stage_->ForgetLog();
}

std::optional<std::int64_t> PlaybackTest::FindPlayed(SampleView sent, SampleView heard,
                                                     std::int64_t presentationMilliSec) {
    std::int64_t const from = Listening::MilliSecToSamples(presentationMilliSec);
    SampleView const part = heard.Cut(from, static_cast<std::int64_t>(sent.GetSize()) +
                                                Listening::MilliSecToSamples(GreatestLatenessMilliSec));
    auto const start = FindStart(sent, part);
    return start ? std::optional<std::int64_t>(from + *start) : std::nullopt;
}

std::optional<double> PlaybackTest::GetLatenessMilliSec(SampleView sent, Take const& take,
                                                        Session const& session,
                                                        std::int64_t presentationMilliSec) {
    auto const samples = static_cast<double>(sent.GetSize());
    std::int64_t const end =
        presentationMilliSec + static_cast<std::int64_t>(Listening::SamplesToMilliSec(samples));
    if (!take.IsCalm(session.GetId(), presentationMilliSec, end)) {
        return std::nullopt;
    }
    auto const start = FindPlayed(sent, take.heard.left, presentationMilliSec);
    if (!start) {
        ADD_FAILURE() << "what was sent from " << presentationMilliSec << " ms on is not heard";
        return std::nullopt;
    }
    auto const windows = TrackWindows(sent, take.heard.left, *start, CoarseTrack);
    double const share = SumUp(windows).GetHeardShare();
    if (share < MinPlacedShare) {
        ADD_FAILURE() << "only " << 100.0 * share << " % of the sound are heard";
        return std::nullopt;
    }
    return Listening::SamplesToMilliSec(Listening::Median(HeardLags(windows))) -
           static_cast<double>(presentationMilliSec);
}

void PlaybackTest::ExpectDelivered(std::size_t samples, TestSupport::Band band,
                                   StreamMaker const& makeStream) {
    std::int64_t const cleared = Listening::MilliSecToSamples(ClearedAtStartMilliSec);
    auto const size = static_cast<std::int64_t>(samples);
    auto const windowsPerSound = static_cast<std::size_t>((size - cleared) / FineTrack.windowSamples);
    std::vector<Listening::Samples> sounds;
    std::vector<Stream> streams;
    for (std::uint32_t i = 0; i < Sounds; ++i) {
        sounds.push_back(MakeQuietNoise(i + 1, samples, band));
        streams.push_back(makeStream(sounds.back()));
    }
    std::vector<double> gains;
    Retakes retakes(Sounds * windowsPerSound);
    while (!HasFailure() && retakes.Begin()) {
        std::vector<std::unique_ptr<Session>> sessions;
        for (std::size_t i = 0; i < Sounds; ++i) {
            sessions.push_back(std::make_unique<Session>(OnStage()));
        }
        Score score;
        for (std::size_t i = 0; i < Sounds; ++i) {
            sessions[i]->Play(score, streams[i], static_cast<std::int64_t>(i) * StaggerMilliSec,
                              UsualLeadMilliSec);
        }

        Take const take = OnStage().Perform(score, UsualTailMilliSec);

        std::vector<TrackedSound> tracked(Sounds);
        for (std::size_t i = 0; i < Sounds; ++i) {
            std::int64_t const presentation =
                static_cast<std::int64_t>(i) * StaggerMilliSec + UsualLeadMilliSec;
            SampleView const expected = SampleView(sounds[i]).Cut(cleared, size);
            auto const start = FindPlayed(sounds[i], take.heard.left, presentation);
            if (start) {
                tracked[i] = {expected, TrackWindows(expected, take.heard.left, *start + cleared, FineTrack)};
            } else {
                EXPECT_FALSE(take.IsCalm(sessions[i]->GetId(), presentation, presentation + SearchedMilliSec))
                    << "sound " << i << " is not heard";
            }
        }
        for (std::size_t i = 0; i < Sounds; ++i) {
            std::vector<TrackedSound> others = tracked;
            others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
            LookAgainWithout(others, take.heard.left, tracked[i]);
            SampleView const expected = tracked[i].sent;
            auto const& windows = tracked[i].windows;
            auto const verdicts = JudgeWindows(windows, sessions[i]->GetId(), take.disturbances);
            for (std::size_t k = 0; k < verdicts.size(); ++k) {
                if (verdicts[k] == WindowVerdict_t::Disturbed) {
                    continue;
                }
                EXPECT_EQ(verdicts[k], WindowVerdict_t::Heard)
                    << "sound " << i << ", window " << k << ", where nothing disturbed the output: likeness "
                    << windows[k].correlation << ", lags " << windows[k == 0 ? 0 : k - 1].lag << ", "
                    << windows[k].lag << ", " << windows[std::min(k + 1, windows.size() - 1)].lag;
                retakes.Settle(i * windowsPerSound + k);
                // What was found with the others taken out is louder or softer by what they were there.
                if (windows[k].isHeard && windows[k].correlation >= FineTrack.minCorrelation) {
                    gains.push_back(GetGainDecibel(windows[k], expected, take.heard.left));
                }
            }
        }
        EXPECT_NEAR(Listening::LevelDecibel(WithoutPilot(take.heard.right)),
                    Listening::LevelDecibel(WithoutPilot(take.heard.left)), LevelToleranceDecibel);
        // Every frame was handed over.
        EXPECT_EQ(OnStage().CountLogged(LossText), 0U);
    }
    if (!retakes.Conclude()) {
        return;
    }
    RecordProperty("gainDecibel", std::to_string(Listening::Median(gains)));
    EXPECT_NEAR(Listening::Median(gains), 0.0, LevelToleranceDecibel);
}

} // namespace SystemTest
