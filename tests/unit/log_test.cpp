#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kovra/log.h"
#include "pipeline/pipeline.h"
#include "rendereraudiolog.h"
#include "simulation/testworld.h"
#include "support/module/builders.h"
#include "support/module/logcapture.h"
#include "support/module/rendererview.h"

namespace Media {
namespace {

using Kovra::LogLevel_t;
using Simulation::Call_t;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;

TEST(Log_Channels, AreFetchedWhenTheModuleIsLoaded) {
    EXPECT_THAT(Kovra::LogManager::Instance().GetChannels(),
                IsSupersetOf({"Kovra.ConfigItem", "Media.RendererAudio", "Media.RendererAudioCaptureBuffer",
                              "Media.RendererAudioCaptureDevice", "Media.RendererAudioCaptureProxy",
                              "Media.RendererAudioPlaybackBuffer", "Media.RendererAudioPlaybackDevice"}));
}

// --- WriteLog

TEST(Log_WriteLog, PushesOneRecordWithLevelAndArgumentsAndNoLocation) {
    UnitTest::LogCapture const log;
    WriteLog(*FetchLogger("Test.WriteLog"), LogLevel_t::Info, "%d of %u", -3, 7U);
    ASSERT_THAT(log.GetTexts(), ElementsAre("-3 of 7"));
    EXPECT_EQ(log.GetRecords()[0].channel, "Test.WriteLog");
    EXPECT_EQ(log.GetRecords()[0].level, LogLevel_t::Info);
    EXPECT_EQ(log.GetRecords()[0].file, "");
    EXPECT_EQ(log.GetRecords()[0].function, "");
}

TEST(Log_WriteLog, PushesATextWithoutArguments) {
    UnitTest::LogCapture const log;
    WriteLog(*FetchLogger("Test.WriteLog"), LogLevel_t::Debug, "playback started");
    ASSERT_THAT(log.GetTexts(), ElementsAre("playback started"));
    EXPECT_EQ(log.GetRecords()[0].level, LogLevel_t::Debug);
}

TEST(Log_WriteLog, PushesNothingWhenTheLevelIsNotWanted) {
    UnitTest::LogCapture const log;
    auto const logger = FetchLogger("Test.WriteLog.Quiet");
    Kovra::LogManager::Instance().SetLevel("Test.WriteLog.Quiet", LogLevel_t::Info);
    WriteLog(*logger, LogLevel_t::Debug, "%d", 1);
    WriteLog(*logger, LogLevel_t::Info, "%d", 2);
    Kovra::LogManager::Instance().SetLevel("Test.WriteLog.Quiet", LogLevel_t::Debug);
    EXPECT_THAT(log.GetTexts(), ElementsAre("2"));
}

/// A host's log that cannot even fail decently.
class ThrowingLog : public Kovra::LoggerFacade, public Kovra::Logger {
public:
    bool IsEnabled(LogLevel_t const& level) const override {
        if (level == LogLevel_t::Debug) {
            throw 42;
        }
        return true;
    }
    Kovra::Logger& get() const override { return const_cast<ThrowingLog&>(*this); }
    std::string const& GetChannel() const override { return channel_; }
    void Push(Kovra::LogExec const& /*record*/) override { throw 42; }

private:
    std::string const channel_;
};

TEST(Log_WriteLog, WhatTheHostsLogThrowsLosesTheRecordAndNothingElse) {
    ThrowingLog const log;
    EXPECT_NO_THROW(WriteLog(log, LogLevel_t::Info, "%d", 1));
    EXPECT_NO_THROW(WriteLog(log, LogLevel_t::Debug, "%d", 1));
    Kovra::CodeLocation const location("file", "function", 1);
    EXPECT_NO_THROW(WriteLogAt(location, log, LogLevel_t::Info, "text"));
    EXPECT_NO_THROW(WriteLogAt(location, log, LogLevel_t::Debug, "text"));
}

TEST(Log_WriteLog, LevelsHaveTheNumbersOfTheHost) {
    EXPECT_EQ(static_cast<int>(LogLevel_t::Debug), 0);
    EXPECT_EQ(static_cast<int>(LogLevel_t::Info), 1);
}

// --- who logs

TEST(Log_Life, RendererStateAndDeviceLogNothingOfTheirOwn) {
    Simulation::TestWorld world;
    UnitTest::LogCapture log;
    {
        RendererAudio renderer;
        world.Faults().Fail(Call_t::SoundEnumerate, 1, DSERR_GENERIC);
        EXPECT_EQ(renderer.Initialize(), -26);
        world.Faults().Fail(Call_t::SoundCreate8, 1, DSERR_ALLOCATED);
        EXPECT_EQ(renderer.Initialize(), -200);
        world.Faults().Fail(Call_t::SoundSetCooperativeLevel, 1, DSERR_PRIOLEVELNEEDED);
        EXPECT_EQ(UnitTest::OpenSession(renderer), nullptr);
        EXPECT_EQ(renderer.Initialize(), 0);

        auto const session = UnitTest::OpenSession(renderer);
        renderer.Divide(UnitTest::RenderJob(nullptr, nullptr, Kovra::JiffyTime::Now()));
        renderer.Divide(UnitTest::RenderJob(session, nullptr, Kovra::JiffyTime::Now()));
        world.Faults().Fail(Call_t::SoundCreateSoundBuffer, 1, DSERR_OUTOFMEMORY);
        auto const frame = UnitTest::ConstantFrame(1'000'000'000, 960, 5);
        auto const inFuture = Kovra::JiffyTime::Now().AddMilliSec(100);
        renderer.Divide(UnitTest::RenderJob(session, frame, inFuture));
        PipelineClientState_t client;
        client.volume = 0.5F;
        session->SetClientState(client);
        EXPECT_TRUE(session->UpdateClientState());
        EXPECT_THAT(log.GetTexts(), IsEmpty());

        // The buffer does: to see that the capture would have seen the others.
        renderer.Divide(UnitTest::RenderJob(session, frame, inFuture));
        ASSERT_THAT(log.GetTexts(), ElementsAre("AudioBuffer playback started"));
        EXPECT_EQ(log.GetRecords()[0].channel, "Media.RendererAudioPlaybackBuffer");
        EXPECT_EQ(log.GetRecords()[0].file, "");
        log.Clear();
        renderer.Shutdown();
    }
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

} // namespace
} // namespace Media
