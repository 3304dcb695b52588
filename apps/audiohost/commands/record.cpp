#include "commands/record.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <future>
#include <optional>
#include <utility>

#include "commands/summaryjson.h"
#include "files/mediafile.h"
#include "files/outputfile.h"
#include "files/wavfile.h"
#include "kovra/thread.h"
#include "record/captureloop.h"
#include "report/capturereport.h"
#include "report/capturesummary.h"
#include "terminal/atend.h"
#include "terminal/progressline.h"

namespace AudioHost {

namespace {

constexpr std::int64_t MaxTakeSamples = MaxTakeSeconds * Listening::SoundRateHz;
static_assert(MaxTakeSamples < WavStream::MaxSamples);

void RequireOtherFile(RecordOptions const& options) {
    std::error_code error;
    if (!options.sentPath.empty() &&
        std::filesystem::equivalent(std::filesystem::u8path(options.outPath),
                                    std::filesystem::u8path(options.sentPath), error)) {
        throw HostError(ExitCode_t::Usage,
                        "'" + options.outPath + "' is the file that was played: it would be overwritten.");
    }
}

std::int64_t LimitSamples(RecordOptions const& options) {
    return options.seconds > 0.0 ? std::llround(options.seconds * Listening::SoundRateHz) : MaxTakeSamples;
}

struct Ending {
    bool isComplete = false;
    std::optional<HostError> error;
};

/// Reads on a thread of its own, since writing to a slow terminal may take its time.
Ending RecordWithProgress(CaptureLoop& loop, CaptureLogKeeper const& keeper, std::int64_t limitSamples,
                          Surroundings const& surroundings, Kovra::JiffyTime start) {
    std::future<bool> isComplete = std::async(std::launch::async, [&] {
        Kovra::SetThreadName("AudioHost.Recorder");
        Kovra::SetThreadPriority(Kovra::ThreadPriority_t::AboveNormal);
        return loop.Run(start, limitSamples);
    });
    ProgressLine line(surroundings);
    std::chrono::milliseconds const interval(line.GetIntervalMilliSec());
    while (isComplete.wait_for(interval) != std::future_status::ready) {
        line.Show(FormatCaptureProgress(keeper.GetProgress()));
    }
    line.End();
    try {
        return {isComplete.get(), std::nullopt};
    } catch (HostError const& error) {
        return {false, error};
    }
}

struct Take {
    CaptureLog log;
    /// What broke it off.
    std::optional<HostError> error;
};

Take RecordTake(RecordOptions const& options, Surroundings const& surroundings, CaptureAccess& capture) {
    WavFile file(options.outPath);
    // A machine without an output still has its microphone.
    surroundings.renderer.Initialize();
    AtEnd const close([&] { surroundings.renderer.Shutdown(); });
    std::shared_ptr<Microphone> const microphone = capture.Open();
    Kovra::JiffyTime const start = Kovra::JiffyTime::Now();
    if (!microphone) {
        throw HostError(ExitCode_t::NoInput, "there is no microphone, or it cannot be opened.");
    }
    CaptureLogKeeper keeper(!options.reportPath.empty() || !options.sentPath.empty());
    keeper.SetStart(start);
    CaptureLoop loop(*microphone, keeper, surroundings.stop,
                     [&file](Listening::SampleView sound) { file.Append(sound); });
    Ending const ending = RecordWithProgress(loop, keeper, LimitSamples(options), surroundings, start);
    Take take{keeper.Take(), ending.error};
    take.log.name = FileNameOf(options.outPath);
    take.log.isInterrupted = !ending.isComplete && !ending.error;
    take.log.failure = ending.error ? ending.error->what() : "";
    return take;
}

ExitCode_t CodeOf(CaptureLog const& log, FailOn const& failOn) {
    if (log.isInterrupted) {
        return ExitCode_t::Interrupted;
    }
    bool const isGood = !failOn.sound || Judge(log).outcome == Outcome_t::Good;
    return isGood ? ExitCode_t::Ok : ExitCode_t::WentBadly;
}

} // namespace

ExitCode_t Record(RecordOptions const& options, Surroundings const& surroundings, CaptureAccess& capture) {
    RequireOtherFile(options);
    Listening::Samples sent;
    if (!options.sentPath.empty()) {
        RequireSound(options.sentPath);
        sent = ReadSound(options.sentPath);
    }
    RequireWritable(options.reportPath);
    LogTo(options.logPath);
    Take take = RecordTake(options, surroundings, capture);
    CaptureLog& log = take.log;
    if (!sent.empty() && !log.sound.empty()) {
        log.check = Listening::CheckTake(sent, log.sound);
    }
    surroundings.out << FormatSummary(log) << std::flush;
    if (log.samples > 0) {
        surroundings.out << "Recorded: " << options.outPath << std::endl;
    }
    if (!options.reportPath.empty()) {
        log.facts = surroundings.describe();
        WriteReport(options.reportPath, FormatReport(log), surroundings.out);
    }
    if (take.error) {
        throw *take.error;
    }
    ExitCode_t const code = CodeOf(log, options.failOn);
    if (surroundings.json) {
        *surroundings.json << FormatSummaryJson(log, options, code) << std::flush;
    }
    return code;
}

} // namespace AudioHost
