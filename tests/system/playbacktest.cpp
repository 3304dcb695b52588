#include "playbacktest.h"

#include <cmath>
#include <string>
#include <vector>

namespace SystemTest {

namespace {

using AudioHost::SampleView;

/// Far more than an output's delay, which is some tens of milliseconds.
constexpr std::int64_t GreatestLatenessMilliSec = 1000;

/// Sounds that are played together to tell the module's doing from the machine's, and the time between their
/// starts: longer than a busy machine's disturbances.
constexpr std::size_t Sounds = 5;
constexpr std::int64_t StaggerMilliSec = 370;
/// Enough of a sound's windows to speak for its place.
constexpr double LeastPlacedShare = 0.7;
constexpr double LevelToleranceDecibel = 0.5;

/// What the way added to the level of a window among other sounds, in decibels: its likeness to all that is
/// heard is the share that it has in it.
double GetGainDecibel(HeardWindow const& window, SampleView sent, SampleView heard) {
    return AudioHost::LevelDecibel(heard.Cut(window.sentStart + window.lag, window.samples)) +
           20.0 * std::log10(window.correlation) -
           AudioHost::LevelDecibel(sent.Cut(window.sentStart, window.samples));
}

} // namespace

AudioHost::Samples MakeQuietNoise(std::uint32_t seed, std::size_t samples, Band band) {
    AudioHost::Samples sound = MakeNoise(seed, samples, band);
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
    std::int64_t const from = AudioHost::MilliSecToSamples(presentationMilliSec);
    SampleView const part = heard.Cut(from, static_cast<std::int64_t>(sent.GetSize()) +
                                                AudioHost::MilliSecToSamples(GreatestLatenessMilliSec));
    if (AudioHost::Peak(part) <= SilencePeakLsb) {
        ADD_FAILURE() << "nothing at all is heard: " << part.GetSize() << " samples of silence were recorded";
        return std::nullopt;
    }
    auto const start = FindStart(sent, part);
    if (!start) {
        ADD_FAILURE() << "something is heard, but not what was sent";
        return std::nullopt;
    }
    return from + *start;
}

std::optional<double> PlaybackTest::GetLatenessMilliSec(SampleView sent, SampleView heard,
                                                        std::int64_t presentationMilliSec) {
    auto const start = FindPlayed(sent, heard, presentationMilliSec);
    if (!start) {
        return std::nullopt;
    }
    auto const windows = TrackWindows(sent, heard, *start, CoarseTrack);
    double const share = SumUp(windows).GetHeardShare();
    if (share < LeastPlacedShare) {
        ADD_FAILURE() << "only " << 100.0 * share << " % of the sound are heard";
        return std::nullopt;
    }
    return AudioHost::SamplesToMilliSec(AudioHost::Median(HeardLags(windows))) -
           static_cast<double>(presentationMilliSec);
}

void PlaybackTest::ExpectDelivered(std::size_t samples, Band band, StreamMaker const& makeStream) {
    std::vector<AudioHost::Samples> sounds;
    std::vector<std::unique_ptr<Session>> sessions;
    std::vector<Stream> streams;
    for (std::uint32_t i = 0; i < Sounds; ++i) {
        sounds.push_back(MakeQuietNoise(i + 1, samples, band));
        streams.push_back(makeStream(sounds.back()));
        sessions.push_back(std::make_unique<Session>(OnStage()));
    }
    Score score;
    for (std::size_t i = 0; i < Sounds; ++i) {
        sessions[i]->Play(score, streams[i], static_cast<std::int64_t>(i) * StaggerMilliSec,
                          UsualLeadMilliSec);
    }

    HeardSound const heard = OnStage().Perform(score, UsualTailMilliSec);

    std::int64_t const cleared = AudioHost::MilliSecToSamples(ClearedAtStartMilliSec);
    std::vector<std::vector<HeardWindow>> tracks;
    std::vector<double> gains;
    for (std::size_t i = 0; i < Sounds; ++i) {
        SampleView const expected = SampleView(sounds[i]).Cut(cleared, static_cast<std::int64_t>(samples));
        auto const start = FindPlayed(sounds[i], heard.left,
                                      static_cast<std::int64_t>(i) * StaggerMilliSec + UsualLeadMilliSec);
        ASSERT_TRUE(start);
        tracks.push_back(TrackWindows(expected, heard.left, *start + cleared, FineTrack));
        for (HeardWindow const& window : tracks.back()) {
            if (window.isHeard) {
                gains.push_back(GetGainDecibel(window, expected, heard.left));
            }
        }
        RecordProperty("lostOfSound" + std::to_string(i), std::to_string(SumUp(tracks.back()).lost));
        RecordProperty("jumpsOfSound" + std::to_string(i), std::to_string(SumUp(tracks.back()).jumps));
    }
    Delivery const delivery = SumUp(TakeMedian(tracks));
    RecordProperty("windows", std::to_string(delivery.windows));
    RecordProperty("lost", std::to_string(delivery.lost));
    RecordProperty("gainDecibel", std::to_string(AudioHost::Median(gains)));
    EXPECT_EQ(delivery.lost, 0);
    EXPECT_EQ(delivery.jumps, 0);
    EXPECT_NEAR(AudioHost::Median(gains), 0.0, LevelToleranceDecibel);
    EXPECT_NEAR(AudioHost::LevelDecibel(heard.right), AudioHost::LevelDecibel(heard.left),
                LevelToleranceDecibel);
}

} // namespace SystemTest
