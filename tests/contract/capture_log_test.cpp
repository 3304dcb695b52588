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
    Library_CaptureLog() : renderer_(module_) {
        EXPECT_EQ(renderer_->Initialize(), 0);
        Media::Pipeline::SetAudioRenderer(&*renderer_);
    }
    ~Library_CaptureLog() override { Media::Pipeline::SetAudioRenderer(nullptr); }

    /// A line-level thread ends without a call of its callback, and with one record: `text`, from `line`.
    void ExpectVainLineLevelThread(char const* text, int line) {
        ThreadEnd const end;
        ASSERT_TRUE(StartLevelCallbacks(module_, *renderer_, end.Watch([](float) {
            ADD_FAILURE() << "a level is reported";
            return false;
        })));
        end.Wait();
        ASSERT_EQ(log_.GetRecords().size(), 1U);
        EXPECT_EQ(log_.GetRecords()[0].threadName, "Media.RendererAudio.LineLevel");
        EXPECT_THAT(TakeLines(log_),
                    ElementsAre(LogLine{"Media.RendererAudioCaptureDevice", 0, text,
                                        "media/src/rendereraudio/rendereraudiocapturedevice",
                                        "Media::RendererAudioCaptureDevice::LineLevel", line}));
    }

    Simulation::TestWorld world_;
    UnitTest::LogCapture log_;
    LoadedModule module_;
    LoadedRenderer renderer_;
};

TEST_F(Library_CaptureLog, OnlyTheStartOfACaptureThatRunsAlreadyIsTold) {
    LoadedMicrophone const microphone(module_, *renderer_);
    ASSERT_NE(microphone.Get(), nullptr);
    world_.Clock().AdvanceMilliSec(60);
    Frames frames;
    EXPECT_EQ(microphone.ReadFrames(frames), 0);
    EXPECT_THAT(TakeLines(log_), IsEmpty());

    microphone.Start();
    // The line is where the code stands, which may move.
    auto lines = TakeLines(log_);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_GT(lines[0].line, 0);
    lines[0].line = 0;
    EXPECT_THAT(lines, ElementsAre(LogLine{"Media.RendererAudioCaptureBuffer", 0, "Starting buffer capture",
                                           "media/src/rendereraudio/rendereraudiocapturebuffer",
                                           "Media::RendererAudioCaptureBuffer::StartCapture", 0}));

    // Stopping ends the buffer, and the next start makes another: neither is told.
    microphone.Stop();
    microphone.Start();
    EXPECT_THAT(TakeLines(log_), IsEmpty());
}

TEST_F(Library_CaptureLog, LineLevelThreadWithoutRendererTellsSoAndEnds) {
    Media::Pipeline::SetAudioRenderer(nullptr);
    ExpectVainLineLevelThread("Failed to acquire RenderAudio instance", 229);
}

TEST_F(Library_CaptureLog, LineLevelThreadWithoutCaptureProxyTellsSoAndEnds) {
    world_.Faults().FailAlways(Call_t::CaptureCreateCaptureBuffer, DSERR_GENERIC);
    ExpectVainLineLevelThread("Failed to acquire RenderAudioCaptureProxy instance", 236);
}

TEST_F(Library_CaptureLog, FailuresOfDirectSoundAreNotLogged) {
    world_.Faults().Fail(Call_t::CaptureCreateCaptureBuffer, 1, DSERR_GENERIC);
    {
        LoadedMicrophone const none(module_, *renderer_);
        EXPECT_EQ(none.Get(), nullptr);
    }
    LoadedMicrophone const microphone(module_, *renderer_);
    ASSERT_NE(microphone.Get(), nullptr);
    world_.Faults().Fail(Call_t::CaptureBufferGetCurrentPosition, 1, DSERR_NODRIVER);
    Frames frames;
    EXPECT_EQ(microphone.ReadFrames(frames), -120);
    EXPECT_THAT(TakeLines(log_), IsEmpty());
}

} // namespace
} // namespace ContractTest
