#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "pipeline/pipeline.h"
#include "simulation/testworld.h"
#include "support/module/builders.h"
#include "support/module/logcapture.h"
#include "support/module/rendererview.h"

namespace UnitTest {
namespace {

constexpr std::size_t Workers = 2;

/// Instant at which the sample `count` samples after `startNanoSec` begins to be heard at 48000 Hz: the first
/// whole nanosecond that is not before it.
constexpr std::int64_t AfterSamples(std::int64_t startNanoSec, std::int64_t count) {
    return startNanoSec + (count * 1'000'000'000 + 47'999) / 48'000;
}

/// Pipeline, renderer and simulated sound device, with its playback thread running and blocked.
class PlaybackChain : public testing::Test {
protected:
    PlaybackChain() {
        EXPECT_TRUE(InitializeWithRunningThread(renderer, world));
        pipeline = std::make_unique<Pipeline>(renderer, Workers, [this](Pipeline::Report_t const& report) {
            std::lock_guard<std::mutex> const guard(reportLock);
            received.push_back(report);
        });
    }

    static std::int64_t Now() { return Kovra::JiffyTime::Now().NanoSec(); }

    Pipeline::SessionId_t OpenSession() {
        auto const session = pipeline->OpenSession(PipelineSessionParams_t());
        EXPECT_NE(session, Pipeline::InvalidSession);
        return session;
    }

    /// Submits the frame number `number` of a session, whose samples count up from `firstValue` over all
    /// frames, to be heard in `leadMilliSec`; returns when it has been rendered and the playback thread waits
    /// again.
    void Play(Pipeline::SessionId_t session, std::int64_t number, std::int64_t leadMilliSec,
              int firstValue = 1) {
        std::vector<std::int16_t> samples(FrameSamples);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            samples[i] =
                static_cast<std::int16_t>(firstValue + static_cast<int>(number) * 960 + static_cast<int>(i));
        }
        EXPECT_TRUE(pipeline->Submit(
            session, RawFrame(FirstTimestampNanoSec + number * FrameMilliSec * NanoSecPerMilliSec, samples),
            Kovra::JiffyTime::Now().AddMilliSec(leadMilliSec)));
        Settle();
    }

    void Settle() {
        pipeline->Drain();
        world.Clock().Advance(0);
    }

    std::vector<Pipeline::Report_t> GetReports() {
        std::lock_guard<std::mutex> const guard(reportLock);
        return received;
    }

    Simulation::TestWorld world;
    LogCapture log;
    RendererAudio renderer;
    std::mutex reportLock;
    std::vector<Pipeline::Report_t> received;
    std::unique_ptr<Pipeline> pipeline;
};

// A start puts the play cursor a lead before position 0 and leaves the mark of cleared data there. So the
// first presentation that measures takes all from position 0 forward to the cursor for played and clears it:
// the two frames written by then are never heard.
constexpr std::int64_t FramesClearedUnheard = 2;

TEST_F(PlaybackChain, RampIsHeardSampleBySampleAtThePresentationTimesFromTheThirdFrameOn) {
    constexpr std::int64_t LeadMilliSec = 100;
    constexpr std::int64_t Frames = 30;
    auto const session = OpenSession();
    std::int64_t const start = Now();
    for (std::int64_t number = 0; number < Frames; ++number) {
        Play(session, number, LeadMilliSec);
        if (number == 0) {
            // Nothing has been heard yet: no time has passed.
            world.OnlyBuffer().EnableSpeaker();
        }
        world.Clock().AdvanceMilliSec(FrameMilliSec);
    }
    world.Clock().AdvanceMilliSec(LeadMilliSec);

    // Frame n lies 20 n ms behind the origin, at n x 20,000,000 / 20833 = 960 n (and a fraction), and 100 ms
    // are 4800 samples: the ramp runs on without a gap, 4800 samples after the start, at 48000 Hz throughout,
    // since every lag measured is the one expected.
    auto& speaker = world.OnlyBuffer().GetSpeaker();
    ASSERT_THAT(speaker.Runs(), SizeIs(1));
    auto const& run = speaker.Runs().front();
    EXPECT_EQ(run.startNanoSec, start);
    EXPECT_EQ(run.ringFrame, 235200U);
    auto const heard = speaker.Samples(run);
    ASSERT_GE(heard.size(), static_cast<std::size_t>(4800 + Frames * 960));
    for (int i = 0; i < 4800 + Frames * 960; ++i) {
        int const sample = i - 4800;
        bool const isSilent = sample < FramesClearedUnheard * 960;
        ASSERT_EQ(heard[static_cast<std::size_t>(i)], isSilent ? 0 : sample + 1) << i;
        ASSERT_EQ(run.TimeOf(static_cast<std::uint64_t>(i)), AfterSamples(start, i)) << i;
    }

    auto const reports = GetReports();
    ASSERT_THAT(reports, SizeIs(Frames));
    for (std::size_t i = 0; i < reports.size(); ++i) {
        EXPECT_EQ(reports[i].outcome, Outcome_t::Succeeded);
        // A running buffer gives 4800 x 20833 ns = 99,998,400 ns, truncated to 99 ms.
        std::int64_t const achieved = i == 0 ? 100 : 99;
        EXPECT_EQ(reports[i].achieved.NanoSec(),
                  start + (static_cast<std::int64_t>(i) * FrameMilliSec + achieved) * NanoSecPerMilliSec);
    }
    EXPECT_THAT(log.GetTexts(), ElementsAre("AudioBuffer playback started"));
}

TEST_F(PlaybackChain, SessionsAskedFor100MilliSecApartAreHeardSo) {
    auto const early = OpenSession();
    auto const late = OpenSession();
    std::int64_t const start = Now();
    for (std::int64_t number = 0; number < 10; ++number) {
        Play(early, number, 100, 1);
        Play(late, number, 200, 10'001);
        if (number == 0) {
            for (auto* const buffer : world.LiveBuffers()) {
                buffer->EnableSpeaker();
            }
        }
        world.Clock().AdvanceMilliSec(FrameMilliSec);
    }
    world.Clock().AdvanceMilliSec(200);

    auto const buffers = world.LiveBuffers();
    ASSERT_THAT(buffers, SizeIs(2));
    for (std::int64_t number = FramesClearedUnheard; number < 10; ++number) {
        auto const offset = static_cast<int>(number) * 960;
        EXPECT_EQ(buffers[0]->GetSpeaker().TimeOfValue(static_cast<std::int16_t>(1 + offset)),
                  start + (100 + number * FrameMilliSec) * NanoSecPerMilliSec);
        EXPECT_EQ(buffers[1]->GetSpeaker().TimeOfValue(static_cast<std::int16_t>(10'001 + offset)),
                  start + (200 + number * FrameMilliSec) * NanoSecPerMilliSec);
    }
}

TEST_F(PlaybackChain, SessionFallsSilentOnThe200MilliSecGridAfterItsFramesStop) {
    auto const session = OpenSession();
    std::int64_t const start = Now();
    for (std::int64_t number = 0; number < 5; ++number) {
        Play(session, number, 100);
        world.Clock().AdvanceMilliSec(FrameMilliSec);
    }
    auto& buffer = world.OnlyBuffer();
    buffer.EnableSpeaker();
    log.Clear();
    // The notification point behind frame 0 is passed at 100 + 20 = 120 ms and starts the grid of 200 ms:
    // 320, 520, 720, 920, 1120 ms. The last presentation came at 80 ms, so 1080 ms is not yet too long ago
    // and the pass at 1120 ms finds it 1040 ms ago.
    world.Clock().AdvanceTo(start + 1120 * NanoSecPerMilliSec - 1);
    EXPECT_TRUE(buffer.IsPlaying());
    EXPECT_THAT(log.GetTexts(), IsEmpty());
    world.Clock().Advance(1);
    EXPECT_FALSE(buffer.IsPlaying());
    EXPECT_EQ(buffer.Volume(), -10000);
    EXPECT_TRUE(buffer.IsSilent(0, 240000));
    ASSERT_THAT(log.GetTexts(), ElementsAre("Idle AudioBuffer playback stopped (1040 ms)"));
    EXPECT_EQ(log.GetRecords()[0].threadName, "Media.RendererAudio.Playback");

    // Frame 4 was the last; behind it the ring was silent.
    auto& speaker = buffer.GetSpeaker();
    EXPECT_EQ(speaker.TimeOfValue(4800), AfterSamples(start, 4800 + 4799));
    EXPECT_EQ(speaker.ValueAt(start + 200 * NanoSecPerMilliSec), 0);
    EXPECT_EQ(speaker.ValueAt(start + 1119 * NanoSecPerMilliSec), 0);
    EXPECT_EQ(speaker.ValueAt(start + 1121 * NanoSecPerMilliSec), std::nullopt);
}

TEST_F(PlaybackChain, IdleSessionIsHeardAgainInTimeWhenFramesComeAgain) {
    auto const session = OpenSession();
    Play(session, 0, 100);
    world.Clock().AdvanceMilliSec(3000);
    auto& buffer = world.OnlyBuffer();
    ASSERT_FALSE(buffer.IsPlaying());
    buffer.EnableSpeaker();

    // Any timestamp will do: the first frame after the stop is the new origin.
    std::int64_t const restart = Now();
    for (std::int64_t number = 0; number < 4; ++number) {
        Play(session, 12 + number, 150 + number * FrameMilliSec, 1 - 12 * 960);
    }
    EXPECT_TRUE(buffer.IsPlaying());
    EXPECT_EQ(buffer.Volume(), 0);
    world.Clock().AdvanceMilliSec(300);
    auto& speaker = buffer.GetSpeaker();
    ASSERT_THAT(speaker.Runs(), SizeIs(1));
    auto const& run = speaker.Runs().front();
    EXPECT_EQ(run.startNanoSec, restart);
    auto const heard = speaker.Samples(run);
    ASSERT_GE(heard.size(), std::size_t{7200 + 4 * 960});
    // 150 ms are 150,000,000 / 20833 = 7200 samples.
    for (int sample = FramesClearedUnheard * 960; sample < 4 * 960; ++sample) {
        auto const index = static_cast<std::size_t>(7200 + sample);
        ASSERT_EQ(heard[index], sample + 1);
        ASSERT_EQ(run.TimeOf(index), AfterSamples(restart, 7200 + sample));
    }
}

TEST_F(PlaybackChain, ClientStateReachesTheSoundBufferOfItsSession) {
    auto const first = OpenSession();
    auto const second = OpenSession();
    Play(first, 0, 100);
    Play(second, 0, 100);
    PipelineClientState_t client;
    client.balance = 1.0F;
    client.volume = 0.5F;
    EXPECT_TRUE(pipeline->SetClientState(second, client));
    Settle();
    auto const buffers = world.LiveBuffers();
    ASSERT_THAT(buffers, SizeIs(2));
    EXPECT_EQ(buffers[0]->Pan(), 0);
    EXPECT_EQ(buffers[0]->Volume(), 0);
    EXPECT_EQ(buffers[1]->Pan(), 10000);
    EXPECT_EQ(buffers[1]->Volume(), -2121);
}

TEST_F(PlaybackChain, ClosedSessionGivesEverythingBackWhileOthersPlay) {
    auto const staying = OpenSession();
    auto const leaving = OpenSession();
    Play(staying, 0, 100);
    Play(leaving, 0, 100);
    // Besides the wake events of the two devices one for each session.
    EXPECT_EQ(world.OpenHandles(), 4U);
    pipeline->CloseSession(leaving);
    world.Clock().Advance(0);
    EXPECT_EQ(world.OpenHandles(), 3U);
    ASSERT_THAT(world.LiveBuffers(), SizeIs(1));
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
    EXPECT_EQ(world.OnlyBuffer().Number(), 1U);
}

TEST_F(PlaybackChain, SessionsOfManyFramesRunOnBothWorkersAtOnce) {
    constexpr std::int64_t Frames = 100;
    std::vector<Pipeline::SessionId_t> sessions;
    for (int i = 0; i < 4; ++i) {
        sessions.push_back(OpenSession());
    }
    for (std::int64_t number = 0; number < Frames; ++number) {
        for (auto const session : sessions) {
            EXPECT_TRUE(pipeline->Submit(
                session,
                ConstantFrame(FirstTimestampNanoSec + number * FrameMilliSec * NanoSecPerMilliSec,
                              FrameSamples, 3),
                Kovra::JiffyTime::Now().AddMilliSec(100)));
            PipelineClientState_t client;
            client.volume = static_cast<float>(number % 2);
            EXPECT_TRUE(pipeline->SetClientState(session, client));
        }
        if (number % 10 == 9) {
            Settle();
            world.Clock().AdvanceMilliSec(10 * FrameMilliSec);
        }
    }
    Settle();
    auto const reports = GetReports();
    EXPECT_THAT(reports, SizeIs(4 * Frames));
    for (auto const& report : reports) {
        EXPECT_EQ(report.outcome, Outcome_t::Succeeded);
    }
    for (auto* const buffer : world.LiveBuffers()) {
        EXPECT_EQ(buffer->Volume(), 0);
    }
}

TEST(PlaybackChain_Life, EndsWithNothingLeftBehind) {
    Simulation::TestWorld world;
    {
        RendererAudio renderer;
        ASSERT_TRUE(InitializeWithRunningThread(renderer, world));
        {
            Pipeline pipeline(renderer, Workers);
            auto const first = pipeline.OpenSession(PipelineSessionParams_t());
            auto const second = pipeline.OpenSession(PipelineSessionParams_t());
            for (auto const session : {first, second}) {
                pipeline.Submit(session, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 3),
                                Kovra::JiffyTime::Now().AddMilliSec(100));
            }
            pipeline.Drain();
            world.Clock().AdvanceMilliSec(500);
            EXPECT_THAT(world.LiveBuffers(), SizeIs(2));
            pipeline.CloseSession(first);
            // The second session ends with the pipeline.
        }
        EXPECT_THAT(world.LiveBuffers(), IsEmpty());
        // The wake events of the two devices.
        EXPECT_EQ(world.OpenHandles(), 2U);
        renderer.Shutdown();
        EXPECT_EQ(world.LiveSounds(), 0U);
        EXPECT_EQ(world.BlockedThreads(), 0U);
    }
    EXPECT_THAT(world.Leaks(), IsEmpty());
}

TEST(PlaybackChain_Life, ShutdownBeforeTheSessionsEndLeavesNothingEither) {
    Simulation::TestWorld world;
    {
        RendererAudio renderer;
        ASSERT_TRUE(InitializeWithRunningThread(renderer, world));
        Pipeline pipeline(renderer, Workers);
        auto const session = pipeline.OpenSession(PipelineSessionParams_t());
        pipeline.Submit(session, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 3),
                        Kovra::JiffyTime::Now().AddMilliSec(100));
        pipeline.Drain();
        renderer.Shutdown();
        EXPECT_EQ(world.BlockedThreads(), 0U);
    }
    EXPECT_THAT(world.Leaks(), IsEmpty());
}

} // namespace
} // namespace UnitTest
