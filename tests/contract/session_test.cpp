#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "loadedmodule.h"
#include "pipeline/pipeline.h"
#include "processresources.h"
#include "rendereraudio.h"
#include "simulation/testworld.h"
#include "unit/support/builders.h"

namespace ContractTest {
namespace {

constexpr std::int64_t FrameNanoSec = 20'000'000;
constexpr std::size_t FrameSamples = 960;
constexpr std::int64_t LeadMilliSec = 200;
constexpr std::int16_t Loud = 12000;

/// Submits five frames and lets them be rendered.
void PlayFrames(Media::Pipeline& pipeline, Media::Pipeline::SessionId_t session) {
    for (std::int64_t k = 0; k < 5; ++k) {
        Kovra::JiffyTime const presentation = Kovra::JiffyTime::Now().AddMilliSec(LeadMilliSec);
        pipeline.Submit(session, UnitTest::ConstantFrame((k + 1) * FrameNanoSec, FrameSamples, Loud),
                        presentation);
        pipeline.Drain();
    }
}

/// The whole life of a session, by the operations that the library exports.
void LiveOnce(Simulation::TestWorld& world) {
    LoadedModule const module;
    LoadedRenderer renderer(module);
    ASSERT_EQ(renderer->Initialize(), 0);
    {
        Media::Pipeline pipeline(*renderer, 1);
        auto const session = pipeline.OpenSession({});
        ASSERT_NE(session, Media::Pipeline::InvalidSession);
        PlayFrames(pipeline, session);
        EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
        EXPECT_EQ(world.LiveSounds(), 1U);
        pipeline.CloseSession(session);
        EXPECT_TRUE(world.LiveBuffers().empty());
    }
    renderer->Shutdown();
    EXPECT_EQ(world.LiveSounds(), 0U);
}

TEST(Library_Session, GivesEveryReferenceAndEveryHandleBack) {
    constexpr int Lives = 20;
    // The world complains by itself about references that are left when it ends. The first life brings in
    // what stays: the libraries, and what threads leave in them.
    {
        Simulation::TestWorld world;
        LiveOnce(world);
    }
    std::uint32_t const handles = CountHandles();
    std::uint32_t const threads = CountThreads();

    for (int i = 0; i < Lives; ++i) {
        Simulation::TestWorld world;
        LiveOnce(world);
    }

    EXPECT_LE(CountHandles(), handles + PassingResources);
    EXPECT_LE(CountThreads(), threads + PassingResources);
    EXPECT_FALSE(LoadedModule::IsLoaded());
}

} // namespace
} // namespace ContractTest
