// Sessions that come and go, and the device's end, beside the service pass of the playback thread.

#include "scenario.h"

namespace Schedules {
namespace {

/// A renderer with two sessions that have rendered a frame each.
class Sounding : public Stage {
public:
    Sounding() {
        Open();
        for (Session* const session : {&first, &second}) {
            Expect(session->Render(7), "a frame is written");
            session->FindSound();
        }
        Scheduler::Get().Settle();
    }

    void EndAll() {
        first.End();
        second.End();
        ExpectRegistered(0);
        renderer->Shutdown();
        renderer.reset();
    }

    Session first{*this};
    Session second{*this};
};

SCHEDULES_TEST(Schedules_Device, ServiceBesideRegistration) {
    Sounding stage;
    Session third(stage);
    SetEvent(stage.first.Event());
    RunTogether({[&] { Expect(third.Render(8), "the frame is written"); }});
    stage.ExpectRegistered(3);
    third.ExpectServiced();
    EndsIn("all three are serviced");
    third.End();
    stage.EndAll();
}

SCHEDULES_TEST(Schedules_Device, ServiceBesideRemoval) {
    Sounding stage;
    SetEvent(stage.first.Event());
    RunTogether({[&] { stage.first.End(); }});
    stage.ExpectRegistered(1);
    stage.second.ExpectServiced();
    EndsIn("the other one is serviced");
    stage.EndAll();
}

SCHEDULES_TEST(Schedules_Device, ServiceBesideRegistrationAndRemoval) {
    Sounding stage;
    Session third(stage);
    SetEvent(stage.second.Event());
    RunTogether({[&] { Expect(third.Render(8), "the frame is written"); }, [&] { stage.first.End(); }});
    stage.ExpectRegistered(2);
    stage.second.ExpectServiced();
    third.ExpectServiced();
    EndsIn("both that are left are serviced");
    third.End();
    stage.EndAll();
}

SCHEDULES_TEST(Schedules_Device, TwoRegistrations) {
    Sounding stage;
    Session third(stage);
    Session fourth(stage);
    RunTogether({[&] { Expect(third.Render(8), "the frame is written"); },
                 [&] { Expect(fourth.Render(9), "the frame is written"); }});
    stage.ExpectRegistered(4);
    third.ExpectServiced();
    fourth.ExpectServiced();
    EndsIn("all four are serviced");
    third.End();
    fourth.End();
    stage.EndAll();
}

SCHEDULES_TEST(Schedules_Device, ServiceBesideClose) {
    Sounding stage;
    SetEvent(stage.first.Event());
    RunTogether({[&] { stage.renderer->Shutdown(); }});
    Expect(!stage.renderer->IsEnabled(), "the renderer is shut down");
    Expect(stage.world.BlockedThreads() == 0, "the playback thread has ended");
    Expect(stage.first.Render(8), "a frame is written all the same");
    stage.ExpectRegistered(2);
    EndsIn("closed, and the sessions sound on");
    stage.first.End();
    stage.second.End();
    Expect(stage.world.LiveSounds() == 0, "the last session takes DirectSound with it");
    stage.renderer.reset();
}

SCHEDULES_TEST(Schedules_Device, OpeningBesideItsThread) {
    Stage stage;
    RunTogether({[&] { Expect(stage.renderer->Initialize() == 0, "the renderer opens"); }});
    EndsIn(stage.world.BlockedThreads() == 1 ? "the playback thread waits" : "the playback thread has ended");
    stage.renderer->Shutdown();
    Expect(stage.world.BlockedThreads() == 0, "the playback thread has ended");
    stage.renderer.reset();
}

SCHEDULES_TEST(Schedules_Device, OpeningAndClosingBesideItsThread) {
    Stage stage;
    RunTogether({[&] {
        Expect(stage.renderer->Initialize() == 0, "the renderer opens");
        stage.renderer->Shutdown();
    }});
    Expect(stage.world.BlockedThreads() == 0, "the playback thread has ended");
    Expect(stage.world.LiveSounds() == 0, "DirectSound has gone");
    EndsIn("closed");
    stage.renderer.reset();
}

SCHEDULES_TEST(Schedules_Device, TwoSessionsOpenTheDevice) {
    Stage stage;
    boost::intrusive_ptr<PipelineState> first;
    boost::intrusive_ptr<PipelineState> second;
    RunTogether({[&] { first = UnitTest::OpenSession(*stage.renderer); },
                 [&] { second = UnitTest::OpenSession(*stage.renderer); }});
    Expect(first != nullptr && second != nullptr, "both sessions are taken");
    Expect(stage.world.SoundCount() == 1, "DirectSound is opened once");
    Expect(stage.world.BlockedThreads() <= 1, "there is one playback thread at most");
    EndsIn(stage.world.BlockedThreads() == 1 ? "the playback thread waits" : "the playback thread has ended");
    first.reset();
    second.reset();
    stage.renderer->Shutdown();
    stage.renderer.reset();
}

} // namespace
} // namespace Schedules
