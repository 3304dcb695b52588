// What the pipeline's statistics cost: a job's whole way through the pipeline, from the renderer's return to
// the pipeline's report, and the counting in it by itself; of each log record; and of one look at the figures
// of 63 sessions.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>

#include "kovra/log.h"
#include "pipeline/pipeline.h"
#ifdef BENCH_TALLY
#include "sessiontally.h"
#endif

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::int64_t FrameNanoSec = 20'000'000;
constexpr std::int64_t LeadNanoSec = 200'000'000;
constexpr int Sessions = 63;
constexpr int BatchJobs = 1000;

/// Notes when it has done nothing.
class IdleRenderer : public Media::IPipelineRenderer {
public:
    int Initialize() override { return 0; }
    void Shutdown() override {}
    bool IsEnabled() const override { return true; }
    Params_t::Type_t GetType() const override { return Params_t::Audio; }
    Params_t::SubType_t GetSubType() const override { return Params_t::System; }
    void RegisterSession(Media::PipelineSessionParams_t&,
                         boost::intrusive_ptr<Media::PipelineState>& state) override {
        state = new Media::PipelineStateExclusive;
    }
    void Divide(boost::intrusive_ptr<Media::PipelineStageRenderJob> const& job) override {
        std::int64_t const jitter = job->Params()->presentationTime.NanoSec() / FrameNanoSec % 977 * 10'000;
        job->GetPresentationTimestamp() =
            Kovra::JiffyTime(job->Params()->presentationTime.NanoSec() + jitter);
        job->Success();
        end = Clock::now();
    }

    Clock::time_point end;
};

/// Includes one reading of the clock, some twenty nanoseconds.
void ReportJob(benchmark::State& run) {
    IdleRenderer renderer;
    double seconds = 0.0;
    Media::Pipeline pipeline(renderer, 1, [&](Media::Pipeline::Report_t const&) {
        seconds += std::chrono::duration<double>(Clock::now() - renderer.end).count();
    });
    auto const session = pipeline.OpenSession({});
    std::int64_t presentation = Kovra::JiffyTime::Now().NanoSec() + LeadNanoSec;
    while (run.KeepRunningBatch(BatchJobs)) {
        seconds = 0.0;
        for (int job = 0; job < BatchJobs; ++job) {
            presentation += FrameNanoSec;
            pipeline.Submit(session, nullptr, Kovra::JiffyTime(presentation));
        }
        pipeline.Drain();
        run.SetIterationTime(seconds);
    }
}
BENCHMARK(ReportJob)->UseManualTime()->MinTime(0.1)->Unit(benchmark::kNanosecond);

/// The whole way of a job: submitted, taken by the worker, rendered in no time, counted, reported.
void PassJob(benchmark::State& run) {
    IdleRenderer renderer;
    Media::Pipeline pipeline(renderer, 1);
    auto const session = pipeline.OpenSession({});
    std::int64_t presentation = Kovra::JiffyTime::Now().NanoSec() + LeadNanoSec;
    while (run.KeepRunningBatch(BatchJobs)) {
        for (int job = 0; job < BatchJobs; ++job) {
            presentation += FrameNanoSec;
            pipeline.Submit(session, nullptr, Kovra::JiffyTime(presentation));
        }
        pipeline.Drain();
    }
}
BENCHMARK(PassJob)->UseRealTime()->MeasureProcessCPUTime()->MinTime(0.1)->Unit(benchmark::kNanosecond);

#ifdef BENCH_TALLY
/// What a job without statistics would go without.
void CountJob(benchmark::State& run) {
    Media::SessionTally tally(1);
    Media::Pipeline::Report_t report;
    report.outcome = Media::PipelineStageJob::Outcome_t::Succeeded;
    std::int64_t start = LeadNanoSec;
    for (auto _ : run) {
        start += FrameNanoSec;
        report.started = Kovra::JiffyTime(start);
        report.renderNanoSec = start / FrameNanoSec % 977 * 10;
        report.requested = Kovra::JiffyTime(start + LeadNanoSec);
        report.achieved = Kovra::JiffyTime(start + LeadNanoSec + start / FrameNanoSec % 977 * 10'000);
        tally.AddJob(report);
    }
    benchmark::DoNotOptimize(tally.Get());
}
BENCHMARK(CountJob)->MinTime(0.1)->Unit(benchmark::kNanosecond);
#endif

void TakeRecord(benchmark::State& run) {
    IdleRenderer renderer;
    Media::Pipeline pipeline(renderer, 1);
    Kovra::LogRecord record;
    record.channel = "Media.RendererAudioPlaybackBuffer";
    record.message = "AudioBuffer ignoring small gap (3 samples)";
    record.subject = pipeline.OpenSession({});
    for (auto _ : run) {
        record.time = Kovra::JiffyTime(record.time.NanoSec() + FrameNanoSec);
        pipeline.AddLog(record);
    }
}
BENCHMARK(TakeRecord)->MinTime(0.1)->Unit(benchmark::kNanosecond);

void LookAtStatistics(benchmark::State& run) {
    IdleRenderer renderer;
    Media::Pipeline pipeline(renderer, 1);
    for (int session = 0; session < Sessions; ++session) {
        pipeline.OpenSession({});
    }
    for (auto _ : run) {
        benchmark::DoNotOptimize(pipeline.GetStatistics());
    }
}
BENCHMARK(LookAtStatistics)->MinTime(0.1)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
