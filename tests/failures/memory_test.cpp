#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <vector>

#include "directsound/registry.h"
#include "failing.h"
#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "simulation/testworld.h"
#include "support/module/capturebuffertest.h"
#include "support/module/logcapture.h"
#include "support/module/playbackbuffertest.h"

namespace {

using Failures::NoMemory;
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

    Registry_Add() { CloseHandle(registry_.GetEvents()->front()); }

    /// Whether `buffer` could be added without memory from the wake signal on.
    bool AddsWithoutMemoryUnderTheLock(Buffer& buffer) {
        isArmed_ = true;
        try {
            registry_.Add(buffer);
        } catch (std::bad_alloc const&) {
        }
        isArmed_ = false;
        bool const wasUnderTheLock = noMemory_.has_value();
        noMemory_.reset();
        auto const buffers = registry_.GetBuffers(boost::mutex::scoped_lock(lock_));
        return wasUnderTheLock && buffers.back() == &buffer;
    }

    bool isArmed_ = false;
    std::optional<NoMemory> noMemory_;
    Simulation::World world_{[this](std::string const&) {
        if (isArmed_) {
            noMemory_.emplace();
        }
    }};
    boost::mutex lock_;
    Media::DirectSound::Registry<Buffer> registry_{lock_};
    Buffer first_;
    Buffer second_;
};

TEST_F(Registry_Add, NeedsNoMemoryUnderTheLock) {
    EXPECT_TRUE(AddsWithoutMemoryUnderTheLock(first_));
    EXPECT_TRUE(AddsWithoutMemoryUnderTheLock(second_));
    registry_.Remove(first_);
    registry_.Remove(second_);
}

TEST_F(Registry_Add, NeedsNoMemoryUnderTheLockWhenOthersHaveComeMeanwhile) {
    std::function<void()> addSecond = [this] {
        isArmed_ = false;
        registry_.Add(second_);
        isArmed_ = true;
    };
    Failures::OnNextAllocation(addSecond);
    EXPECT_TRUE(AddsWithoutMemoryUnderTheLock(first_));
    EXPECT_THAT(registry_.GetBuffers(boost::mutex::scoped_lock(lock_)),
                ElementsAre(nullptr, &second_, &first_));
    registry_.Remove(first_);
    registry_.Remove(second_);
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
