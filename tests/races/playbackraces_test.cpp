// Sessions that render through the pipeline's workers, with everything else that touches them at the same
// time.

#include <cstddef>
#include <vector>

#include "sessionracestest.h"

namespace Media {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

class Playback_Races : public SessionRacesTest {};

TEST_P(Playback_Races, EverySampleIsInItsRingWhileClientsTurnKnobsAndBuffersAreServiced) {
    constexpr std::size_t Sessions = 4;
    constexpr std::uint64_t Frames = 120;
    constexpr int Turns = 150;
    std::vector<Session> sessions;
    for (std::size_t i = 0; i < Sessions; ++i) {
        sessions.push_back(OpenSounding());
    }
    std::vector<Session> const known = sessions;
    Crew crew;
    for (std::uint64_t client = 0; client < 2; ++client) {
        crew.Add([&, dice = MakeDice(client)]() mutable {
            for (int turn = 0; turn < Turns; ++turn) {
                TurnKnobs(known[dice.Throw(Sessions)], dice);
                world.Shaking().Shake();
            }
        });
    }
    // As notifications would, at any time: the playback thread services that buffer.
    crew.Add([&, dice = MakeDice(2)]() mutable {
        for (int turn = 0; turn < Turns; ++turn) {
            SetEvent(known[dice.Throw(Sessions)].event);
            std::this_thread::yield();
        }
    });
    Play(sessions, Frames);
    crew.Join();
    PipelineClientState_t client;
    client.balance = 0.25F;
    client.volume = 0.0F;
    for (auto const& session : sessions) {
        pipeline.SetClientState(session.id, client);
    }
    pipeline.Drain();
    world.WaitForBlockedThreads(1);
    for (auto const& session : sessions) {
        ExpectAllRendered(session);
        EXPECT_TRUE(session.buffer->IsPlaying());
        EXPECT_EQ(session.buffer->OpenLocks(), 0U);
        // A quarter of the way from -10000 to 10000; silence.
        EXPECT_EQ(session.buffer->Pan(), -5000);
        EXPECT_EQ(session.buffer->Volume(), -10000);
        ExpectRing(*session.buffer, session.number,
                   [&session](std::uint64_t frame) { return session.ValueOf(frame); });
    }
}

TEST_P(Playback_Races, SessionsComeAndGoBesideOthersThatSound) {
    constexpr std::uint64_t Comers = 3;
    constexpr int Lives = 10;
    std::vector<Session> sessions{OpenSounding(), OpenSounding()};
    HANDLE const event = sessions[0].event;
    std::atomic<std::size_t> buffers{sessions.size()};
    std::atomic<std::uint64_t> frames{0};
    std::atomic<std::uint64_t> rendered{0};
    Crew crew;
    for (std::uint64_t comer = 0; comer < Comers; ++comer) {
        crew.Add([&, dice = MakeDice(comer)]() mutable {
            for (int life = 0; life < Lives; ++life) {
                Session session;
                session.id = pipeline.OpenSession({});
                ASSERT_NE(session.id, Pipeline::InvalidSession);
                std::uint32_t const count = 1 + dice.Throw(5);
                std::uint32_t rate = 0;
                for (std::uint32_t i = 0; i < count; ++i) {
                    // Every other rate makes another buffer.
                    std::uint32_t const nextRate = dice.Throw(3) == 0 ? 8000 : 48000;
                    buffers.fetch_add(nextRate != rate ? 1 : 0, std::memory_order_relaxed);
                    rate = nextRate;
                    auto const frame = UnitTest::RawFrame(OriginNanoSec + std::int64_t{i} * FrameNanoSec,
                                                          std::vector<std::int16_t>(FrameSamples, 100), rate);
                    pipeline.Submit(session.id, frame, Ahead(LeadMilliSec));
                    if (dice.Throw(2) == 0) {
                        TurnKnobs(session, dice);
                    }
                }
                pipeline.CloseSession(session.id);
                // The session has rendered all of it before it ended.
                frames.fetch_add(count, std::memory_order_relaxed);
                rendered.fetch_add(succeeded[session.id].load(), std::memory_order_relaxed);
            }
        });
    }
    crew.Add([event] {
        for (int turn = 0; turn < 100; ++turn) {
            SetEvent(event);
            std::this_thread::yield();
        }
    });
    Play(sessions, 60);
    crew.Join();
    pipeline.Drain();
    world.WaitForBlockedThreads(1);
    EXPECT_EQ(rendered.load(), frames.load());
    EXPECT_THAT(world.Buffers(), SizeIs(buffers.load()));
    EXPECT_THAT(world.LiveBuffers(), SizeIs(sessions.size()));
    // The wake events of both devices, and one a buffer.
    EXPECT_EQ(world.OpenHandles(), 2 + sessions.size());
    for (auto& session : sessions) {
        ExpectAllRendered(session);
        ExpectRing(*session.buffer, session.number,
                   [&session](std::uint64_t frame) { return session.ValueOf(frame); });
        pipeline.CloseSession(session.id);
        session.state.reset();
    }
    EXPECT_THAT(world.LiveBuffers(), IsEmpty());
    EXPECT_EQ(world.OpenHandles(), 2U);
}

TEST_P(Playback_Races, SessionsComeBackInTheMomentOfTheirIdleStop) {
    constexpr std::size_t Sessions = 3;
    constexpr int Comebacks = 8;
    std::vector<Session> sessions;
    for (std::size_t i = 0; i < Sessions; ++i) {
        sessions.push_back(OpenSounding());
    }
    std::vector<Session> const known = sessions;
    std::atomic<std::size_t> sleepers{0};
    std::atomic<std::size_t> left{Sessions};
    Crew crew;
    for (std::size_t i = 0; i < Sessions; ++i) {
        crew.Add([&, dice = MakeDice(i), &session = sessions[i]]() mutable {
            for (int comeback = 0; comeback < Comebacks; ++comeback) {
                // The stop is due from 1001 ms on; the thread comes by every 200 ms, or when it is woken.
                Kovra::JiffyTime const end = Ahead(1001 + dice.Throw(210));
                sleepers.fetch_add(1, std::memory_order_relaxed);
                while (Kovra::JiffyTime::Now().GetDiffSysTime(end).NanoSec() < 0) {
                    std::this_thread::yield();
                }
                sleepers.fetch_sub(1, std::memory_order_relaxed);
                if (dice.Throw(2) == 0) {
                    SetEvent(session.event);
                }
                for (int frame = 0; frame < 3; ++frame) {
                    Submit(session, Ahead(LeadMilliSec));
                }
                while (!IsDone(session, session.number)) {
                    std::this_thread::yield();
                }
            }
            left.fetch_sub(1, std::memory_order_relaxed);
        });
    }
    // A start of playback applies the volume.
    crew.Add([&, dice = MakeDice(Sessions)]() mutable {
        while (left.load(std::memory_order_relaxed) != 0) {
            TurnKnobs(known[dice.Throw(Sessions)], dice);
            std::this_thread::yield();
        }
    });
    while (left.load(std::memory_order_relaxed) != 0) {
        if (sleepers.load(std::memory_order_relaxed) != 0) {
            Advance(5);
        } else {
            std::this_thread::yield();
        }
    }
    crew.Join();
    world.WaitForBlockedThreads(1);
    // Frames that met a stop may have been wiped, or have started a buffer that counts as idle already. One
    // more frame, with no stop near, makes every session one that sounds, and then one that stops.
    for (auto& session : sessions) {
        Submit(session, Ahead(LeadMilliSec));
    }
    pipeline.Drain();
    for (auto const& session : sessions) {
        ExpectAllRendered(session);
        EXPECT_TRUE(session.buffer->IsPlaying());
    }
    Advance(1400);
    world.WaitForBlockedThreads(1);
    for (auto const& session : sessions) {
        EXPECT_FALSE(session.buffer->IsPlaying());
        EXPECT_EQ(session.buffer->Volume(), -10000);
        EXPECT_TRUE(session.buffer->IsSilent(0, RingSamples));
        EXPECT_EQ(session.buffer->OpenLocks(), 0U);
    }
    EXPECT_THAT(world.LiveBuffers(), SizeIs(Sessions));
}

TEST_P(Playback_Races, SoundBuffersAreRebuiltUnderClientsThatTurnKnobs) {
    constexpr std::uint64_t Rebuilds = 30;
    auto const state = UnitTest::OpenSession(*renderer);
    ASSERT_NE(state, nullptr);
    std::atomic<bool> isOver{false};
    Crew crew;
    for (std::uint64_t client = 0; client < 2; ++client) {
        crew.Add([&, dice = MakeDice(client)]() mutable {
            do {
                PipelineClientState_t wishes;
                wishes.balance = static_cast<float>(dice.Throw(5)) / 4.0F;
                wishes.volume = static_cast<float>(dice.Throw(5)) / 4.0F;
                state->SetClientState(wishes);
                EXPECT_TRUE(state->UpdateClientState());
            } while (!isOver.load(std::memory_order_relaxed));
        });
    }
    for (std::uint64_t number = 0; number < Rebuilds; ++number) {
        auto const frame =
            UnitTest::RawFrame(OriginNanoSec + static_cast<std::int64_t>(number) * FrameNanoSec,
                               std::vector<std::int16_t>(FrameSamples, 100), number % 2 == 0 ? 48000 : 8000);
        auto const job = UnitTest::RenderJob(state, frame, Ahead(LeadMilliSec));
        renderer->Divide(job);
        EXPECT_EQ(job->GetOutcome(), Outcome_t::Succeeded);
        Advance(FrameMilliSec);
    }
    isOver = true;
    crew.Join();
    EXPECT_THAT(world.Buffers(), SizeIs(Rebuilds));
    // The latest buffer is the one that the client hears.
    PipelineClientState_t wishes;
    wishes.balance = 1.0F;
    wishes.volume = 0.0F;
    state->SetClientState(wishes);
    EXPECT_TRUE(state->UpdateClientState());
    EXPECT_EQ(world.OnlyBuffer().Pan(), 10000);
    EXPECT_EQ(world.OnlyBuffer().Volume(), -10000);
}

RACES_INSTANTIATE(Playback_Races);

} // namespace
} // namespace Media
