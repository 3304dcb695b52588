#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <set>
#include <vector>

#include "directsound/registry.h"
#include "failing.h"
#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "simulation/testworld.h"
#include "support/module/capturebuffertest.h"
#include "support/module/logcapture.h"
#include "support/module/modulescope.h"
#include "support/module/playbackbuffertest.h"

namespace {

using Failures::Failing;
using Failures::Failure_t;
using Failures::NoMemory;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using PlaybackBuffer_Create = UnitTest::PlaybackBufferTest;
using PlaybackBuffer_Destruction = UnitTest::PlaybackBufferTest;
using CaptureBuffer_Destruction = UnitTest::CaptureBufferTest;
using CaptureBuffer_ReadFrames = UnitTest::CaptureBufferTest;

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

TEST(Registry_Construction, WithoutMemoryLeavesNoEventBehind) {
    struct Buffer {};
    Simulation::TestWorld const world;
    boost::mutex lock;
    int failures = 0;
    for (std::uint64_t nth = 1; nth == 1 || failures == static_cast<int>(nth) - 1; ++nth) {
        Failing const failing(Failure_t::Memory, nth);
        try {
            UnitTest::InModule([&] { Media::DirectSound::Registry<Buffer> const registry(lock); });
        } catch (std::bad_alloc const&) {
            ++failures;
        }
        EXPECT_EQ(world.OpenHandles(), 0U);
    }
    EXPECT_GT(failures, 1);
}

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
    Failures::OnNextAllocation(addSecond);
    EXPECT_TRUE(AddsWithoutMemoryUnderTheLock(first));
    EXPECT_THAT(registry.GetBuffers(boost::mutex::scoped_lock(lock)), ElementsAre(nullptr, &second, &first));
    registry.Remove(first);
    registry.Remove(second);
}

TEST_F(PlaybackBuffer_Create, WithoutMemoryLeavesNoSoundBufferAndTheNextFrameMakesACleanOne) {
    auto const frame = UnitTest::ConstantFrame(Origin, 960, 100);
    std::size_t const handles = world.OpenHandles();
    std::uint64_t failures = 0;
    for (bool hasFailed = true; hasFailed;) {
        int status = 0;
        {
            Failing const failing(Failure_t::Memory, failures + 1);
            status = UnitTest::InModule([&] { return buffer->CreateSoundBuffer(frame); });
        }
        hasFailed = status != 0;
        if (hasFailed) {
            ++failures;
            EXPECT_EQ(status, -202);
            EXPECT_FALSE(buffer->HasSoundBuffer());
            EXPECT_THAT(world.LiveBuffers(), IsEmpty());
            EXPECT_EQ(world.OpenHandles(), handles);
        }
    }
    EXPECT_GT(failures, 5U);
    EXPECT_TRUE(Sound().IsSilent(0, UnitTest::RingSamples));
    EXPECT_EQ(world.OpenHandles(), handles + 1);
}

TEST_F(CaptureBuffer_ReadFrames, WithoutMemoryForTheListReadsNothingAndLosesNothing) {
    Create();
    world.Clock().AdvanceMilliSec(3 * UnitTest::FrameMilliSec);
    UnitTest::Frames frames;
    {
        Failing const failing(Failure_t::Memory, 1);
        EXPECT_EQ(UnitTest::InModule([&] { return buffer->ReadFrames(frames); }), -202);
    }
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(UnitTest::SamplesOf(*frames[0]), UnitTest::PatternFrom(0, UnitTest::FrameSamples));
}

TEST_F(CaptureBuffer_ReadFrames, AFrameWithoutMemoryIsLostWithThoseBehindIt) {
    Create();
    std::uint64_t read = 0;
    std::set<std::size_t> sizes;
    for (std::uint64_t nth = 2; sizes.count(3) == 0; ++nth) {
        world.Clock().AdvanceMilliSec(3 * UnitTest::FrameMilliSec);
        UnitTest::Frames frames;
        int status = 0;
        {
            Failing const failing(Failure_t::Memory, nth);
            status = UnitTest::InModule([&] { return buffer->ReadFrames(frames); });
        }
        EXPECT_EQ(status, frames.empty() ? -10 : 0);
        for (auto const& frame : frames) {
            // Numbers go on without a gap: the host cannot tell from them that something is lost.
            EXPECT_EQ(frame->GetIdent().sequenceNumber, read++);
        }
        sizes.insert(frames.size());
    }
    EXPECT_THAT(sizes, ElementsAre(0U, 1U, 2U, 3U));
}

// What the host gets is what the meter shows.
TEST_F(CaptureBuffer_ReadFrames, AFrameWithoutMemoryIsNotMetered) {
    world.CaptureDevice().SetGenerator([](std::uint64_t sample) {
        return static_cast<std::int16_t>(sample % 2 == 0 ? INT16_MIN : INT16_MAX);
    });
    Create();
    constexpr std::uint64_t MoreThanAReadAsksFor = 50;
    for (std::uint64_t nth = 2; buffer->GetLineLevel() == 0.0F; ++nth) {
        ASSERT_LT(nth, MoreThanAReadAsksFor);
        world.Clock().AdvanceMilliSec(UnitTest::FrameMilliSec);
        UnitTest::Frames frames;
        {
            Failing const failing(Failure_t::Memory, nth);
            UnitTest::InModule([&] { return buffer->ReadFrames(frames); });
        }
        ASSERT_EQ(buffer->GetLineLevel() == 0.0F, frames.empty());
    }
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
