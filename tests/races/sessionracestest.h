#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "racestest.h"

namespace Media {

/// The whole renderer with a pipeline whose sessions run on several workers. The test's own thread moves time
/// and submits frames.
class SessionRacesTest : public RacesTest {
protected:
    static constexpr std::size_t Workers = 3;
    /// A session's sound starts at the frame behind these, one lead into the ring: what the play cursor has
    /// to run up through lies behind the ring's beginning and not before its end, where it would count as
    /// played.
    static constexpr std::uint64_t PrerollFrames = 14;
    static_assert(PrerollFrames * FrameMilliSec == LeadMilliSec);

    struct Session {
        Pipeline::SessionId_t id = Pipeline::InvalidSession;
        /// Held beside the pipeline's own reference; null unless the session was opened sounding.
        boost::intrusive_ptr<PipelineState> state;
        Simulation::SoundBuffer* buffer = nullptr;
        /// What a notification of the buffer signals.
        HANDLE event = nullptr;
        /// Of the next frame.
        std::uint64_t number = 0;

        std::int16_t ValueOf(std::uint64_t frame) const {
            return static_cast<std::int16_t>(1 + id * 1000 + frame);
        }
    };

    /// A session that sounds: its buffer plays and its notification is set.
    Session OpenSounding() {
        Session session;
        renderer->ShowStatesIn(&session.state);
        session.id = pipeline.OpenSession({});
        renderer->ShowStatesIn(nullptr);
        for (std::uint64_t i = 0; i < PrerollFrames; ++i) {
            Submit(session, Ahead(-1));
        }
        pipeline.Drain();
        session.buffer = &world.LatestBuffer();
        Submit(session, Ahead(LeadMilliSec));
        pipeline.Drain();
        EXPECT_TRUE(session.buffer->IsPlaying());
        session.event = session.buffer->NotificationPoints().at(0).hEventNotify;
        return session;
    }

    void Submit(Session& session, Kovra::JiffyTime presentation) {
        bool const isCoded = session.number % 5 == 3;
        EXPECT_TRUE(pipeline.Submit(
            session.id, MakeFrame(session.number, session.ValueOf(session.number), isCoded), presentation));
        ++session.number;
    }

    bool IsDone(Session const& session, std::uint64_t frames) const {
        return done[session.id].load(std::memory_order_relaxed) >= frames;
    }

    /// Plays `frames` more frames of each session, all of which start now: time waits for a session that is
    /// `MaxFramesBehind`.
    void Play(std::vector<Session>& sessions, std::uint64_t frames) {
        for (std::uint64_t i = 0; i < frames; ++i) {
            Advance(FrameMilliSec / 2);
            Advance(FrameMilliSec / 2);
            for (auto& session : sessions) {
                Submit(session, Ahead(LeadMilliSec));
            }
            for (auto const& session : sessions) {
                while (!IsDone(session, session.number - MaxFramesBehind)) {
                    std::this_thread::yield();
                }
            }
        }
    }

    /// Through the pipeline, which does it between jobs, or past it, as any thread may.
    void TurnKnobs(Session const& session, Dice& dice) {
        PipelineClientState_t client;
        client.balance = static_cast<float>(dice.Throw(5)) / 4.0F;
        client.volume = static_cast<float>(dice.Throw(5)) / 4.0F;
        if (session.state != nullptr && dice.Throw(2) == 0) {
            session.state->SetClientState(client);
            EXPECT_TRUE(session.state->UpdateClientState());
        } else {
            EXPECT_TRUE(pipeline.SetClientState(session.id, client));
        }
    }

    /// All jobs of the session succeeded.
    void ExpectAllRendered(Session const& session) const {
        EXPECT_EQ(done[session.id].load(), session.number);
        EXPECT_EQ(succeeded[session.id].load(), session.number);
    }

    static constexpr std::size_t MaxSessions = 256;
    std::array<std::atomic<std::uint64_t>, MaxSessions> done{};
    std::array<std::atomic<std::uint64_t>, MaxSessions> succeeded{};
    Pipeline pipeline{*renderer, Workers, [this](Pipeline::Report_t const& report) {
                          if (report.outcome == Outcome_t::Succeeded) {
                              succeeded[report.session].fetch_add(1, std::memory_order_relaxed);
                          }
                          done[report.session].fetch_add(1, std::memory_order_relaxed);
                      }};
};

} // namespace Media
