#pragma once

#include <memory>
#include <string>
#include <vector>

#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "support/module/capturebuffertest.h"
#include "support/module/captureview.h"
#include "support/module/logcapture.h"
#include "support/module/unittest.h"

namespace UnitTest {

inline auto IsLevel(float level) {
    return FloatNear(level, LevelTolerance);
}

/// Line-level threads of a renderer that the pipeline has. It is not initialised: no playback thread stands
/// among those that wait. The microphone hears full scale.
class LineLevelThreadTest : public testing::Test {
protected:
    LineLevelThreadTest() {
        Pipeline::SetAudioRenderer(renderer.get());
        world.CaptureDevice().SetGenerator(FullScaleSquare);
        world.Journal().Enable();
    }
    /// Ends every thread of `meter_` that sleeps.
    ~LineLevelThreadTest() override {
        if (renderer != nullptr) {
            renderer->Shutdown();
        }
        world.Clock().AdvanceMilliSec(FrameMilliSec);
        EXPECT_TRUE(meter.WaitForEnd());
        Pipeline::SetAudioRenderer(nullptr);
    }

    /// Starts a thread, and returns when it and those before it sleep.
    void Start(Meter& another) {
        std::size_t const sleeping = world.BlockedThreads();
        ASSERT_TRUE(renderer->GetLineLevelCallbacks(another.MakeCallback()));
        world.WaitForBlockedThreads(sleeping + 1);
    }
    void Start() { Start(meter); }

    /// Returns when a thread has taken the stopped `proxy`, held by the renderer and the test before: it
    /// spins from here on.
    void WaitUntilSpinning(std::shared_ptr<RendererAudioCaptureProxy> const& proxy) {
        ASSERT_TRUE(YieldUntil([&proxy] { return proxy.use_count() == 3; }));
        // The thread has left the renderer once another one can come in.
        EXPECT_EQ(renderer->GetCaptureProxy(), proxy);
    }

    /// The calls of line-level threads since the last time.
    std::vector<std::string> TakeThreadTexts(CallSet const& calls = CallSet::CaptureBuffer() |
                                                                    CallSet{Call_t::Win32Sleep}) {
        auto texts = TextsOfThread(world, LineLevelThreadName, calls);
        world.Journal().Clear();
        return texts;
    }

    /// The one record, which a line-level thread wrote.
    void ExpectOnlyRecord(char const* text, int line) {
        ASSERT_THAT(log.GetTexts(), ElementsAre(text));
        auto const record = log.GetRecords().front();
        EXPECT_EQ(record.channel, "Media.RendererAudioCaptureDevice");
        EXPECT_EQ(record.level, Kovra::LogLevel_t::Debug);
        EXPECT_EQ(record.file, "media/src/rendereraudio/rendereraudiocapturedevice");
        EXPECT_EQ(record.function, "Media::RendererAudioCaptureDevice::LineLevel");
        EXPECT_EQ(record.line, line);
        EXPECT_EQ(record.threadName, LineLevelThreadName);
    }

    Simulation::TestWorld world;
    LogCapture log;
    Meter meter;
    std::unique_ptr<RendererAudio> renderer = std::make_unique<RendererAudio>();
};

} // namespace UnitTest
