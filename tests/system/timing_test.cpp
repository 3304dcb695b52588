#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "playbacktest.h"

namespace SystemTest {
namespace {

using AudioHost::SampleView;

/// Two starts of a sound are heard this close to their presentation times, relative to each other. The output
/// mixes in steps of 10 ms, so that each start is late by 0 to 10 ms; drift control leaves 0.02 of the lead.
/// Single starts are tens of milliseconds off on a busy machine: the median over several is judged.
constexpr double StartToleranceMilliSec = 15.0;

/// What a session reports of its first second and a half: 0.02 of the lead that drift control leaves, a step
/// of the play cursor (10 ms), and the whole milliseconds of the report. Single starts are worse on a busy
/// machine, and drift control takes 1.2 s for every millisecond of that: the median over several is judged.
constexpr double ReportedErrorLimitMilliSec = 0.02 * UsualLeadMilliSec + 10.0 + 1.0;

/// Between 47960 or 48040 Hz and 48000 Hz. A quarter of it is far more than the places of windows are rounded
/// by, and far less than between one frequency and the next.
constexpr double RateStepSamplesPerSec = 40.0;
constexpr double RateToleranceSamplesPerSec = RateStepSamplesPerSec / 4;

constexpr char const* StartedText = "playback started";
constexpr char const* IdleText = "Idle AudioBuffer playback stopped";
constexpr char const* PastText = "presentation requested in the past";

/// Frames whose place in their stream lies in `[fromMilliSec, toMilliSec)`.
Stream Cut(Stream const& stream, std::int64_t fromMilliSec, std::int64_t toMilliSec) {
    Stream part;
    for (StreamFrame const& frame : stream) {
        std::int64_t const at = frame.positionNanoSec / NanoSecPerMilliSec;
        if (at >= fromMilliSec && at < toMilliSec) {
            part.push_back(frame);
        }
    }
    return part;
}

SampleView CutSound(SampleView sound, std::int64_t fromMilliSec, std::int64_t toMilliSec) {
    return sound.Cut(AudioHost::MilliSecToSamples(fromMilliSec),
                     AudioHost::MilliSecToSamples(toMilliSec - fromMilliSec));
}

class RendererAudio_Presentation : public PlaybackTest {
protected:
    void RecordNumbers(char const* name, std::vector<double> const& values) {
        std::string text;
        for (double const value : values) {
            text += std::to_string(value) + " ";
        }
        RecordProperty(name, text);
    }

    /// How fast a sound falls behind, in samples a second: median over all its seconds, of which a busy
    /// machine disturbs some. Nothing, and a failure, when it is not heard.
    static std::optional<double> GetLagChangePerSec(SampleView sent, SampleView heard,
                                                    std::int64_t presentationMilliSec) {
        auto const start = FindPlayed(sent, heard, presentationMilliSec);
        if (!start) {
            return std::nullopt;
        }
        auto const windows = TrackWindows(sent, heard, *start, CoarseTrack);
        auto const windowsPerSec =
            static_cast<std::size_t>(AudioHost::SoundRateHz / CoarseTrack.windowSamples);
        std::vector<double> changes;
        for (std::size_t k = 0; k + windowsPerSec < windows.size(); ++k) {
            HeardWindow const& after = windows[k + windowsPerSec];
            if (windows[k].isHeard && after.isHeard) {
                changes.push_back(static_cast<double>(after.lag - windows[k].lag));
            }
        }
        return AudioHost::Median(changes);
    }
};

TEST_F(RendererAudio_Presentation, SessionsAreHeardApartAsTheirTimesAreWhateverTheirLeads) {
    constexpr int Pairs = 8;
    constexpr std::int64_t SoundMilliSec = 1000;
    constexpr std::int64_t ApartMilliSec = 100;
    constexpr std::int64_t ShortLeadMilliSec = 100;
    constexpr std::int64_t LongLeadMilliSec = 250;
    // No multiple of 10 ms, so that the pairs fall on different places of the output's steps.
    constexpr std::int64_t PairMilliSec = 433;
    std::vector<AudioHost::Samples> sounds;
    std::vector<Stream> streams;
    for (std::uint32_t i = 0; i < 2 * Pairs; ++i) {
        sounds.push_back(MakeQuietNoise(100 + i, SamplesOf(SoundMilliSec)));
        streams.push_back(MakeRawStream(sounds.back()));
    }
    std::vector<std::unique_ptr<Session>> sessions;
    std::vector<std::int64_t> presentations;
    Score score;
    for (int i = 0; i < 2 * Pairs; ++i) {
        std::int64_t const lead = i % 2 == 0 ? ShortLeadMilliSec : LongLeadMilliSec;
        presentations.push_back(LongLeadMilliSec + i / 2 * PairMilliSec + i % 2 * ApartMilliSec);
        sessions.push_back(std::make_unique<Session>(OnStage()));
        sessions.back()->Play(score, streams[static_cast<std::size_t>(i)], presentations.back() - lead, lead);
    }

    HeardSound const heard = OnStage().Perform(score, UsualTailMilliSec);

    std::vector<double> apart;
    for (std::size_t i = 0; i < sounds.size(); i += 2) {
        auto const first = GetLatenessMilliSec(sounds[i], heard.left, presentations[i]);
        auto const second = GetLatenessMilliSec(sounds[i + 1], heard.left, presentations[i + 1]);
        ASSERT_TRUE(first && second);
        apart.push_back(ApartMilliSec + *second - *first);
    }
    RecordNumbers("apartMilliSec", apart);
    EXPECT_NEAR(AudioHost::Median(apart), ApartMilliSec, StartToleranceMilliSec);
}

TEST_F(RendererAudio_Presentation, SessionWhoseFramesStopFallsSilentAndItsRingIsNeverHeardAgain) {
    // More than the ring's five seconds before the stop, so that old sound could lie ahead of the play
    // cursor; and more than five seconds after it, so that the cursor would come by everything that was left
    // behind.
    constexpr std::int64_t SoundMilliSec = 6000;
    constexpr std::int64_t SilenceMilliSec = 8000;
    AudioHost::Samples const sent = MakeNoise(5, SamplesOf(SoundMilliSec));
    Session const session(OnStage());
    Score score;
    session.Play(score, MakeRawStream(sent), 0, UsualLeadMilliSec);

    HeardSound const heard = OnStage().Perform(score, UsualTailMilliSec + SilenceMilliSec);

    auto const start = FindPlayed(sent, heard.left, UsualLeadMilliSec);
    ASSERT_TRUE(start);
    HeardWindow const last = TrackWindows(sent, heard.left, *start, CoarseTrack).back();
    EXPECT_TRUE(last.isHeard);
    // Played sound is cleared long before the cursor comes by again, so it is silent from the last sample on,
    // not only from the idle stop on; the resampler's filter may ring a little.
    std::int64_t const end = last.sentStart + last.samples + last.lag + ResamplerShiftSamples;
    SampleView const after = SampleView(heard.left).Cut(end, static_cast<std::int64_t>(heard.left.size()));
    EXPECT_GE(AudioHost::SamplesToMilliSec(static_cast<double>(after.GetSize())), SilenceMilliSec);
    EXPECT_LE(AudioHost::Peak(after), SilencePeakLsb);
    EXPECT_EQ(OnStage().CountLogged(IdleText), 1U);
}

TEST_F(RendererAudio_Presentation, SessionsAreHeardInTimeAgainAfterAnIdlePause) {
    constexpr std::uint32_t Sessions = 6;
    constexpr std::int64_t PieceMilliSec = 600;
    // An idle stop comes more than 1000 ms after the last presentation step, within 200 ms.
    constexpr std::int64_t ResumeMilliSec = 3000;
    // Neither is a multiple of 10 ms, so that the starts fall on different places of the output's steps.
    constexpr std::int64_t StaggerMilliSec = 313;
    constexpr std::int64_t FreshMilliSec = 107;
    std::vector<Stream> streams;
    std::vector<AudioHost::Samples> resumed;
    std::vector<AudioHost::Samples> fresh;
    std::vector<std::unique_ptr<Session>> sessions;
    for (std::uint32_t i = 0; i < Sessions; ++i) {
        AudioHost::Samples const sound = MakeQuietNoise(200 + i, SamplesOf(ResumeMilliSec + PieceMilliSec));
        SampleView const piece = CutSound(sound, ResumeMilliSec, ResumeMilliSec + PieceMilliSec);
        resumed.emplace_back(piece.begin(), piece.end());
        fresh.push_back(MakeQuietNoise(300 + i, SamplesOf(PieceMilliSec)));
        streams.push_back(MakeRawStream(sound));
        streams.push_back(MakeRawStream(fresh.back()));
        sessions.push_back(std::make_unique<Session>(OnStage()));
        sessions.push_back(std::make_unique<Session>(OnStage()));
    }
    Score score;
    std::vector<std::int64_t> starts;
    for (std::size_t i = 0; i < Sessions; ++i) {
        starts.push_back(static_cast<std::int64_t>(i) * StaggerMilliSec);
        Session const& session = *sessions[2 * i];
        session.Play(score, Cut(streams[2 * i], 0, PieceMilliSec), starts[i], UsualLeadMilliSec);
        session.Play(score, Cut(streams[2 * i], ResumeMilliSec, ResumeMilliSec + PieceMilliSec), starts[i],
                     UsualLeadMilliSec);
        sessions[2 * i + 1]->Play(score, streams[2 * i + 1], starts[i] + ResumeMilliSec + FreshMilliSec,
                                  UsualLeadMilliSec);
    }

    HeardSound const heard = OnStage().Perform(score, UsualTailMilliSec);

    // Beside sessions that start for the first time, as the output's delay may change during the pause.
    std::vector<double> later;
    for (std::size_t i = 0; i < Sessions; ++i) {
        std::int64_t const presentation = starts[i] + ResumeMilliSec + UsualLeadMilliSec;
        auto const again = GetLatenessMilliSec(resumed[i], heard.left, presentation);
        auto const first = GetLatenessMilliSec(fresh[i], heard.left, presentation + FreshMilliSec);
        ASSERT_TRUE(again && first);
        later.push_back(*again - *first);
    }
    RecordNumbers("laterMilliSec", later);
    EXPECT_NEAR(AudioHost::Median(later), 0.0, StartToleranceMilliSec);
    EXPECT_GE(OnStage().CountLogged(IdleText), Sessions);
    EXPECT_GE(OnStage().CountLogged(StartedText), 3 * Sessions);
}

TEST_F(RendererAudio_Presentation, InThePastSilencesTheSoundUntilOneLiesAhead) {
    constexpr std::int64_t PastMilliSec = 2000;
    constexpr std::int64_t AheadMilliSec = 4000;
    constexpr std::int64_t EndMilliSec = 6000;
    constexpr std::int64_t PastLeadMilliSec = -100;
    // Output delay and a busy machine.
    constexpr std::int64_t SettlingMilliSec = 500;
    AudioHost::Samples const sent = MakeNoise(6, SamplesOf(EndMilliSec));
    Stream const stream = MakeRawStream(sent);
    Session const session(OnStage());
    Score score;
    session.Play(score, Cut(stream, 0, PastMilliSec), 0, UsualLeadMilliSec);
    session.Play(score, Cut(stream, PastMilliSec, AheadMilliSec), 0, PastLeadMilliSec);
    session.Play(score, Cut(stream, AheadMilliSec, EndMilliSec), 0, UsualLeadMilliSec);

    HeardSound const heard = OnStage().Perform(score, UsualTailMilliSec);

    auto const before = GetLatenessMilliSec(CutSound(sent, 0, PastMilliSec - UsualLeadMilliSec), heard.left,
                                            UsualLeadMilliSec);
    auto const after = GetLatenessMilliSec(CutSound(sent, AheadMilliSec, EndMilliSec), heard.left,
                                           AheadMilliSec + UsualLeadMilliSec);
    ASSERT_TRUE(before && after);
    EXPECT_LE(AudioHost::Peak(CutSound(heard.left, PastMilliSec + SettlingMilliSec, AheadMilliSec)),
              SilencePeakLsb);
    EXPECT_GE(OnStage().CountLogged(StartedText), 2U);
    EXPECT_GT(OnStage().CountLogged(PastText), 0U);
}

TEST_F(RendererAudio_Presentation, AchievedTimesAreCloseToTheRequestedOnes) {
    constexpr std::uint32_t Sessions = 8;
    constexpr std::int64_t SoundMilliSec = 1500;
    // No multiple of 10 ms, so that the starts fall on different places of the output's steps.
    constexpr std::int64_t StaggerMilliSec = 433;
    Stream const stream = MakeRawStream(MakeQuietNoise(7, SamplesOf(SoundMilliSec)));
    std::vector<std::unique_ptr<Session>> sessions;
    Score score;
    for (std::uint32_t i = 0; i < Sessions; ++i) {
        sessions.push_back(std::make_unique<Session>(OnStage()));
        sessions.back()->Play(score, stream, i * StaggerMilliSec, UsualLeadMilliSec);
    }

    OnStage().Perform(score, 0);

    std::map<Media::Pipeline::SessionId_t, std::vector<double>> errors;
    for (auto const& report : OnStage().TakeReports()) {
        EXPECT_EQ(report.outcome, Media::PipelineStageJob::Outcome_t::Succeeded);
        errors[report.session].push_back(
            static_cast<double>(report.achieved.GetDiffSysTime(report.requested).NanoSec()) /
            NanoSecPerMilliSec);
    }
    std::vector<double> medians;
    for (auto const& [session, values] : errors) {
        EXPECT_EQ(values.size(), stream.size());
        medians.push_back(AudioHost::Median(values));
    }
    ASSERT_EQ(medians.size(), Sessions);
    RecordNumbers("errorMilliSec", medians);
    EXPECT_NEAR(AudioHost::Median(medians), 0.0, ReportedErrorLimitMilliSec);
}

TEST_F(RendererAudio_Presentation, ThatMovesIsFollowedAtASlowerOrFasterRate) {
    constexpr std::int64_t MoveMilliSec = 2000;
    constexpr std::int64_t EndMilliSec = 14'000;
    // A drift window may begin just before the move, and the next one has to pass before the rate changes.
    constexpr std::int64_t FollowingMilliSec = 5000;
    // Both moves are less than the way to a reset (a lag of 312 ms), and more than twelve seconds take back.
    constexpr std::int64_t SoonMilliSec = 150;
    constexpr std::int64_t LateMilliSec = 250;
    std::vector<AudioHost::Samples> const sounds = {MakeQuietNoise(8, SamplesOf(EndMilliSec)),
                                                    MakeQuietNoise(9, SamplesOf(EndMilliSec))};
    std::vector<Stream> const streams = {MakeRawStream(sounds[0]), MakeRawStream(sounds[1])};
    Session const delayed(OnStage());
    Session const hurried(OnStage());
    Score score;
    delayed.Play(score, Cut(streams[0], 0, MoveMilliSec), 0, SoonMilliSec);
    delayed.Play(score, Cut(streams[0], MoveMilliSec, EndMilliSec), 0, LateMilliSec);
    hurried.Play(score, Cut(streams[1], 0, MoveMilliSec), 0, LateMilliSec);
    hurried.Play(score, Cut(streams[1], MoveMilliSec, EndMilliSec), 0, SoonMilliSec);

    HeardSound const heard = OnStage().Perform(score, UsualTailMilliSec);

    auto const delayedRate = GetLagChangePerSec(CutSound(sounds[0], FollowingMilliSec, EndMilliSec),
                                                heard.left, FollowingMilliSec + SoonMilliSec);
    auto const hurriedRate = GetLagChangePerSec(CutSound(sounds[1], FollowingMilliSec, EndMilliSec),
                                                heard.left, FollowingMilliSec + LateMilliSec);
    ASSERT_TRUE(delayedRate && hurriedRate);
    RecordNumbers("lagChangeSamplesPerSec", {*delayedRate, *hurriedRate});
    EXPECT_NEAR(*delayedRate, RateStepSamplesPerSec, RateToleranceSamplesPerSec);
    EXPECT_NEAR(*hurriedRate, -RateStepSamplesPerSec, RateToleranceSamplesPerSec);
}

} // namespace
} // namespace SystemTest
