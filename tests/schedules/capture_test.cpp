// The microphone, shared by those who read it, meter it, stop and start it, and close its device.

#include <algorithm>

#include "scenario.h"
#include "support/module/capturebuffertest.h"

namespace Schedules {
namespace {

using Frames = std::vector<std::shared_ptr<FrameAud>>;

/// A renderer whose microphone has been asked for, and has heard three blocks.
class Listening : public Stage {
public:
    static constexpr std::uint64_t Blocks = 3;

    Listening() {
        Expect(renderer->GetLineLevelCallbacks(nullptr) == false, "without a callback no thread is started");
        proxy = renderer->GetCaptureProxy();
        Expect(proxy != nullptr && proxy->IsInitialized(), "the microphone is there");
        Pass(Blocks * Facts::FrameMilliSec);
    }

    static int Read(RendererAudioCaptureProxy& from, Frames& frames) {
        int const status = from.ReadFrames(frames);
        Expect(status == 0 || status == -27 || status == -30, "a read has a status of a read");
        Expect((status == 0) == !frames.empty(), "frames come with status 0");
        return status;
    }

    /// Frames are whole blocks of the microphone, numbered without a hole, in the order in which they were
    /// heard.
    static void ExpectBlocks(Frames frames) {
        std::sort(frames.begin(), frames.end(), [](auto const& a, auto const& b) {
            return a->GetIdent().sequenceNumber < b->GetIdent().sequenceNumber;
        });
        std::uint64_t last = 0;
        for (std::size_t i = 0; i < frames.size(); ++i) {
            Expect(frames[i]->GetIdent().sequenceNumber == i, "frames are numbered without a hole");
            auto const samples = UnitTest::SamplesOf(*frames[i]);
            std::uint64_t block = 0;
            while (block < Blocks &&
                   samples != UnitTest::PatternFrom(block * Facts::FrameSamples, Facts::FrameSamples)) {
                ++block;
            }
            Expect(block < Blocks, "a frame is a block of the microphone");
            Expect(i == 0 || block > last, "no block comes twice or late");
            last = block;
        }
    }

    /// As many sound buffers of the microphone as are registered.
    void ExpectCaptureRegistered(std::size_t buffers) {
        auto const fields = RendererAudioCaptureProxyPeer::GetDevice(*proxy);
        Expect(fields != nullptr, "the device is there");
        std::size_t const registered =
            fields->registry.GetBuffers(boost::mutex::scoped_lock(fields->lock)).size();
        Expect(registered == buffers + 1, "each capture buffer is registered once");
        Expect(world.LiveCaptureBuffers().size() == buffers, "DirectSound has the registered buffers");
    }

    void End() {
        proxy.reset();
        renderer->Shutdown();
        renderer.reset();
        Expect(world.LiveCaptureBuffers().empty() && world.LiveCaptures() == 0, "the microphone has gone");
    }

    std::shared_ptr<RendererAudioCaptureProxy> proxy;
};

SCHEDULES_TEST(Schedules_Capture, TwoAskForTheMicrophone) {
    Stage stage;
    std::shared_ptr<RendererAudioCaptureProxy> first;
    std::shared_ptr<RendererAudioCaptureProxy> second;
    RunTogether({[&] { first = stage.renderer->GetCaptureProxy(); },
                 [&] { second = stage.renderer->GetCaptureProxy(); }});
    Expect(first != nullptr && first == second, "both get the same microphone");
    Expect(stage.world.CaptureCount() == 1, "capture is opened once");
    Expect(stage.world.CaptureBuffers().size() == 1, "one capture buffer is made");
    EndsIn("both have the one microphone");
    first.reset();
    second.reset();
    stage.renderer->Shutdown();
    stage.renderer.reset();
}

SCHEDULES_TEST(Schedules_Capture, AMeterAndAReaderOpenCapture) {
    Stage stage;
    int reports = 0;
    std::shared_ptr<RendererAudioCaptureProxy> proxy;
    RunTogether({[&] { proxy = stage.renderer->GetCaptureProxy(); },
                 [&] {
                     Expect(
                         stage.renderer->GetLineLevelCallbacks([&reports](float) { return ++reports < 0; }),
                         "a line-level thread starts");
                 }});
    Expect(proxy != nullptr && reports == 1, "both have the microphone");
    Expect(stage.world.CaptureCount() == 1, "capture is opened once");
    Expect(stage.world.CaptureBuffers().size() == 1, "one capture buffer is made");
    EndsIn("both have the one microphone");
    proxy.reset();
    stage.renderer->Shutdown();
    stage.renderer.reset();
}

SCHEDULES_TEST(Schedules_Capture, TwoReaders) {
    Listening stage;
    Frames first;
    Frames second;
    RunTogether(
        {[&] { Listening::Read(*stage.proxy, first); }, [&] { Listening::Read(*stage.proxy, second); }});
    EndsIn(std::to_string(first.size()) + " frames to the first, " + std::to_string(second.size()) +
           " to the second");
    first.insert(first.end(), second.begin(), second.end());
    Expect(first.size() == Listening::Blocks, "every block goes to one reader");
    Listening::ExpectBlocks(std::move(first));
    stage.End();
}

SCHEDULES_TEST(Schedules_Capture, AReaderBesideAMeter) {
    Listening stage;
    Frames frames;
    int status = 1;
    float level = -1.0F;
    RunTogether({[&] { Listening::Read(*stage.proxy, frames); },
                 [&] {
                     status = stage.proxy->SampleLineLevel();
                     level = stage.proxy->GetLineLevel();
                 }});
    Expect(status == 0 || status == -30, "a metering has a status of one");
    Expect(frames.empty() == (status == 0), "the blocks go to the one or to the other");
    Expect(level > 0.0F && level <= 1.0F, "what either of them found is metered");
    EndsIn(frames.empty() ? "metered" : "read");
    Listening::ExpectBlocks(std::move(frames));
    stage.End();
}

SCHEDULES_TEST(Schedules_Capture, AReaderBesideALookAtTheLevel) {
    Listening stage;
    Frames frames;
    float level = -1.0F;
    RunTogether(
        {[&] { Listening::Read(*stage.proxy, frames); }, [&] { level = stage.proxy->GetLineLevel(); }});
    EndsIn(level == 0.0F ? "nothing metered yet" : "the level of what was read");
    Listening::ExpectBlocks(std::move(frames));
    stage.End();
}

SCHEDULES_TEST(Schedules_Capture, AReaderBesideAStop) {
    Listening stage;
    Frames frames;
    int status = 1;
    RunTogether(
        {[&] { status = Listening::Read(*stage.proxy, frames); }, [&] { stage.proxy->StopBufferCapture(); }});
    EndsIn("status " + std::to_string(status) + ", " + std::to_string(frames.size()) + " frames");
    Listening::ExpectBlocks(std::move(frames));
    stage.ExpectCaptureRegistered(0);
    stage.End();
}

SCHEDULES_TEST(Schedules_Capture, AReaderBesideStopAndStart) {
    Listening stage;
    Frames frames;
    int status = 1;
    RunTogether({[&] { status = Listening::Read(*stage.proxy, frames); },
                 [&] {
                     stage.proxy->StopBufferCapture();
                     stage.proxy->StartBufferCapture();
                 }});
    EndsIn("status " + std::to_string(status) + ", " + std::to_string(frames.size()) + " frames");
    Listening::ExpectBlocks(std::move(frames));
    stage.ExpectCaptureRegistered(1);
    stage.Pass(Facts::FrameMilliSec);
    Frames later;
    Expect(stage.proxy->IsInitialized() && Listening::Read(*stage.proxy, later) == 0, "capture goes on");
    Expect(later.size() == 1, "with what was heard since");
    stage.End();
}

SCHEDULES_TEST(Schedules_Capture, TwoStartsAfterAStop) {
    Listening stage;
    stage.proxy->StopBufferCapture();
    auto const start = [&] { stage.proxy->StartBufferCapture(); };
    RunTogether({start, start});
    Expect(stage.proxy->IsInitialized(), "capture is on");
    stage.ExpectCaptureRegistered(1);
    EndsIn("one buffer captures");
    stage.End();
}

SCHEDULES_TEST(Schedules_Capture, StopBesideStart) {
    Listening stage;
    RunTogether({[&] { stage.proxy->StopBufferCapture(); }, [&] { stage.proxy->StartBufferCapture(); }});
    bool const captures = !stage.world.LiveCaptureBuffers().empty();
    bool const hasBuffer = RendererAudioCaptureProxyPeer::GetBuffer(*stage.proxy) != nullptr;
    EndsIn(std::string(captures ? "captures" : "does not capture") + (hasBuffer ? ", has a buffer" : "") +
           (RendererAudioCaptureProxyPeer::HasBuffer(*stage.proxy) ? ", is taken to have one" : ""));
    stage.ExpectCaptureRegistered(captures ? 1 : 0);
    stage.End();
}

SCHEDULES_TEST(Schedules_Capture, LineLevelBesideStopAndStart) {
    Listening stage;
    int reports = 0;
    Expect(stage.renderer->GetLineLevelCallbacks([&reports](float level) {
        ++reports;
        Expect(level >= 0.0F && level <= 1.0F, "a level is one");
        return false;
    }),
           "a line-level thread starts");
    RunTogether({[&] {
        stage.proxy->StopBufferCapture();
        stage.proxy->StartBufferCapture();
    }});
    Expect(reports == 1, "the thread has reported and ended");
    EndsIn("one report");
    stage.ExpectCaptureRegistered(1);
    stage.End();
}

SCHEDULES_TEST(Schedules_Capture, ReaderAndStarterBesideShutdown) {
    Listening stage;
    stage.Open();
    Frames frames;
    int status = 1;
    RunTogether({[&] { stage.renderer->Shutdown(); },
                 [&] {
                     status = Listening::Read(*stage.proxy, frames);
                     stage.proxy->StartBufferCapture();
                     stage.proxy->StopBufferCapture();
                 }});
    Expect(status == 0, "capture goes on in its holders");
    Listening::ExpectBlocks(std::move(frames));
    stage.ExpectCaptureRegistered(0);
    Expect(stage.world.LiveCaptures() == 0, "the last buffer takes DirectSound with it");
    EndsIn("closed, and nothing captures");
    stage.End();
}

SCHEDULES_TEST(Schedules_Capture, ARestartBesideShutdown) {
    Listening stage;
    stage.proxy->StopBufferCapture();
    RunTogether({[&] { stage.renderer->Shutdown(); }, [&] { stage.proxy->StartBufferCapture(); }});
    bool const captures = !stage.world.LiveCaptureBuffers().empty();
    Expect(stage.proxy->IsInitialized() == captures, "the status tells whether capture is on");
    stage.ExpectCaptureRegistered(captures ? 1 : 0);
    EndsIn(captures ? "captures on in its holder" : "does not capture");
    stage.End();
}

SCHEDULES_TEST(Schedules_Capture, ASleepingMeterBesideShutdown) {
    Listening stage;
    int reports = 0;
    stage.renderer->GetLineLevelCallbacks([&reports](float) { return ++reports < 100; });
    Scheduler::Get().Settle();
    Expect(reports == 1, "the meter sleeps after its first report");
    stage.proxy.reset();
    RunTogether({[&] { stage.renderer->Shutdown(); }, [&] { stage.Pass(Facts::FrameMilliSec); }});
    // Those that still slept.
    stage.Pass(Facts::FrameMilliSec);
    Expect(stage.world.BlockedThreads() == 0, "the meter has ended");
    Expect(stage.world.LiveCaptureBuffers().empty(), "its capture has gone with it");
    EndsIn(std::to_string(reports) + " reports");
    stage.renderer.reset();
}

} // namespace
} // namespace Schedules
