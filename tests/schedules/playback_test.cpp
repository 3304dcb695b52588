// A session's work beside the service pass of the playback thread, with which it shares no lock.

#include "scenario.h"

namespace Schedules {
namespace {

constexpr std::int16_t OldValue = 7;
constexpr std::int16_t NewValue = 9;

/// A renderer with one session that has played one frame.
class Playing : public Stage {
public:
    Playing() {
        Open();
        Expect(session.Render(OldValue), "a frame is written");
        session.FindSound();
        Scheduler::Get().Settle();
    }

    /// So long after the frame that the next pass finds the session idle.
    void BecomeIdle() {
        Pass(1000);
        Pass(1);
    }

    /// What a pass and a presentation leave behind, the new frame at its ring position.
    std::string Describe(std::int64_t newTimestampNanoSec) {
        auto& fields = session.Fields();
        std::int64_t const base = fields.baseTimestamp.load();
        Expect(fields.active.load() <= 1, "whether the session is active is yes or no");
        std::string text = session.Sound().IsPlaying() ? "plays" : "stopped";
        text += session.Sound().Volume() == 0 ? "" : ", silenced";
        text += fields.active.load() != 0 ? ", active" : ", idle";
        text += base == 0                     ? ", without an origin"
                : base == newTimestampNanoSec ? ", origin at the frame"
                                              : ", origin as before";
        std::uint32_t const writePos = fields.writePos.load();
        auto const samples = session.Sound().Samples(writePos, Facts::FrameSamples);
        auto const isAll = [&samples](std::int16_t value) {
            return samples == std::vector<std::int16_t>(samples.size(), value);
        };
        text += isAll(NewValue) ? ", frame" : isAll(0) ? ", wiped" : ", in parts";
        text += " at " + std::to_string(writePos);
        return text;
    }

    /// The session goes on as if nothing had been: it lives, and ends.
    void GoOnAndEnd() {
        ExpectRegistered(1);
        session.ExpectServiced();
        Expect(session.Sound().OpenLocks() == 0, "every lock of the ring is given back");
        Expect(session.Render(NewValue), "the next frame is written");
        Expect(session.Sound().IsPlaying(), "the next frame plays");
        session.End();
        ExpectRegistered(0);
        renderer->Shutdown();
        renderer.reset();
    }

    Session session{*this};
};

SCHEDULES_TEST(Schedules_Playback, IdleStopBesideAFrame) {
    Playing stage;
    stage.BecomeIdle();
    auto const timestamp = stage.session.timestampNanoSec;
    SetEvent(stage.session.Event());
    RunTogether({[&] { Expect(stage.session.Render(NewValue), "the frame is written"); }});
    EndsIn(stage.Describe(timestamp));
    stage.GoOnAndEnd();
}

SCHEDULES_TEST(Schedules_Playback, ClearingBesideAFrame) {
    Playing stage;
    // Past the grace of 500 ms; the pass that would clear by itself comes at 520 ms, 400 ms after the
    // notification.
    constexpr std::int64_t PauseMilliSec = 510;
    stage.Pass(PauseMilliSec);
    Expect(stage.session.Fields().clearedEnd.load() == 0, "all that was played is still to be cleared");
    // Ahead of the cursor, where nothing is to be cleared.
    stage.session.timestampNanoSec += PauseMilliSec * Facts::NanoSecPerMilliSec;
    auto const timestamp = stage.session.timestampNanoSec;
    SetEvent(stage.session.Event());
    RunTogether({[&] { Expect(stage.session.Render(NewValue), "the frame is written"); }});
    std::uint32_t const cleared = stage.session.Fields().clearedEnd.load();
    Expect(stage.session.Sound().IsSilent(0, cleared), "what is taken for cleared is clear");
    EndsIn(stage.Describe(timestamp) + ", cleared to " + std::to_string(cleared));
    stage.GoOnAndEnd();
}

SCHEDULES_TEST(Schedules_Playback, IdleStopBesideTheClient) {
    Playing stage;
    stage.BecomeIdle();
    SetEvent(stage.session.Event());
    RunTogether({[&] { stage.session.SetClient(0.5F, 0.25F); }});
    auto& sound = stage.session.Sound();
    Expect(!sound.IsPlaying(), "the idle session is stopped");
    Expect(sound.Pan() == -5000, "the client's balance stands");
    EndsIn(sound.Volume() == -10000 ? "silenced" : "at the client's volume");
    stage.GoOnAndEnd();
}

SCHEDULES_TEST(Schedules_Playback, ServiceBesideANewRate) {
    Playing stage;
    stage.BecomeIdle();
    SetEvent(stage.session.Event());
    RunTogether({[&] { Expect(stage.session.Render(NewValue, 8000), "the frame is written"); }});
    Expect(stage.world.Buffers().size() == 2, "another sound buffer is made");
    stage.session.FindSound();
    EndsIn(stage.session.Sound().IsPlaying() ? "plays" : "stopped");
    stage.ExpectRegistered(1);
    stage.session.ExpectServiced();
    stage.session.End();
    stage.renderer->Shutdown();
    stage.renderer.reset();
}

SCHEDULES_TEST(Schedules_Playback, AFirstFrameBesideTheClient) {
    Playing stage;
    Session other(stage);
    auto const render = [&] { Expect(other.Render(NewValue), "the frame is written"); };
    RunTogether({render, [&] { other.SetClient(0.0F, 1.0F); }});
    other.FindSound();
    Expect(other.Sound().Volume() == -10000 && other.Sound().Pan() == 10000, "the client's wishes stand");
    Expect(other.Sound().IsPlaying(), "it plays");
    EndsIn("plays as the client wishes");
    stage.ExpectRegistered(2);
    other.End();
    stage.GoOnAndEnd();
}

SCHEDULES_TEST(Schedules_Playback, TwoFirstFrames) {
    Playing stage;
    Session other(stage);
    auto const render = [&] { Expect(other.Render(NewValue), "the frame is written"); };
    RunTogether({render, render});
    Expect(stage.world.Buffers().size() == 2, "one sound buffer is made for both");
    EndsIn("one sound buffer plays both");
    stage.ExpectRegistered(2);
    other.ExpectServiced();
    other.End();
    stage.GoOnAndEnd();
}

} // namespace
} // namespace Schedules
