// A whole life of the renderer, once for every allocation, every lock and every call into the host's
// libraries on the thread that calls the module, with that one failing. Whatever fails: nothing is thrown
// across the module's boundary, no sound buffer is left that the device does not know, nothing is left behind
// in the end (the simulated platform says so), and the next frame sounds and the microphone is read.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "failing.h"
#include "simulation/testworld.h"
#include "support/module/life.h"
#include "support/module/logcapture.h"
#include "support/module/sweep.h"

namespace {

using Failures::Failing;
using Failures::Failure_t;

/// Lives a life in which the `nth` point fails, and tells how many there were.
std::uint64_t Live(Failure_t failure, std::uint64_t nth) {
    Simulation::TestWorld world;
    world.Device().SetRingCheck(true);
    // With a listener every record is made.
    UnitTest::LogCapture const log;
    UnitTest::Life life(world);
    std::uint64_t points = 0;
    {
        Failing const failing(failure, nth);
        life.Play();
        life.ExpectBuffersAreRegistered();
        life.Record();
        life.Reopen();
        life.ExpectBuffersAreRegistered();
        points = Failing::CountPoints();
    }
    life.ExpectAllIsWell();
    life.ExpectBuffersAreRegistered();
    life.End();
    return points;
}

struct Sweep {
    Failure_t failure;
    /// Fewer would mean that the life is not whole, or that the points are not met.
    std::uint64_t minPoints;
    char const* name;
};

class RendererAudio_FailureSweep : public testing::TestWithParam<Sweep> {};

TEST_P(RendererAudio_FailureSweep, WhateverFailsNothingEscapesAndTheNextFrameSounds) {
    std::uint64_t const points = Live(GetParam().failure, 0);
    EXPECT_GE(points, GetParam().minPoints);
    UnitTest::SweepSample sample;
    std::uint64_t lives = 0;
    for (std::uint64_t nth = 1; nth <= points && !HasFailure(); ++nth) {
        if (sample.TakesNext()) {
            SCOPED_TRACE("number " + std::to_string(nth));
            ASSERT_NO_THROW(Live(GetParam().failure, nth));
            ++lives;
        }
    }
    RecordProperty("points", static_cast<int>(points));
    RecordProperty("lives", static_cast<int>(lives));
}

TEST(PlaybackState_UpdateClientState, ThatFailsIsFalse) {
    Simulation::TestWorld world;
    Media::RendererAudio renderer;
    auto const session = UnitTest::OpenSession(renderer);
    session->SetClientState(Media::PipelineClientState_t());
    for (auto const failure : {Failure_t::HostMemory, Failure_t::HostError, Failure_t::HostOther}) {
        Failing const failing(failure, 1);
        EXPECT_FALSE(UnitTest::InModule([&] { return session->UpdateClientState(); }));
    }
    EXPECT_TRUE(session->UpdateClientState());
}

INSTANTIATE_TEST_SUITE_P(All, RendererAudio_FailureSweep,
                         testing::Values(Sweep{Failure_t::Memory, 140, "Memory"},
                                         Sweep{Failure_t::Lock, 70, "Lock"},
                                         Sweep{Failure_t::HostMemory, 200, "HostMemory"},
                                         Sweep{Failure_t::HostError, 200, "HostError"},
                                         Sweep{Failure_t::HostOther, 200, "HostOther"}),
                         [](auto const& info) { return info.param.name; });

} // namespace
