// Everything that a host may do with one renderer, at the same time, over several of its lives.

#include <cstddef>
#include <vector>

#include "sessionracestest.h"

namespace Media {
namespace {

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Each;
using ::testing::Ge;
using ::testing::IsEmpty;
using ::testing::Le;
using ::testing::Ne;
using ::testing::SizeIs;
using UnitTest::Meter;

class Renderer_Races : public SessionRacesTest {
protected:
    static void ReadAndMeter(RendererAudioCaptureProxy& proxy) {
        Frames frames;
        EXPECT_THAT(proxy.ReadFrames(frames), AnyOf(0, -27, -30));
        EXPECT_THAT(proxy.SampleLineLevel(), AnyOf(0, -27, -30));
        EXPECT_THAT(proxy.GetLineLevel(), AllOf(Ge(0.0F), Le(1.0F)));
    }

    /// Sessions that render a few frames and end.
    void ComeAndGo(int lives, Dice dice) {
        for (int life = 0; life < lives; ++life) {
            Session session;
            session.id = pipeline.OpenSession({});
            ASSERT_NE(session.id, Pipeline::InvalidSession);
            for (std::uint32_t frames = 1 + dice.Throw(4); frames != 0; --frames) {
                Submit(session, Ahead(LeadMilliSec));
            }
            TurnKnobs(session, dice);
            pipeline.CloseSession(session.id);
            ExpectAllRendered(session);
        }
    }

    /// One life of the renderer with all that goes on in it, up to the moment in which a host may shut it
    /// down: no call is inside any more but those of the microphone.
    void Live(std::vector<Session>& sessions, RendererAudioCaptureProxy& proxy, Meter const& meter) {
        std::vector<Session> const known = sessions;
        Crew crew;
        for (std::uint64_t comer = 0; comer < 2; ++comer) {
            crew.Add([this, dice = MakeDice(comer)] { ComeAndGo(4, dice); });
        }
        crew.Add([&, dice = MakeDice(2)]() mutable {
            for (int turn = 0; turn < 40; ++turn) {
                TurnKnobs(known[dice.Throw(2)], dice);
                world.Shaking().Shake();
                SetEvent(known[dice.Throw(2)].event);
            }
        });
        crew.Add([&, dice = MakeDice(3)]() mutable {
            for (int turn = 0; turn < 8; ++turn) {
                proxy.StopBufferCapture();
                world.Shaking().Shake();
                proxy.StartBufferCapture();
                EXPECT_EQ(renderer->GetCaptureProxy().get(), &proxy);
                for (std::uint32_t yields = dice.Throw(50); yields != 0; --yields) {
                    std::this_thread::yield();
                }
            }
        });
        crew.Add([&] {
            for (int i = 0; i < 4; ++i) {
                // Ends after its first report.
                Meter brief([](float) { return false; });
                EXPECT_TRUE(renderer->GetLineLevelCallbacks(brief.MakeCallback()));
                EXPECT_TRUE(brief.WaitForEnd());
                EXPECT_THAT(brief.GetLevels(), SizeIs(1));
            }
        });
        std::size_t const reported = meter.GetCalls();
        Play(sessions, FramesALife);
        crew.Join();
        pipeline.Drain();
        EXPECT_GT(meter.GetCalls(), reported);
        EXPECT_THAT(world.LiveBuffers(), SizeIs(sessions.size()));
    }

    static constexpr std::uint64_t FramesALife = 40;
    static constexpr std::uint64_t FramesAfterwards = 5;
    static constexpr std::uint64_t Lives = 3;
    static constexpr std::size_t Meters = 4;
};

TEST_P(Renderer_Races, SessionsAndProxiesOutliveShutdownAndGoOnAfterTheNextInitialize) {
    std::vector<Session> sessions{OpenSounding(), OpenSounding()};
    std::vector<std::shared_ptr<RendererAudioCaptureProxy>> proxies;
    for (std::uint64_t life = 0; life < Lives; ++life) {
        if (life != 0) {
            ASSERT_TRUE(UnitTest::InitializeWithRunningThread(*renderer, world));
        }
        EXPECT_TRUE(renderer->IsEnabled());
        auto const proxy = renderer->GetCaptureProxy();
        ASSERT_NE(proxy, nullptr);
        // A new one, as the old ones' capture has ended with the renderer's.
        EXPECT_THAT(proxies, Each(Ne(proxy)));
        proxies.push_back(proxy);
        Meter meter;
        for (std::size_t i = 0; i < Meters; ++i) {
            ASSERT_TRUE(renderer->GetLineLevelCallbacks(meter.MakeCallback()));
        }
        // They have got their proxy, which they must not ask for while the renderer shuts down.
        EXPECT_TRUE(UnitTest::YieldUntil([&] { return meter.GetCalls() >= Meters; }));

        std::atomic<bool> isOver{false};
        Crew readers;
        for (std::size_t i = 0; i < 2; ++i) {
            readers.Add([&] {
                while (!isOver.load(std::memory_order_relaxed)) {
                    renderer->IsEnabled();
                    for (auto const& held : proxies) {
                        ReadAndMeter(*held);
                    }
                }
            });
        }
        Live(sessions, *proxy, meter);
        // Time goes on, line-level threads report and proxies are read while the renderer shuts down. In each
        // life 40 ms pass without a frame: less than the lead leaves to be late in.
        readers.Add([&] {
            for (int i = 0; i < 4; ++i) {
                Advance(FrameMilliSec / 4);
            }
        });
        renderer->Shutdown();
        EXPECT_FALSE(renderer->IsEnabled());
        isOver = true;
        readers.Join();
        Advance(FrameMilliSec);
        EXPECT_TRUE(meter.WaitForEnd());
        world.WaitForBlockedThreads(0);
        EXPECT_THAT(meter.GetLevels(), Each(AllOf(Ge(0.0F), Le(1.0F))));

        Play(sessions, FramesAfterwards);
        pipeline.Drain();
        ReadAndMeter(*proxy);
    }
    EXPECT_THAT(world.LiveBuffers(), SizeIs(sessions.size()));
    EXPECT_THAT(world.LiveCaptureBuffers(), SizeIs(proxies.size()));
    Crew closers;
    for (auto& session : sessions) {
        ExpectAllRendered(session);
        ExpectRing(*session.buffer, session.number,
                   [&session](std::uint64_t frame) { return session.ValueOf(frame); });
        closers.Add([&] { pipeline.CloseSession(session.id); });
        closers.Add([&] { session.state.reset(); });
    }
    for (auto& proxy : proxies) {
        closers.Add([&proxy] { proxy.reset(); });
    }
    closers.Join();
    EXPECT_THAT(world.LiveBuffers(), IsEmpty());
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
    EXPECT_EQ(world.LiveSounds(), 0U);
    EXPECT_EQ(world.LiveCaptures(), 0U);
    // The wake events of both devices.
    EXPECT_EQ(world.OpenHandles(), 2U);
}

TEST_P(Renderer_Races, SeveralThreadsOpenSessionsAndAskForTheMicrophoneOfANewRenderer) {
    RendererAudio renderer;
    Pipeline::SetAudioRenderer(&renderer);
    Meter meter([](float) { return false; });
    constexpr std::size_t Threads = 4;
    std::vector<boost::intrusive_ptr<PipelineState>> states(Threads);
    std::vector<std::shared_ptr<RendererAudioCaptureProxy>> proxies(Threads);
    std::size_t const soundsBefore = world.SoundCount();
    std::size_t const capturesBefore = world.CaptureCount();
    Crew crew;
    for (std::size_t i = 0; i < Threads; ++i) {
        crew.Add([&, i] {
            states[i] = UnitTest::OpenSession(renderer);
            ASSERT_NE(states[i], nullptr);
            for (std::uint64_t number = 0; number < 3; ++number) {
                auto const job = UnitTest::RenderJob(states[i], MakeFrame(number, 7), Ahead(LeadMilliSec));
                renderer.Divide(job);
                EXPECT_EQ(job->GetOutcome(), Outcome_t::Succeeded);
            }
            if (i % 2 == 0) {
                EXPECT_TRUE(renderer.GetLineLevelCallbacks(meter.MakeCallback()));
            }
            proxies[i] = renderer.GetCaptureProxy();
        });
    }
    crew.Join();
    EXPECT_TRUE(meter.WaitForEnd());
    // The first one opened each device, for all.
    EXPECT_EQ(world.SoundCount(), soundsBefore + 1);
    EXPECT_EQ(world.CaptureCount(), capturesBefore + 1);
    ASSERT_NE(proxies[0], nullptr);
    EXPECT_THAT(proxies, Each(proxies[0]));
    EXPECT_THAT(world.LiveBuffers(), SizeIs(Threads));
    for (auto& state : states) {
        crew.Add([&state] { state.reset(); });
    }
    crew.Join();
    EXPECT_THAT(world.LiveBuffers(), IsEmpty());
}

TEST_P(Renderer_Races, ProxiesAreReadAndLetGoWhileTheRendererIsDestroyed) {
    auto renderer = std::make_unique<RendererAudio>();
    constexpr std::size_t Holders = 3;
    auto proxy = renderer->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    Crew crew;
    for (std::size_t i = 0; i < Holders; ++i) {
        crew.Add([held = proxy]() mutable {
            for (int read = 0; read < 30; ++read) {
                ReadAndMeter(*held);
            }
            held.reset();
        });
    }
    proxy.reset();
    renderer.reset();
    crew.Join();
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
    // The wake events of the suite's own renderer.
    EXPECT_EQ(world.OpenHandles(), 2U);
}

RACES_INSTANTIATE(Renderer_Races);

} // namespace
} // namespace Media
