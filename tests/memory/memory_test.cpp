#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <vector>

#include "allocation.h"
#include "directsound/registry.h"
#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "simulation/testworld.h"
#include "support/module/capturebuffertest.h"
#include "support/module/logcapture.h"
#include "support/module/playbackbuffertest.h"

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
    Media::DirectSound::Registry<Buffer> registry(lock);
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
    EXPECT_THAT(registry.GetBuffers(boost::mutex::scoped_lock(lock)), ElementsAre(nullptr));
    EXPECT_EQ(world.OpenHandles(), 1U);
}

/// A registry whose wake event has been closed behind its back: the world complains within each SetEvent,
/// under the registry's lock, and from then on there is no memory.
class Registry_Add : public testing::Test {
protected:
    struct Buffer {};

    Registry_Add() { CloseHandle(registry.GetEvents()->front()); }

    /// Whether `buffer` could be added without memory from the wake signal on.
    bool AddsWithoutMemoryUnderTheLock(Buffer& buffer) {
        isArmed = true;
        try {
            registry.Add(buffer);
        } catch (std::bad_alloc const&) {
        }
        isArmed = false;
        bool const wasUnderTheLock = noMemory.has_value();
        noMemory.reset();
        auto const buffers = registry.GetBuffers(boost::mutex::scoped_lock(lock));
        return wasUnderTheLock && buffers.back() == &buffer;
    }

    bool isArmed = false;
    std::optional<NoMemory> noMemory;
    Simulation::World world{[this](std::string const&) {
        if (isArmed) {
            noMemory.emplace();
        }
    }};
    boost::mutex lock;
    Media::DirectSound::Registry<Buffer> registry{lock};
    Buffer first;
    Buffer second;
};

TEST_F(Registry_Add, NeedsNoMemoryUnderTheLock) {
    EXPECT_TRUE(AddsWithoutMemoryUnderTheLock(first));
    EXPECT_TRUE(AddsWithoutMemoryUnderTheLock(second));
    registry.Remove(first);
    registry.Remove(second);
}

TEST_F(Registry_Add, NeedsNoMemoryUnderTheLockWhenOthersHaveComeMeanwhile) {
    std::function<void()> addSecond = [this] {
        isArmed = false;
        registry.Add(second);
        isArmed = true;
    };
    MemoryTest::OnNextAllocation(addSecond);
    EXPECT_TRUE(AddsWithoutMemoryUnderTheLock(first));
    EXPECT_THAT(registry.GetBuffers(boost::mutex::scoped_lock(lock)), ElementsAre(nullptr, &second, &first));
    registry.Remove(first);
    registry.Remove(second);
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
