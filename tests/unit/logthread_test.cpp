// What logs with every frame, and what the time-critical thread logs, costs them no file and no observer:
// both are served by the log's own thread, and nobody waits for it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <future>
#include <iterator>
#include <set>
#include <string>

#include "kovra/log.h"
#include "kovra/thread.h"
#include "pipeline/pipeline.h"
#include "simulation/testworld.h"
#include "support/module/builders.h"
#include "support/module/captureview.h"
#include "support/module/rendererview.h"

namespace Media {
namespace {

using Simulation::Call_t;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;
using namespace Facts;

constexpr std::int64_t FirstTimestampNanoSec = 7'000'000'000;
constexpr std::size_t Workers = 2;
/// After each frame: five samples of 20833 ns.
constexpr std::int64_t GapNanoSec = 5 * 20833;

/// A pipeline that plays through the module on the simulated machine, while every record goes to a file and
/// an observer.
class LogThread : public ::testing::Test {
protected:
    LogThread() {
        std::remove(path.c_str());
        EXPECT_TRUE(UnitTest::InitializeWithRunningThread(renderer, world));
        Pipeline::SetAudioRenderer(&renderer);
        EXPECT_TRUE(manager.SetFile(path));
    }
    ~LogThread() override {
        manager.SetObserver({});
        manager.SetFile("");
        std::remove(path.c_str());
        Pipeline::SetAudioRenderer(nullptr);
    }

    /// Frames with a gap behind each, until the session is idle; and a meter that gets no microphone. The
    /// pipeline's workers, the playback thread and the line-level thread log.
    void PlayAndMeter() {
        auto const session = pipeline.OpenSession({});
        for (std::int64_t n = 0; n < 10; ++n) {
            std::int64_t const position = n * (FrameMilliSec * NanoSecPerMilliSec + GapNanoSec);
            EXPECT_TRUE(pipeline.Submit(
                session, UnitTest::ConstantFrame(FirstTimestampNanoSec + position, FrameSamples, 1000),
                Kovra::JiffyTime::Now().AddMilliSec(100)));
            pipeline.Drain();
            world.Clock().AdvanceMilliSec(FrameMilliSec);
        }
        world.Clock().AdvanceMilliSec(3000);
        EXPECT_FALSE(world.OnlyBuffer().IsPlaying());

        world.Faults().FailAlways(Call_t::CaptureCreateCaptureBuffer, DSERR_GENERIC);
        EXPECT_TRUE(renderer.GetLineLevelCallbacks(meter.MakeCallback()));
        EXPECT_TRUE(meter.WaitForEnd());
        pipeline.CloseSession(session);
    }

    std::string ReadFile() const {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    std::string const path = testing::TempDir() + "unit_logthread.log";
    Kovra::LogManager& manager = Kovra::LogManager::Instance();
    Simulation::TestWorld world;
    UnitTest::Meter meter;
    RendererAudio renderer;
    Pipeline pipeline{renderer, Workers};
};

TEST_F(LogThread, AloneServesTheObserverWhateverThreadLogs) {
    std::set<std::string> pushers;
    std::set<std::string> tellers;
    manager.SetObserver([&](Kovra::LogRecord const& record) {
        pushers.insert(record.threadName);
        tellers.insert(Kovra::GetThreadName());
    });
    PlayAndMeter();
    manager.Flush();
    EXPECT_THAT(pushers, IsSupersetOf({"Media.Pipeline.Worker", "Media.RendererAudio.Playback",
                                       "Media.RendererAudio.LineLevel"}));
    EXPECT_THAT(tellers, ElementsAre("Kovra.Log"));
}

TEST_F(LogThread, MayBeHeldUpWhilePlaybackAndMeterGoOnAndTheFileStaysEmpty) {
    std::promise<void> release;
    manager.SetObserver([held = release.get_future().share()](Kovra::LogRecord const&) { held.wait(); });
    PlayAndMeter();
    EXPECT_EQ(ReadFile(), "");
    release.set_value();
    manager.Flush();
    std::string const text = ReadFile();
    EXPECT_THAT(text, HasSubstr("[Media.Pipeline.Worker session 1] AudioBuffer playback started\n"));
    EXPECT_THAT(text, HasSubstr("[Media.Pipeline.Worker session 1] AudioBuffer ignoring small gap ("));
    EXPECT_THAT(text, HasSubstr("[Media.RendererAudio.Playback] Idle AudioBuffer playback stopped ("));
    EXPECT_THAT(text, HasSubstr("[Media.RendererAudio.LineLevel] Failed to acquire "));
}

} // namespace
} // namespace Media
