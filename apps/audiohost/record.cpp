#include "record.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <future>
#include <optional>
#include <utility>

#include "atend.h"
#include "captureloop.h"
#include "capturereport.h"
#include "capturesummary.h"
#include "kovra/thread.h"
#include "mediafile.h"
#include "outputfile.h"
#include "progress.h"
#include "wavfile.h"

namespace AudioHost {

namespace {

constexpr std::int64_t MostRecordSamples = MostRecordSeconds * SoundRateHz;
static_assert(MostRecordSamples < WavStream::MostSamples);

/// The whole file as the pipeline would play it.
Samples ReadSound(std::string const& path) {
    RequireSound(path);
    MediaFile file(path, Kovra::SysTime(1));
    Samples sound;
    MediaFrame frame;
    while (file.ReadFrame(frame)) {
        sound.insert(sound.end(), frame.sound.begin(), frame.sound.end());
    }
    return sound;
}

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
    return options.seconds > 0.0 ? std::llround(options.seconds * SoundRateHz) : MostRecordSamples;
}

struct Ending {
    bool isComplete = false;
    std::optional<HostError> error;
};

/// Reads on a thread of its own, since writing to a slow terminal may take its time.
Ending RecordWithProgress(CaptureLoop& loop, CaptureRecorder const& recorder, std::int64_t limitSamples,
                          Surroundings const& surroundings, Kovra::JiffyTime start) {
    std::future<bool> recorded = std::async(std::launch::async, [&] {
        Kovra::SetThreadName("AudioHost.Recorder");
        Kovra::SetThreadPriority(Kovra::ThreadPriority_t::AboveNormal);
        return loop.Run(start, limitSamples);
    });
    ProgressLine line(surroundings.out, surroundings.isTerminal);
    std::chrono::milliseconds const interval(line.GetIntervalMilliSec());
    while (recorded.wait_for(interval) != std::future_status::ready) {
        line.Show(FormatCaptureProgress(recorder.GetProgress()));
    }
    line.End();
    try {
        return {recorded.get(), std::nullopt};
    } catch (HostError const& error) {
        return {false, error};
    }
}

struct Recording {
    CaptureRecord record;
    std::optional<HostError> error;
};

Recording RecordMicrophone(RecordOptions const& options, Surroundings const& surroundings,
                           CaptureAccess& capture) {
    WavFile file(options.outPath);
    // A machine without an output still has its microphone.
    surroundings.renderer.Initialize();
    AtEnd const close([&] { surroundings.renderer.Shutdown(); });
    std::shared_ptr<Microphone> const microphone = capture.Open();
    Kovra::JiffyTime const start = Kovra::JiffyTime::Now();
    if (!microphone) {
        throw HostError(ExitCode_t::NoInput, "there is no microphone, or it cannot be opened.");
    }
    CaptureRecorder recorder(!options.reportPath.empty() || !options.sentPath.empty());
    recorder.SetStart(start);
    CaptureLoop loop(*microphone, recorder, surroundings.stop,
                     [&file](SampleView sound) { file.Append(sound); });
    Ending const ending = RecordWithProgress(loop, recorder, LimitSamples(options), surroundings, start);
    Recording recording{recorder.Take(), ending.error};
    recording.record.name = FileNameOf(options.outPath);
    recording.record.isInterrupted = !ending.isComplete && !ending.error;
    recording.record.failure = ending.error ? ending.error->what() : "";
    return recording;
}

} // namespace

ExitCode_t Record(RecordOptions const& options, Surroundings const& surroundings, CaptureAccess& capture) {
    RequireOtherFile(options);
    Samples const sent = options.sentPath.empty() ? Samples() : ReadSound(options.sentPath);
    RequireWritable(options.reportPath);
    LogTo(options.logPath);
    Recording const recorded = RecordMicrophone(options, surroundings, capture);
    CaptureRecord record = recorded.record;
    if (!sent.empty() && !record.sound.empty()) {
        record.check = CheckRecording(sent, record.sound);
    }
    surroundings.out << FormatSummary(record) << std::flush;
    if (!options.reportPath.empty()) {
        WriteReport(options.reportPath, FormatReport(record), surroundings.out);
    }
    if (recorded.error) {
        throw *recorded.error;
    }
    return record.isInterrupted ? ExitCode_t::Interrupted : ExitCode_t::Ok;
}

} // namespace AudioHost
