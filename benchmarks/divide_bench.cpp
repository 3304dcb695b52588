// What one frame costs the pipeline: `Divide` with a 20 ms raw frame, on the simulated DirectSound, with the
// buffer playing and the clock moving on by a frame between frames. The time includes the simulated calls.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <type_traits>

#include "kovra/log.h"
#include "rendereraudio.h"
#include "simulation/world.h"
#include "support/module/builders.h"

namespace {

// Of the thread that renders.
thread_local bool isCounting = false;
static_assert(std::is_trivially_destructible_v<decltype(isCounting)>);
thread_local std::uint64_t allocations = 0;
static_assert(std::is_trivially_destructible_v<decltype(allocations)>);

void* CountedAllocation(std::size_t size) {
    if (isCounting) {
        ++allocations;
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

constexpr std::int64_t FrameNanoSec = 20'000'000;
/// Three samples: frames this much further apart than they are long have a record each.
constexpr std::int64_t GapNanoSec = 3 * 20'833;
constexpr std::size_t FrameSamples = 960;
constexpr std::int64_t LeadMilliSec = 200;
/// Fewer than may wait for the log's thread.
constexpr std::size_t BurstFrames = 1000;
constexpr char const* LogPath = "divide_bench.log";

void DivideFrames(benchmark::State& run, std::int64_t stepNanoSec) {
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
        timestampNanoSec += stepNanoSec;

        isCounting = true;
        auto const start = std::chrono::steady_clock::now();
        renderer.Divide(job);
        auto const end = std::chrono::steady_clock::now();
        isCounting = false;

        failures += job->GetOutcome() == Media::PipelineStageJob::Outcome_t::Succeeded ? 0 : 1;
        world.Clock().Advance(stepNanoSec);
        return std::chrono::duration<double>(end - start).count();
    };
    // The first frame creates the sound buffer, the second finds it playing.
    divide();
    divide();

    allocations = 0;
    std::size_t frames = 0;
    for (auto _ : run) {
        run.SetIterationTime(divide());
        // Else it would measure what a lost record costs.
        if (++frames % BurstFrames == 0) {
            Kovra::LogManager::Instance().Flush();
        }
    }
    run.counters["allocations_per_frame"] =
        static_cast<double>(allocations) / static_cast<double>(run.iterations());
    run.counters["failed_frames"] = static_cast<double>(failures);
    renderer.Shutdown();
    session.reset();
}

void DivideRawFrame(benchmark::State& run) {
    DivideFrames(run, FrameNanoSec);
}
// A tenth of a second of frames is some hundred thousand, and much more of wall-clock time.
BENCHMARK(DivideRawFrame)->UseManualTime()->MinTime(0.1)->Unit(benchmark::kNanosecond);

/// Each frame with a record, and every record wanted by file and observer.
void DivideLoggedFrame(benchmark::State& run) {
    auto& log = Kovra::LogManager::Instance();
    std::uint64_t records = 0;
    std::uint64_t const lost = log.CountLost();
    log.SetFile(LogPath);
    log.SetObserver([&records](Kovra::LogRecord const&) { ++records; });
    DivideFrames(run, FrameNanoSec + GapNanoSec);
    log.SetObserver({});
    log.SetFile("");
    std::remove(LogPath);
    auto const perFrame = [&run](std::uint64_t count) {
        return static_cast<double>(count) / static_cast<double>(run.iterations());
    };
    run.counters["records_per_frame"] = perFrame(records);
    run.counters["lost_per_frame"] = perFrame(log.CountLost() - lost);
}
BENCHMARK(DivideLoggedFrame)->UseManualTime()->MinTime(0.1)->Unit(benchmark::kNanosecond);

} // namespace

BENCHMARK_MAIN();
