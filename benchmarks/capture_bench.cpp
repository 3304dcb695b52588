// What the microphone costs its reader, on the simulated DirectSound: `ReadFrames` with five blocks of 20 ms,
// and `GetLineLevel` after new blocks. The time of `ReadFrames` includes the simulated calls and the release
// of the frames of the read before.

#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <vector>

#include "rendereraudiocapturebuffer.h"
#include "rendereraudiocapturedevice.h"
#include "rendereraudiolinelevel.h"
#include "simulation/world.h"

namespace {

constexpr std::int64_t ReadPeriodMilliSec = 100;
constexpr std::size_t BlockSamples = 960;

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void ReadFiveBlocks(benchmark::State& run) {
    Simulation::World world;
    world.CaptureDevice().SetRingCheck(false);
    world.CaptureDevice().SetGenerator([](std::uint64_t index) { return static_cast<std::int16_t>(index); });
    Media::RendererAudioCaptureDevice device;
    device.Initialize();
    Media::RendererAudioCaptureBuffer buffer(device.GetWeakFields());
    buffer.Create();
    std::vector<std::shared_ptr<Media::FrameAud>> frames;
    std::uint64_t blocks = 0;
    for (auto _ : run) {
        world.Clock().AdvanceMilliSec(ReadPeriodMilliSec);
        // The simulated microphone fills the ring here, outside the measured time.
        world.OnlyCaptureBuffer().ReadSample();
        auto const start = Clock::now();
        frames.clear();
        buffer.ReadFrames(frames);
        run.SetIterationTime(SecondsSince(start));
        blocks += frames.size();
    }
    run.counters["blocks"] = static_cast<double>(blocks) / static_cast<double>(run.iterations());
}
BENCHMARK(ReadFiveBlocks)->UseManualTime();

void GetLineLevelAfterABlock(benchmark::State& run) {
    Media::RendererAudioLineLevel lineLevel;
    std::vector<std::int16_t> block(BlockSamples, 1000);
    block.front() = -1000;
    for (auto _ : run) {
        lineLevel.MeterBlock(block.data(), 1);
        benchmark::DoNotOptimize(lineLevel.GetLevel());
    }
}
BENCHMARK(GetLineLevelAfterABlock);

void MeterBlockOf20Ms(benchmark::State& run) {
    Media::RendererAudioLineLevel lineLevel;
    std::vector<std::int16_t> block(BlockSamples, 1000);
    for (auto _ : run) {
        benchmark::DoNotOptimize(block.data());
        lineLevel.MeterBlock(block.data(), BlockSamples);
    }
}
BENCHMARK(MeterBlockOf20Ms);

} // namespace

BENCHMARK_MAIN();
