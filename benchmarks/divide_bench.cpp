// What one frame costs the pipeline: `Divide` with a 20 ms raw frame, on the simulated DirectSound, with the
// buffer playing and the clock moving on by 20 ms between frames. The time includes the simulated calls.

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>

#include "rendereraudio.h"
#include "simulation/world.h"
#include "support/builders.h"

namespace {

std::atomic<bool> isCounting{false};
std::atomic<std::uint64_t> allocations{0};

void* CountedAllocation(std::size_t size) {
    if (isCounting.load(std::memory_order_relaxed)) {
        allocations.fetch_add(1, std::memory_order_relaxed);
    }
    if (void* const block = std::malloc(size == 0 ? 1 : size)) {
        return block;
    }
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size) {
    return CountedAllocation(size);
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
    std::free(block);
}

namespace {

constexpr std::int64_t FrameMilliSec = 20;
constexpr std::size_t FrameSamples = 960;
constexpr std::int64_t LeadMilliSec = 200;

void DivideRawFrame(benchmark::State& run) {
    Simulation::World world;
    world.Device().SetRingCheck(false);
    Media::RendererAudio renderer;
    renderer.Initialize();
    Media::PipelineSessionParams_t params;
    boost::intrusive_ptr<Media::PipelineState> session;
    renderer.RegisterSession(params, session);

    std::int64_t timestampNanoSec = Simulation::ManualClock::StartSystemNanoSec;
    std::uint64_t failures = 0;
    auto const divide = [&] {
        auto const job =
            UnitTest::RenderJob(session, UnitTest::ConstantFrame(timestampNanoSec, FrameSamples, 1000),
                                Kovra::JiffyTime::Now().AddMilliSec(LeadMilliSec));
        timestampNanoSec += FrameMilliSec * UnitTest::NanoSecPerMilliSec;

        isCounting.store(true, std::memory_order_relaxed);
        auto const start = std::chrono::steady_clock::now();
        renderer.Divide(job);
        auto const end = std::chrono::steady_clock::now();
        isCounting.store(false, std::memory_order_relaxed);

        failures += job->GetOutcome() == Media::PipelineStageJob::Outcome_t::Succeeded ? 0 : 1;
        world.Clock().AdvanceMilliSec(FrameMilliSec);
        return std::chrono::duration<double>(end - start).count();
    };
    // The first frame creates the sound buffer, the second finds it playing.
    divide();
    divide();

    allocations = 0;
    for (auto _ : run) {
        run.SetIterationTime(divide());
    }
    run.counters["allocations_per_frame"] =
        static_cast<double>(allocations.load()) / static_cast<double>(run.iterations());
    run.counters["failed_frames"] = static_cast<double>(failures);
    renderer.Shutdown();
    session.reset();
}
// A tenth of a second of frames is some hundred thousand, and much more of wall-clock time.
BENCHMARK(DivideRawFrame)->UseManualTime()->MinTime(0.1)->Unit(benchmark::kNanosecond);

} // namespace

BENCHMARK_MAIN();
