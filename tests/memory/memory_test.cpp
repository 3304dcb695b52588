#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <vector>

#include "allocation.h"
#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "rendereraudioregistry.h"
#include "simulation/testworld.h"
#include "support/capturebuffertest.h"
#include "support/logcapture.h"
#include "support/playbackbuffertest.h"

namespace {

using MemoryTest::NoMemory;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using PlaybackBuffer_Destruction = UnitTest::PlaybackBufferTest;
using CaptureBuffer_Destruction = UnitTest::CaptureBufferTest;

TEST(Registry_Remove, NeedsNoMemoryHoweverManyCameAndWentBefore) {
    struct Buffer {};
    Simulation::TestWorld const world;
    boost::mutex lock;
    Media::RendererAudioRegistry<Buffer> registry(lock);
    std::vector<Buffer> buffers(5);
    for (Buffer& buffer : buffers) {
        registry.Add(buffer);
    }
    registry.Remove(buffers[1]);
    registry.Add(buffers[1]);
    EXPECT_EQ(world.OpenHandles(), 6U);
    {
        NoMemory const noMemory;
        for (Buffer const& buffer : buffers) {
            registry.Remove(buffer);
        }
    }
    EXPECT_THAT(registry.GetBuffers(), ElementsAre(nullptr));
    EXPECT_EQ(world.OpenHandles(), 1U);
}

TEST_F(PlaybackBuffer_Destruction, NeedsNoMemory) {
    ASSERT_TRUE(buffer->WriteFrame(UnitTest::ConstantFrame(Origin, 960, 100)));
    auto presentation = Ahead(50 * UnitTest::NanoSecPerMilliSec);
    buffer->Present(presentation);
    ASSERT_TRUE(Sound().IsPlaying());
    std::size_t const handles = world.OpenHandles();
    world.Journal().Enable(false);
    {
        NoMemory const noMemory;
        buffer.reset();
    }
    EXPECT_EQ(world.OpenHandles(), handles - 1);
    EXPECT_THAT(world.LiveBuffers(), IsEmpty());
}

TEST_F(CaptureBuffer_Destruction, NeedsNoMemory) {
    ASSERT_EQ(buffer->Create(), 0);
    std::size_t const handles = world.OpenHandles();
    world.Journal().Enable(false);
    {
        NoMemory const noMemory;
        buffer.reset();
    }
    EXPECT_EQ(world.OpenHandles(), handles - 1);
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
}

TEST(LogManager_Push, WithoutMemoryLosesItsRecordAndNothingElse) {
    UnitTest::LogCapture const log;
    auto& manager = Kovra::LogManager::Instance();
    auto const logger = manager.GetLogger("Test.NoMemory", nullptr, std::string());
    Kovra::LogExec const record(Kovra::LogLevel_t::Info, "a text too long to need no memory of its own");
    std::uint64_t const lost = manager.CountLost();
    {
        NoMemory const noMemory;
        logger->get().Push(record);
    }
    logger->get().Push(record);
    EXPECT_EQ(manager.CountLost(), lost + 1);
    EXPECT_THAT(log.GetTexts(), UnorderedElementsAre("1 record lost, for want of time or memory",
                                                     "a text too long to need no memory of its own"));
}

} // namespace
