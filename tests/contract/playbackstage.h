#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "loadedmodule.h"
#include "modulecalls.h"
#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "simulation/testworld.h"
#include "support/facts.h"
#include "support/module/builders.h"
#include "support/module/logcapture.h"

namespace ContractTest {

using namespace Facts;

constexpr std::uint32_t ServiceTimeoutMilliSec = 200;

/// The shipped library with a pipeline of one worker on simulated devices. Time stands still unless the test
/// moves it; the playback thread comes round by its events and by `PassTimeout` alone.
class PlaybackStage : public testing::Test {
protected:
    using Call_t = Simulation::Call_t;
    using CallSet = Simulation::CallSet;
    using Session = Media::Pipeline::SessionId_t;
    using Outcome_t = Media::PipelineStageJob::Outcome_t;

    /// Timestamp of each session's first frame: past 2^42, and no multiple of anything.
    static constexpr std::int64_t Origin = 7'000'000'000'123;
    static constexpr std::int64_t LeadMilliSec = 200;

    PlaybackStage()
        : calls(module),
          renderer(module),
          pipeline(std::make_unique<Media::Pipeline>(
              *renderer, 1, [this](Media::Pipeline::Report_t const& report) { lastReport = report; })) {
        world.Journal().Enable();
    }
    ~PlaybackStage() override { calls.LetThreadStart(); }

    /// Opens both devices; returns when the playback thread waits for the first time.
    void Initialize() {
        ASSERT_EQ(renderer->Initialize(), 0);
        calls.LetThreadStart();
        calls.AwaitWait(1, INFINITE);
    }

    /// An open session on an initialised renderer, and nothing in journal and log.
    Session Begin() {
        Initialize();
        Session const session = pipeline->OpenSession({});
        EXPECT_NE(session, Media::Pipeline::InvalidSession);
        world.Journal().Clear();
        log.Clear();
        return session;
    }

    /// Renders a frame that is to be heard in `aheadNanoSec`, and returns what became of it.
    Media::Pipeline::Report_t RenderAhead(Session session, std::shared_ptr<Media::FrameAud> frame,
                                          std::int64_t aheadNanoSec) {
        Kovra::JiffyTime const presentation(Kovra::JiffyTime::Now().NanoSec() + aheadNanoSec);
        EXPECT_TRUE(pipeline->Submit(session, std::move(frame), presentation));
        pipeline->Drain();
        return lastReport;
    }
    Media::Pipeline::Report_t Render(Session session, std::shared_ptr<Media::FrameAud> frame,
                                     std::int64_t leadMilliSec = LeadMilliSec) {
        return RenderAhead(session, std::move(frame), leadMilliSec * NanoSecPerMilliSec);
    }

    /// 20 ms of mono sound whose timestamp lies `offsetNanoSec` behind the session's first.
    static std::shared_ptr<Media::FrameAudRaw> Frame(std::int64_t offsetNanoSec, std::int16_t value = 1000) {
        return UnitTest::ConstantFrame(Origin + offsetNanoSec, FrameSamples, value);
    }
    /// The same, to be written at ring position `position`, which is even.
    static std::shared_ptr<Media::FrameAudRaw> FrameAt(std::int64_t position, std::int16_t value = 1000) {
        return Frame(position * SampleNanoSec, value);
    }

    /// Frames 0 and 1 of a session, 20 ms apart, each heard after the lead: playback runs, and the first
    /// clearing is done. Nothing of it is left in journal and log.
    void PlayTwoFrames(Session session) {
        Render(session, Frame(0));
        world.Clock().AdvanceMilliSec(20);
        Render(session, Frame(FrameNanoSec));
        world.Journal().Clear();
        log.Clear();
    }

    /// The event of a sound buffer that has been started.
    static HANDLE EventOf(Simulation::SoundBuffer const& buffer) {
        return buffer.NotificationPoints().at(0).hEventNotify;
    }

    /// The playback thread's wait for its events ends by the timeout; returns when it waits again.
    void PassTimeout() { calls.LetWaitTimeOut(); }

    /// The calls since the last look, but for counts of references.
    std::vector<std::string> TakeCalls() {
        auto texts = world.Journal().Texts(
            CallSet::All() - CallSet{Call_t::SoundAddRef, Call_t::SoundRelease, Call_t::BufferAddRef,
                                     Call_t::BufferRelease, Call_t::NotifyAddRef, Call_t::NotifyRelease,
                                     Call_t::CaptureAddRef, Call_t::CaptureRelease});
        world.Journal().Clear();
        return texts;
    }

    /// The calls since the last look in `set`, with their interfaces.
    std::vector<std::string> TakeNames(CallSet const& set) {
        std::vector<std::string> names;
        for (auto const& record : world.Journal().Records(set)) {
            names.emplace_back(ToString(record.call));
        }
        world.Journal().Clear();
        return names;
    }

    Simulation::TestWorld world;
    UnitTest::LogCapture log;
    LoadedModule module;
    ModuleCalls calls;
    LoadedRenderer renderer;
    /// Written by the worker, read when no job is left.
    Media::Pipeline::Report_t lastReport;
    std::unique_ptr<Media::Pipeline> pipeline;
};

} // namespace ContractTest
