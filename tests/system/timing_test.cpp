#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "playbacktest.h"

namespace SystemTest {
namespace {

using Listening::SampleView;

/// Two starts of a sound are heard this close to their presentation times, relative to each other. The output
/// mixes in steps of 10 ms, so that each start is late by 0 to 10 ms; drift control leaves 0.02 of the lead.
/// A thread that loses its core between the clock and the cursor starts a session tens of milliseconds off,
/// and nothing tells: the median over several is judged.
constexpr double StartToleranceMilliSec = 15.0;

/// What a session reports of its first second and a half: 0.02 of the lead that drift control leaves, a step
/// of the play cursor (10 ms), and the whole milliseconds of the report. Single starts are worse (see above),
/// and drift control takes 1.2 s for every millisecond of that: the median over several is judged.
constexpr double ReportedErrorLimitMilliSec = 0.02 * UsualLeadMilliSec + 10.0 + 1.0;

/// Between 47960 or 48040 Hz and 48000 Hz. A quarter of it is far more than the places of windows are rounded
/// by, and far less than between one frequency and the next.
constexpr double RateStepSamplesPerSec = 40.0;
constexpr double RateToleranceSamplesPerSec = RateStepSamplesPerSec / 4;

constexpr char const* PlaybackStarted = "playback started";
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
    return sound.Cut(Listening::MilliSecToSamples(fromMilliSec),
                     Listening::MilliSecToSamples(toMilliSec - fromMilliSec));
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

    /// Fails unless `sent`, in a take whose output nothing disturbed, is heard.
    static void ExpectHeard(SampleView sent, Take const& take, std::int64_t presentationMilliSec) {
        auto const start = FindPlayed(sent, take.heard.left, presentationMilliSec);
        ASSERT_TRUE(start) << "what was sent from " << presentationMilliSec << " ms on is not heard";
        EXPECT_GE(SumUp(TrackWindows(sent, take.heard.left, *start, CoarseTrack)).GetHeardShare(),
                  MinPlacedShare);
    }

    /// How fast the session's `sent`, a part of its sound, falls behind, in samples a second: median over all
    /// its seconds until the first disturbance from `sinceMilliSec` on, which changes what the module has to
    /// correct. Nothing when that leaves less than `MinRateSeconds`, and nothing, with a failure, when it
    /// is not heard.
    static std::optional<double> GetLagChangePerSec(SampleView sent, Take const& take, Session const& session,
                                                    std::int64_t sinceMilliSec,
                                                    std::int64_t presentationMilliSec) {
        auto const start = FindPlayed(sent, take.heard.left, presentationMilliSec);
        if (!start) {
            EXPECT_FALSE(take.IsCalm(session.GetId(), sinceMilliSec, presentationMilliSec + 1000))
                << "what was sent from " << presentationMilliSec << " ms on is not heard";
            return std::nullopt;
        }
        auto const windows = TrackWindows(sent, take.heard.left, *start, CoarseTrack);
        auto const windowsPerSec =
            static_cast<std::size_t>(Listening::SoundRateHz / CoarseTrack.windowSamples);
        std::vector<double> changes;
        for (std::size_t k = 0; k + windowsPerSec < windows.size(); ++k) {
            HeardWindow const& after = windows[k + windowsPerSec];
            auto const end = static_cast<std::int64_t>(
                Listening::SamplesToMilliSec(static_cast<double>(after.sentStart + after.samples)));
            if (!take.IsCalm(session.GetId(), sinceMilliSec, presentationMilliSec + end)) {
                break;
            }
            if (windows[k].isHeard && after.isHeard) {
                changes.push_back(static_cast<double>(after.lag - windows[k].lag));
            }
        }
        if (changes.size() < MinRateSeconds * windowsPerSec) {
            EXPECT_FALSE(take.IsCalm(session.GetId(), sinceMilliSec, presentationMilliSec + FullRateMilliSec))
                << "too little of what was sent is heard";
            return std::nullopt;
        }
        return Listening::Median(changes);
    }

    /// So many spans of a second, each a window later than the one before, tell a rate.
    static constexpr std::size_t MinRateSeconds = 2;
    /// Twice the seconds within which there are so many.
    static constexpr std::int64_t FullRateMilliSec = 6000;
};

TEST_F(RendererAudio_Presentation, SessionsAreHeardApartAsTheirTimesAreWhateverTheirLeads) {
    constexpr int Pairs = 8;
    constexpr std::int64_t SoundMilliSec = 1000;
    constexpr std::int64_t ApartMilliSec = 100;
    constexpr std::int64_t ShortLeadMilliSec = 100;
    constexpr std::int64_t LongLeadMilliSec = 250;
    // No multiple of 10 ms, so that the pairs fall on different places of the output's steps.
    constexpr std::int64_t PairMilliSec = 433;
    std::vector<Listening::Samples> sounds;
    std::vector<Stream> streams;
    for (std::uint32_t i = 0; i < 2 * Pairs; ++i) {
        sounds.push_back(MakeQuietNoise(100 + i, SamplesOf(SoundMilliSec)));
        streams.push_back(MakeRawStream(sounds.back()));
    }
    std::vector<double> apart;
    Retakes retakes(Pairs);
    while (!HasFailure() && retakes.Begin()) {
        std::vector<std::unique_ptr<Session>> sessions;
        std::vector<std::int64_t> presentations;
        Score score;
        for (int i = 0; i < 2 * Pairs; ++i) {
            std::int64_t const lead = i % 2 == 0 ? ShortLeadMilliSec : LongLeadMilliSec;
            presentations.push_back(LongLeadMilliSec + i / 2 * PairMilliSec + i % 2 * ApartMilliSec);
            sessions.push_back(std::make_unique<Session>(OnStage()));
            sessions.back()->Play(score, streams[static_cast<std::size_t>(i)], presentations.back() - lead,
                                  lead);
        }

        Take const take = OnStage().Perform(score, UsualTailMilliSec);

        for (std::size_t i = 0; i < sounds.size(); i += 2) {
            auto const first = GetLatenessMilliSec(sounds[i], take, *sessions[i], presentations[i]);
            auto const second =
                GetLatenessMilliSec(sounds[i + 1], take, *sessions[i + 1], presentations[i + 1]);
            if (first && second && !retakes.IsSettled(i / 2)) {
                retakes.Settle(i / 2);
                apart.push_back(ApartMilliSec + *second - *first);
            }
        }
    }
    if (!retakes.Conclude()) {
        return;
    }
    RecordNumbers("apartMilliSec", apart);
    EXPECT_NEAR(Listening::Median(apart), ApartMilliSec, StartToleranceMilliSec);
}

TEST_F(RendererAudio_Presentation, SessionWhoseFramesStopFallsSilentAndItsRingIsNeverHeardAgain) {
    // More than the ring's five seconds before the stop, so that old sound could lie ahead of the play
    // cursor; and more than five seconds after it, so that the cursor would come by everything that was left
    // behind.
    constexpr std::int64_t SoundMilliSec = 6000;
    constexpr std::int64_t SilenceMilliSec = 8000;
    // By the sound's last windows its end is found, which must not be disturbed: what comes after it is
    // silence, which stays silent whatever happens to the output.
    constexpr std::int64_t EndMilliSec = 500;
    Listening::Samples const sent = TestSupport::MakeNoise(5, SamplesOf(SoundMilliSec));
    Retakes retakes(1);
    while (!HasFailure() && retakes.Begin()) {
        OnStage().ForgetLog();
        Session const session(OnStage());
        Score score;
        session.Play(score, MakeRawStream(sent), 0, UsualLeadMilliSec);

        Take const take = OnStage().Perform(score, UsualTailMilliSec + SilenceMilliSec);

        SampleView const heard = take.heard.left;
        std::int64_t const endMilliSec = UsualLeadMilliSec + SoundMilliSec;
        SampleView const ending = CutSound(sent, SoundMilliSec - EndMilliSec, SoundMilliSec);
        auto const start = FindPlayed(ending, heard, endMilliSec - EndMilliSec);
        if (!take.IsCalm(session.GetId(), endMilliSec - EndMilliSec, endMilliSec)) {
            continue;
        }
        retakes.Settle(0);
        ASSERT_TRUE(start);
        HeardWindow const last = TrackWindows(ending, heard, *start, CoarseTrack).back();
        EXPECT_TRUE(last.isHeard);
        // Played sound is cleared long before the cursor comes by again, so it is silent from the last sample
        // on, not only from the idle stop on; the resampler's filter may ring a little.
        std::int64_t const end = last.sentStart + last.samples + last.lag + ResamplerShiftSamples;
        SampleView const after = heard.Cut(end, static_cast<std::int64_t>(heard.GetSize()));
        EXPECT_GE(Listening::SamplesToMilliSec(static_cast<double>(after.GetSize())), SilenceMilliSec);
        EXPECT_LE(Listening::Peak(after), SilencePeakLsb);
        EXPECT_EQ(OnStage().CountLogged(IdleText), 1U);
    }
    retakes.Conclude();
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
    std::vector<Listening::Samples> resumed;
    std::vector<Listening::Samples> fresh;
    for (std::uint32_t i = 0; i < Sessions; ++i) {
        Listening::Samples const sound = MakeQuietNoise(200 + i, SamplesOf(ResumeMilliSec + PieceMilliSec));
        SampleView const piece = CutSound(sound, ResumeMilliSec, ResumeMilliSec + PieceMilliSec);
        resumed.emplace_back(piece.begin(), piece.end());
        fresh.push_back(MakeQuietNoise(300 + i, SamplesOf(PieceMilliSec)));
        streams.push_back(MakeRawStream(sound));
        streams.push_back(MakeRawStream(fresh.back()));
    }
    // Beside sessions that start for the first time, as the output's delay may change during the pause.
    std::vector<double> later;
    Retakes retakes(Sessions);
    while (!HasFailure() && retakes.Begin()) {
        OnStage().ForgetLog();
        std::vector<std::unique_ptr<Session>> sessions;
        for (std::size_t i = 0; i < streams.size(); ++i) {
            sessions.push_back(std::make_unique<Session>(OnStage()));
        }
        Score score;
        std::vector<std::int64_t> starts;
        for (std::size_t i = 0; i < Sessions; ++i) {
            starts.push_back(static_cast<std::int64_t>(i) * StaggerMilliSec);
            Session const& session = *sessions[2 * i];
            session.Play(score, Cut(streams[2 * i], 0, PieceMilliSec), starts[i], UsualLeadMilliSec);
            session.Play(score, Cut(streams[2 * i], ResumeMilliSec, ResumeMilliSec + PieceMilliSec),
                         starts[i], UsualLeadMilliSec);
            sessions[2 * i + 1]->Play(score, streams[2 * i + 1], starts[i] + ResumeMilliSec + FreshMilliSec,
                                      UsualLeadMilliSec);
        }

        Take const take = OnStage().Perform(score, UsualTailMilliSec);

        for (std::size_t i = 0; i < Sessions; ++i) {
            std::int64_t const presentation = starts[i] + ResumeMilliSec + UsualLeadMilliSec;
            auto const again = GetLatenessMilliSec(resumed[i], take, *sessions[2 * i], presentation);
            auto const first =
                GetLatenessMilliSec(fresh[i], take, *sessions[2 * i + 1], presentation + FreshMilliSec);
            if (again && first && !retakes.IsSettled(i)) {
                retakes.Settle(i);
                later.push_back(*again - *first);
            }
        }
        EXPECT_GE(OnStage().CountLogged(IdleText), Sessions);
        EXPECT_GE(OnStage().CountLogged(PlaybackStarted), 3 * Sessions);
    }
    if (!retakes.Conclude()) {
        return;
    }
    RecordNumbers("laterMilliSec", later);
    EXPECT_NEAR(Listening::Median(later), 0.0, StartToleranceMilliSec);
}

TEST_F(RendererAudio_Presentation, InThePastSilencesTheSoundUntilOneLiesAhead) {
    constexpr std::int64_t PastMilliSec = 2000;
    constexpr std::int64_t AheadMilliSec = 4000;
    constexpr std::int64_t EndMilliSec = 6000;
    constexpr std::int64_t PastLeadMilliSec = -100;
    // Output delay and a busy machine.
    constexpr std::int64_t SettlingMilliSec = 500;
    Listening::Samples const sent = TestSupport::MakeNoise(6, SamplesOf(EndMilliSec));
    Stream const stream = MakeRawStream(sent);
    std::uint64_t const pastFrame = Cut(stream, 0, PastMilliSec).size();
    std::uint64_t const aheadFrame = Cut(stream, 0, AheadMilliSec).size();
    Retakes retakes(3);
    while (!HasFailure() && retakes.Begin()) {
        OnStage().ForgetLog();
        Session const session(OnStage());
        Score score;
        session.Play(score, Cut(stream, 0, PastMilliSec), 0, UsualLeadMilliSec);
        session.Play(score, Cut(stream, PastMilliSec, AheadMilliSec), 0, PastLeadMilliSec);
        session.Play(score, Cut(stream, AheadMilliSec, EndMilliSec), 0, UsualLeadMilliSec);

        Take const take = OnStage().Perform(score, UsualTailMilliSec);

        // The session's own stop is what is tested here: only the output's disturbances count, and frames
        // that were to come in time and did not.
        if (take.IsInTime(session.GetId(), 0, pastFrame) &&
            take.IsCalm(std::nullopt, UsualLeadMilliSec, PastMilliSec)) {
            retakes.Settle(0);
            ExpectHeard(CutSound(sent, 0, PastMilliSec - UsualLeadMilliSec), take, UsualLeadMilliSec);
        }
        // What is silent stays so whatever happens to the output; before, a stall would put sound off.
        if (take.IsCalm(std::nullopt, PastMilliSec - UsualLeadMilliSec, PastMilliSec + SettlingMilliSec)) {
            retakes.Settle(1);
            EXPECT_LE(
                Listening::Peak(CutSound(take.heard.left, PastMilliSec + SettlingMilliSec, AheadMilliSec)),
                SilencePeakLsb);
        }
        if (take.IsInTime(session.GetId(), aheadFrame, stream.size()) &&
            take.IsCalm(std::nullopt, AheadMilliSec + UsualLeadMilliSec, EndMilliSec + UsualLeadMilliSec)) {
            retakes.Settle(2);
            ExpectHeard(CutSound(sent, AheadMilliSec, EndMilliSec), take, AheadMilliSec + UsualLeadMilliSec);
        }
        EXPECT_GE(OnStage().CountLogged(PlaybackStarted), 2U);
        EXPECT_GT(OnStage().CountLogged(PastText), 0U);
    }
    retakes.Conclude();
}

TEST_F(RendererAudio_Presentation, AchievedTimesAreCloseToTheRequestedOnes) {
    constexpr std::uint32_t Sessions = 8;
    constexpr std::int64_t SoundMilliSec = 1500;
    // No multiple of 10 ms, so that the starts fall on different places of the output's steps.
    constexpr std::int64_t StaggerMilliSec = 433;
    Stream const stream = MakeRawStream(MakeQuietNoise(7, SamplesOf(SoundMilliSec)));
    std::vector<double> medians;
    Retakes retakes(Sessions);
    while (!HasFailure() && retakes.Begin()) {
        OnStage().TakeReports();
        std::vector<std::unique_ptr<Session>> sessions;
        Score score;
        for (std::uint32_t i = 0; i < Sessions; ++i) {
            sessions.push_back(std::make_unique<Session>(OnStage()));
            sessions.back()->Play(score, stream, i * StaggerMilliSec, UsualLeadMilliSec);
        }

        Take const take = OnStage().Perform(score, UsualTailMilliSec);

        std::map<Media::Pipeline::SessionId_t, std::vector<double>> errors;
        for (auto const& report : OnStage().TakeReports()) {
            EXPECT_EQ(report.outcome, Media::PipelineStageJob::Outcome_t::Succeeded);
            errors[report.session].push_back(
                static_cast<double>(report.achieved.GetDiffSysTime(report.requested).NanoSec()) /
                NanoSecPerMilliSec);
        }
        for (std::uint32_t i = 0; i < Sessions; ++i) {
            auto const& values = errors[sessions[i]->GetId()];
            EXPECT_EQ(values.size(), stream.size());
            std::int64_t const start = i * StaggerMilliSec;
            // The cursor is read from the first submission on.
            bool const isCalm =
                take.IsCalm(sessions[i]->GetId(), start, start + UsualLeadMilliSec + SoundMilliSec);
            if (isCalm && !retakes.IsSettled(i)) {
                retakes.Settle(i);
                medians.push_back(Listening::Median(values));
            }
        }
    }
    if (!retakes.Conclude()) {
        return;
    }
    RecordNumbers("errorMilliSec", medians);
    EXPECT_NEAR(Listening::Median(medians), 0.0, ReportedErrorLimitMilliSec);
}

TEST_F(RendererAudio_Presentation, ThatMovesIsFollowedAtASlowerOrFasterRate) {
    constexpr std::int64_t MoveMilliSec = 1000;
    constexpr std::int64_t EndMilliSec = 13'000;
    // A drift window of 1044 ms may begin just before the move, and the next one has to pass before the rate
    // changes, which is heard a lead later.
    constexpr std::int64_t FollowingMilliSec = 3500;
    // Both moves are less than the way to a reset (a lag of 312 ms), and more than twelve seconds take back.
    constexpr std::int64_t SoonMilliSec = 150;
    constexpr std::int64_t LateMilliSec = 250;
    std::vector<Listening::Samples> const sounds = {MakeQuietNoise(8, SamplesOf(EndMilliSec)),
                                                    MakeQuietNoise(9, SamplesOf(EndMilliSec))};
    std::vector<Stream> const streams = {MakeRawStream(sounds[0]), MakeRawStream(sounds[1])};
    std::vector<double> rates(2);
    Retakes retakes(rates.size());
    while (!HasFailure() && retakes.Begin()) {
        Session const delayed(OnStage());
        Session const hurried(OnStage());
        Score score;
        delayed.Play(score, Cut(streams[0], 0, MoveMilliSec), 0, SoonMilliSec);
        delayed.Play(score, Cut(streams[0], MoveMilliSec, EndMilliSec), 0, LateMilliSec);
        hurried.Play(score, Cut(streams[1], 0, MoveMilliSec), 0, LateMilliSec);
        hurried.Play(score, Cut(streams[1], MoveMilliSec, EndMilliSec), 0, SoonMilliSec);

        Take const take = OnStage().Perform(score, UsualTailMilliSec);

        auto const settle = [&](std::size_t i, Session const& session, std::int64_t firstLeadMilliSec) {
            auto const rate = GetLagChangePerSec(CutSound(sounds[i], FollowingMilliSec, EndMilliSec), take,
                                                 session, 0, FollowingMilliSec + firstLeadMilliSec);
            if (rate && !retakes.IsSettled(i)) {
                retakes.Settle(i);
                rates[i] = *rate;
            }
        };
        settle(0, delayed, SoonMilliSec);
        settle(1, hurried, LateMilliSec);
    }
    if (!retakes.Conclude()) {
        return;
    }
    RecordNumbers("lagChangeSamplesPerSec", rates);
    EXPECT_NEAR(rates[0], RateStepSamplesPerSec, RateToleranceSamplesPerSec);
    EXPECT_NEAR(rates[1], -RateStepSamplesPerSec, RateToleranceSamplesPerSec);
}

} // namespace
} // namespace SystemTest
