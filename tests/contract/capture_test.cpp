#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <mutex>
#include <vector>

#include "loadedmicrophone.h"
#include "loadedmodule.h"
#include "modulecalls.h"
#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "simulation/testworld.h"
#include "support/process/processresources.h"

namespace ContractTest {
namespace {

using Simulation::Call_t;
using Simulation::CallSet;
using testing::ElementsAre;

/// Counts the calls of a level callback.
class Listener {
public:
    LevelCallback Callback(int limit) {
        return [this, limit](float level) {
            std::lock_guard<std::mutex> const guard(lock_);
            levels_.push_back(level);
            return static_cast<int>(levels_.size()) < limit;
        };
    }
    std::vector<float> GetLevels() const {
        std::lock_guard<std::mutex> const guard(lock_);
        return levels_;
    }

private:
    mutable std::mutex lock_;
    std::vector<float> levels_;
};

TEST(Library_Capture, CallsDirectSoundInTheDocumentedOrder) {
    Simulation::TestWorld world;
    world.Journal().Enable();
    {
        LoadedModule const module;
        LoadedRenderer renderer(module);
        ASSERT_EQ(renderer->Initialize(), 0);
        {
            LoadedMicrophone const microphone(module, *renderer);
            ASSERT_NE(microphone.Get(), nullptr);
            world.Clock().AdvanceMilliSec(100);
            Frames frames;
            EXPECT_EQ(microphone.ReadFrames(frames), 0);
            EXPECT_EQ(frames.size(), 5U);
            world.Clock().AdvanceMilliSec(40);
            EXPECT_EQ(microphone.SampleLineLevel(), 0);
            microphone.Start();
            microphone.Stop();
        }
        renderer->Shutdown();
    }
    EXPECT_THAT(world.Journal().Texts(CallSet::CaptureBuffer() |
                                      CallSet{Call_t::CaptureEnumerate, Call_t::CaptureCreate8,
                                              Call_t::CaptureGetCaps, Call_t::CaptureCreateCaptureBuffer}),
                ElementsAre("DirectSoundCaptureEnumerateA()", "DirectSoundCaptureCreate8()", "GetCaps()",
                            "CreateCaptureBuffer(2147483648, 480000)", "Start(1)", "GetCurrentPosition()",
                            "Lock(0, 9600)", "Unlock(9600, 0)", "GetCurrentPosition()", "Lock(9600, 3840)",
                            "Unlock(3840, 0)", "Start(1)", "Stop()"));
}

TEST(Library_Capture, GivesTheMicrophonesFramesAndLevel) {
    Simulation::TestWorld world;
    LoadedModule const module;
    LoadedRenderer renderer(module);
    ASSERT_EQ(renderer->Initialize(), 0);
    {
        LoadedMicrophone const microphone(module, *renderer);
        ASSERT_NE(microphone.Get(), nullptr);
        EXPECT_TRUE(microphone.IsInitialized());
        EXPECT_EQ(microphone.GetLineLevel(), 0.0F);
        world.CaptureDevice().SetGenerator([](std::uint64_t index) {
            return index % 2 == 0 ? std::int16_t{INT16_MIN} : std::int16_t{INT16_MAX};
        });
        Kovra::SysTime const start = Kovra::SysTime::Now();
        world.Clock().AdvanceMilliSec(320);
        Frames frames;
        EXPECT_EQ(microphone.ReadFrames(frames), 0);
        ASSERT_EQ(frames.size(), 16U);
        EXPECT_EQ(frames[15]->GetIdent().sourceName, "Microphone");
        EXPECT_EQ(frames[15]->GetIdent().sequenceNumber, 15U);
        EXPECT_EQ(frames[15]->GetTimestamp(), start + Kovra::SysTime::FromMilliSec(300));
        EXPECT_EQ(microphone.GetLineLevel(), 1.0F);
        EXPECT_EQ(microphone.ReadFrames(frames), -30);

        microphone.Stop();
        EXPECT_EQ(microphone.ReadFrames(frames), -30);
        EXPECT_EQ(microphone.SampleLineLevel(), 0);
        EXPECT_EQ(microphone.GetLineLevel(), 0.0F);
        EXPECT_TRUE(microphone.IsInitialized());
        microphone.Start();
        world.Clock().AdvanceMilliSec(20);
        Frames again;
        EXPECT_EQ(microphone.ReadFrames(again), 0);
        ASSERT_EQ(again.size(), 1U);
        EXPECT_EQ(again[0]->GetIdent().sequenceNumber, 0U);
    }
    renderer->Shutdown();
}

TEST(Library_Capture, LevelCallbacksComeUntilTheyReturnFalse) {
    Simulation::TestWorld world;
    LoadedModule const module;
    LoadedRenderer renderer(module);
    Media::Pipeline::SetAudioRenderer(&*renderer);
    ASSERT_EQ(renderer->Initialize(), 0);
    EXPECT_FALSE(StartLevelCallbacks(module, *renderer, {}));
    Listener listener;
    ThreadEnd const end;
    ASSERT_TRUE(StartLevelCallbacks(module, *renderer, end.Watch(listener.Callback(3))));
    end.Wait();
    EXPECT_THAT(listener.GetLevels(), ElementsAre(0.0F, 0.0F, 0.0F));
    renderer->Shutdown();
    Media::Pipeline::SetAudioRenderer(nullptr);
    EXPECT_EQ(world.LiveCaptures(), 0U);
}

/// A microphone from first to last.
void RecordOnce(Simulation::TestWorld& world) {
    LoadedModule const module;
    // Fails the test when an event is not closed.
    ModuleCalls calls(module);
    LoadedRenderer renderer(module);
    ASSERT_EQ(renderer->Initialize(), 0);
    calls.LetThreadStart();
    {
        LoadedMicrophone const microphone(module, *renderer);
        ASSERT_NE(microphone.Get(), nullptr);
        world.Clock().AdvanceMilliSec(60);
        Frames frames;
        EXPECT_EQ(microphone.ReadFrames(frames), 0);
        EXPECT_EQ(frames.size(), 3U);
    }
    renderer->Shutdown();
    EXPECT_EQ(world.LiveCaptures(), 0U);
}

TEST(Library_Capture, GivesEveryReferenceAndEveryHandleBack) {
    {
        Simulation::TestWorld world;
        RecordOnce(world);
    }
    std::uint32_t const handles = TestSupport::CountHandles();
    std::uint32_t const threads = TestSupport::CountThreads();
    for (int i = 0; i < 20; ++i) {
        // The world complains by itself about references that are left when it ends.
        Simulation::TestWorld world;
        RecordOnce(world);
    }
    EXPECT_LE(TestSupport::CountHandles(), handles + TestSupport::PassingResources);
    EXPECT_LE(TestSupport::CountThreads(), threads + TestSupport::PassingResources);
}

} // namespace
} // namespace ContractTest
