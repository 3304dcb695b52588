#include "commands/record.h"

#include <cmath>
#include <filesystem>

#include "commands/summaryjson.h"
#include "files/mediafile.h"
#include "files/outputfile.h"
#include "files/wavfile.h"
#include "record/take.h"
#include "report/capturereport.h"
#include "report/capturesummary.h"

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

Take RecordTake(RecordOptions const& options, Surroundings const& surroundings, CaptureAccess& capture) {
    WavFile file(options.outPath);
    bool const keepsSound = !options.reportPath.empty() || !options.sentPath.empty();
    Take take = TakeSound(surroundings, capture, keepsSound, LimitSamples(options),
                          [&file](Listening::SampleView sound) { file.Append(sound); });
    take.log.name = FileNameOf(options.outPath);
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
