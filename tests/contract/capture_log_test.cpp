// The capture records of the shipped library, as the host's log manager gets them. "Stopping buffer capture"
// is not among them: no exported operation leads to it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "loadedmicrophone.h"
#include "logline.h"
#include "pipeline/pipeline.h"
#include "simulation/testworld.h"

namespace ContractTest {
namespace {

using Simulation::Call_t;
using testing::ElementsAre;
using testing::IsEmpty;

/// The shipped library, opened, as the pipeline's audio renderer.
class Library_CaptureLog : public testing::Test {
protected:
    Library_CaptureLog() : renderer(module) {
        EXPECT_EQ(renderer->Initialize(), 0);
        Media::Pipeline::SetAudioRenderer(&*renderer);
    }
    ~Library_CaptureLog() override { Media::Pipeline::SetAudioRenderer(nullptr); }

    /// A line-level thread ends without a call of its callback, and with one record: `text`, from `line`.
    void ExpectVainLineLevelThread(char const* text, int line) {
        ThreadEnd const end;
        ASSERT_TRUE(StartLevelCallbacks(module, *renderer, end.Watch([](float) {
            ADD_FAILURE() << "a level is reported";
            return false;
        })));
        end.Wait();
        ASSERT_EQ(log.GetRecords().size(), 1U);
        EXPECT_EQ(log.GetRecords()[0].threadName, "Media.RendererAudio.LineLevel");
        EXPECT_THAT(TakeLines(log),
                    ElementsAre(LogLine{"Media.RendererAudioCaptureDevice", 0, text,
                                        "media/src/rendereraudio/rendereraudiocapturedevice",
                                        "Media::RendererAudioCaptureDevice::LineLevel", line}));
    }

    Simulation::TestWorld world;
    UnitTest::LogCapture log;
    LoadedModule module;
    LoadedRenderer renderer;
};

TEST_F(Library_CaptureLog, OnlyTheStartOfACaptureThatRunsAlreadyIsTold) {
    LoadedMicrophone const microphone(module, *renderer);
    ASSERT_NE(microphone.Get(), nullptr);
    world.Clock().AdvanceMilliSec(60);
    Frames frames;
    EXPECT_EQ(microphone.ReadFrames(frames), 0);
    EXPECT_THAT(TakeLines(log), IsEmpty());

    microphone.Start();
    // The line is where the code stands, which may move.
    auto lines = TakeLines(log);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_GT(lines[0].line, 0);
    lines[0].line = 0;
    EXPECT_THAT(lines, ElementsAre(LogLine{"Media.RendererAudioCaptureBuffer", 0, "Starting buffer capture",
                                           "media/src/rendereraudio/rendereraudiocapturebuffer",
                                           "Media::RendererAudioCaptureBuffer::StartCapture", 0}));

    // Stopping ends the buffer, and the next start makes another: neither is told.
    microphone.Stop();
    microphone.Start();
    EXPECT_THAT(TakeLines(log), IsEmpty());
}

TEST_F(Library_CaptureLog, LineLevelThreadWithoutRendererTellsSoAndEnds) {
    Media::Pipeline::SetAudioRenderer(nullptr);
    ExpectVainLineLevelThread("Failed to acquire RenderAudio instance", 229);
}

TEST_F(Library_CaptureLog, LineLevelThreadWithoutCaptureProxyTellsSoAndEnds) {
    world.Faults().FailAlways(Call_t::CaptureCreateCaptureBuffer, DSERR_GENERIC);
    ExpectVainLineLevelThread("Failed to acquire RenderAudioCaptureProxy instance", 236);
}

TEST_F(Library_CaptureLog, FailuresOfDirectSoundAreNotLogged) {
    world.Faults().Fail(Call_t::CaptureCreateCaptureBuffer, 1, DSERR_GENERIC);
    {
        LoadedMicrophone const none(module, *renderer);
        EXPECT_EQ(none.Get(), nullptr);
    }
    LoadedMicrophone const microphone(module, *renderer);
    ASSERT_NE(microphone.Get(), nullptr);
    world.Faults().Fail(Call_t::CaptureBufferGetCurrentPosition, 1, DSERR_NODRIVER);
    Frames frames;
    EXPECT_EQ(microphone.ReadFrames(frames), -120);
    EXPECT_THAT(TakeLines(log), IsEmpty());
}

} // namespace
} // namespace ContractTest
