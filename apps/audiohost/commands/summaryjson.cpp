#include "commands/summaryjson.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <nlohmann/json.hpp>
#include <vector>

#include "doctor/doctorpage.h"
#include "listening/stats.h"
#include "report/capturesummary.h"
#include "report/judgement.h"

namespace AudioHost {

namespace {

/// In the order in which members are written down. What is not finite becomes null.
using Json = nlohmann::ordered_json;

/// To three places: what is finer is noise.
double Rounded(double value) {
    return std::round(value * 1000.0) / 1000.0;
}

double SecondsOf(std::int64_t nanoSec) {
    return Rounded(static_cast<double>(nanoSec) / Listening::NanoSecPerSec);
}

double MilliSecOf(std::int64_t samples) {
    return Rounded(Listening::SamplesToMilliSec(static_cast<double>(samples)));
}

Json FromOutcome(Outcome_t outcome) {
    switch (outcome) {
        case Outcome_t::Good:
            return "good";
        case Outcome_t::OutputGlitch:
            return "output";
        case Outcome_t::Bad:
            break;
    }
    return "bad";
}

Json FromPath(std::string const& path) {
    return path.empty() ? Json() : Json(path);
}

Json Head(std::string const& command, ExitCode_t code) {
    return {{"schema", "audiohost-summary"},
            {"version", SummaryVersion},
            {"command", command},
            {"exitCode", static_cast<int>(code)}};
}

std::string Write(Json const& json) {
    // File names need not be UTF-8.
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json FromFrequencies(SessionLog const& session) {
    if (session.steps.empty()) {
        return nullptr;
    }
    auto const [least, most] =
        std::minmax_element(session.steps.begin(), session.steps.end(),
                            [](FrequencyStep const& a, FrequencyStep const& b) { return a.hz < b.hz; });
    return {{"changes", CountEvents(session, EventKind_t::FrequencyChange)},
            {"leastHz", least->hz},
            {"mostHz", most->hz}};
}

Json FromErrors(SessionLog const& session) {
    if (session.points.empty()) {
        return nullptr;
    }
    std::vector<double> const errors = Listening::Magnitudes(ErrorsOf(session));
    return {{"began", Rounded(BeginErrorMilliSec(session).value_or(0.0))},
            {"median", Rounded(Listening::Median(errors))},
            {"percent95", Rounded(Listening::Percentile(errors, 0.95))},
            {"most", Rounded(*std::max_element(errors.begin(), errors.end()))}};
}

/// What became of one of several sounds that were heard at once.
Json FromSoundInMix(Listening::SoundInMix const& sound) {
    using Hearing_t = Listening::SoundInMix::Hearing_t;
    bool const isHeard = sound.hearing == Hearing_t::Heard;
    Json missing = Json::array();
    for (Listening::SoundSpan const& span : sound.missing) {
        missing.push_back({{"atSeconds", Rounded(Listening::SamplesToSec(static_cast<double>(span.start)))},
                           {"milliSec", MilliSecOf(span.samples)}});
    }
    Json steps = Json::array();
    for (Listening::SoundInMix::Step const& step : sound.steps) {
        steps.push_back(
            {{"atSeconds", Rounded(Listening::SamplesToSec(static_cast<double>(step.within.start)))},
             {"laterMilliSec", Rounded(Listening::SamplesToMilliSec(step.samples))}});
    }
    return {{"state", isHeard                                ? "heard"
                      : sound.hearing == Hearing_t::NotHeard ? "notHeard"
                                                             : "cannotTell"},
            {"gain", isHeard ? Json(Rounded(sound.gain)) : Json()},
            {"laterThanOthersMilliSec",
             sound.lateSamples ? Json(Rounded(Listening::SamplesToMilliSec(*sound.lateSamples))) : Json()},
            {"missing", std::move(missing)},
            {"steps", std::move(steps)}};
}

/// Null of a file.
Json FromStream(SessionLog const& session) {
    if (session.streamPoints.empty()) {
        return nullptr;
    }
    StreamState const& state = session.streamPoints.back().state;
    return {{"jitterMilliSec", Rounded(Listening::ToMilliSec(state.clock.jitterNanoSec))},
            {"lossPercent", Rounded(state.GetLossPercent())},
            {"packetsLeftOut", state.leftOut},
            {"skewPpm", Rounded(state.clock.skewPartsPerMillion)},
            {"leadMilliSec", Rounded(Listening::ToMilliSec(state.clock.leadNanoSec))},
            {"breaks", state.breaks},
            {"error", state.error.empty() ? Json() : Json(state.error)}};
}

Json FromSession(SessionLog const& session) {
    return {
        {"name", session.name},
        {"description", session.description},
        {"durationSeconds", session.durationNanoSec > 0 ? Json(SecondsOf(session.durationNanoSec)) : Json()},
        {"sentSeconds", SecondsOf(session.sentNanoSec)},
        {"framesSent", session.framesSent},
        {"framesPlayed", session.jobsSucceeded},
        {"framesFailed", session.jobsFailed},
        {"errorMilliSec", FromErrors(session)},
        {"frequency", FromFrequencies(session)},
        {"stream", FromStream(session)}};
}

Json FromJumps(std::vector<Listening::TimelineJump> const& jumps) {
    Json list = Json::array();
    for (Listening::TimelineJump const& jump : jumps) {
        char const* const kind = jump.kind == Listening::TimelineJump::Kind_t::Missing    ? "missing"
                                 : jump.kind == Listening::TimelineJump::Kind_t::Repeated ? "repeated"
                                                                                          : "silence";
        list.push_back({{"kind", kind},
                        {"atSeconds", Rounded(Listening::SamplesToSec(static_cast<double>(jump.sentSample)))},
                        {"milliSec", MilliSecOf(jump.samples)}});
    }
    return list;
}

/// What nobody can tell.
Json FromAmbiguity(std::optional<Listening::Ambiguity> const& ambiguity) {
    return ambiguity ? Json{{"repeatsEveryMilliSec", MilliSecOf(ambiguity->periodSamples)},
                            {"isPlaceKnown", !ambiguity->isOfPlace}}
                     : Json();
}

Json FromComparison(Listening::SoundComparison const& comparison) {
    return {{"isFound", comparison.isFound},
            {"isTooFaint", comparison.isTooFaint},
            {"doubt", FromAmbiguity(comparison.ambiguity)},
            {"isCutOff", comparison.isCutOff},
            {"windows", comparison.windowsWithSignal},
            {"windowsMatched", comparison.windowsMatched},
            {"sentLevelDecibel", Rounded(comparison.sentLevelDecibel)},
            {"heardLevelDecibel", Rounded(comparison.heardLevelDecibel)},
            {"driftMilliSec", Rounded(Listening::SamplesToMilliSec(comparison.lagDriftSamples))},
            {"spreadMilliSec", Rounded(Listening::SamplesToMilliSec(comparison.lagSpreadSamples))},
            {"holes", comparison.holes.size()},
            {"longestHoleMilliSec", MilliSecOf(comparison.longestHole.samples)},
            {"jumps", FromJumps(comparison.jumps)}};
}

Json FromDevices(std::vector<SoundDevice> const& devices) {
    Json list = Json::array();
    for (SoundDevice const& device : devices) {
        list.push_back({{"name", device.name},
                        {"driver", device.driver},
                        {"id", device.id},
                        {"isDefault", device.IsDefault()}});
    }
    return list;
}

Json FromOutput(Listening::OutputLog const& output) {
    Json places = Json::array();
    for (Listening::OutputGlitch const& glitch : output.glitches) {
        places.push_back(
            {{"atSeconds", SecondsOf(glitch.startNanoSec)}, {"milliSec", Rounded(glitch.GetSizeMilliSec())}});
    }
    return {{"isWatched", output.isWatched},
            {"glitches", output.glitches.size()},
            {"worstMilliSec", Rounded(output.worstMilliSec)},
            {"places", std::move(places)}};
}

Json FromRate(std::optional<Rate> const& rate) {
    return rate ? Json{{"ppm", Rounded(rate->ppm)}, {"uncertaintyPpm", Rounded(rate->uncertaintyPpm)}}
                : Json();
}

Json FromVerdict(Verdict const& verdict) {
    return {{"outcome", FromOutcome(verdict.outcome)}, {"text", verdict.text}};
}

} // namespace

std::string FormatSummaryJson(PlaybackLog const& log, Findings const& findings, PlayOptions const& options,
                              ExitCode_t code) {
    Json json = Head("play", code);
    Json verdict = FromVerdict(Judge(log));
    verdict["sound"] = FromOutcome(findings.sound);
    verdict["time"] = FromOutcome(findings.time);
    verdict["level"] = findings.level ? FromOutcome(*findings.level) : Json();
    json["verdict"] = std::move(verdict);
    json["isInterrupted"] = log.isInterrupted;
    json["leadMilliSec"] = log.leadMilliSec;
    json["sessions"] = Json::array();
    for (std::size_t i = 0; i < log.sessions.size(); ++i) {
        Json session = FromSession(log.sessions[i]);
        session["heard"] = i < log.mix.size() ? FromSoundInMix(log.mix[i]) : Json();
        json["sessions"].push_back(std::move(session));
    }
    json["heard"] = log.comparison ? FromComparison(*log.comparison) : Json();
    json["output"] = FromOutput(log.output);
    json["files"] = {{"report", FromPath(options.reportPath)},
                     {"heard", FromPath(options.heardPath)},
                     {"log", FromPath(options.logPath)},
                     {"trace", FromPath(options.tracePath)},
                     {"statistics", FromPath(options.statisticsPath)}};
    return Write(json);
}

std::string FormatSummaryJson(CaptureLog const& log, RecordOptions const& options, ExitCode_t code) {
    Json json = Head("record", code);
    json["verdict"] = FromVerdict(Judge(log));
    json["isInterrupted"] = log.isInterrupted;
    json["seconds"] = Rounded(Listening::SamplesToSec(static_cast<double>(log.samples)));
    json["frames"] = log.frames;
    json["framesLost"] = log.GetFramesLost();
    json["frameNumbersMissing"] = log.numbersMissing;
    json["readsFailed"] = log.readsFailed;
    json["levelDecibel"] = Rounded(log.levelDecibel);
    json["recorded"] = log.check ? FromComparison(log.check->comparison) : Json();
    json["files"] = {{"sound", log.samples > 0 ? Json(options.outPath) : Json()},
                     {"report", FromPath(options.reportPath)},
                     {"log", FromPath(options.logPath)}};
    return Write(json);
}

std::string FormatSummaryJson(DeviceList const& list, ExitCode_t code) {
    Json json = Head("devices", code);
    json["outputs"] = FromDevices(list.outputs);
    json["inputs"] = FromDevices(list.inputs);
    return Write(json);
}

std::string FormatSummaryJson(CheckupLog const& log, ExitCode_t code) {
    Json json = Head("doctor", code);
    json["verdict"] = FromVerdict(Judge(log));
    json["isInterrupted"] = log.isInterrupted;
    json["seconds"] = SecondsOf(log.spanNanoSec);
    json["outputs"] = FromDevices(log.devices.outputs);
    json["inputs"] = FromDevices(log.devices.inputs);
    json["output"] = log.hasOutput ? FromOutput(log.output) : Json();
    json["outputRate"] = FromRate(log.outputRate);
    json["input"] = log.input.frames > 0 ? Json{{"frames", log.input.frames},
                                                {"framesLost", log.input.GetFramesLost()},
                                                {"levelDecibel", Rounded(log.input.levelDecibel)}}
                                         : Json();
    json["inputRate"] = FromRate(log.inputRate);
    json["loopbackMilliSec"] = log.loopbackMilliSec ? Json(Rounded(*log.loopbackMilliSec)) : Json();
    return Write(json);
}

std::string FormatErrorJson(std::string const& command, HostError const& error) {
    Json json = Head(command, error.GetCode());
    json["error"] = error.what();
    return Write(json);
}

ExitCode_t RunToObject(std::string const& command, std::ostream* json,
                       std::function<ExitCode_t()> const& run) {
    try {
        return run();
    } catch (HostError const& error) {
        if (json) {
            *json << FormatErrorJson(command, error);
        }
        throw;
    } catch (std::exception const& error) {
        if (json) {
            HostError const internal(ExitCode_t::Internal, std::string("internal error: ") + error.what());
            *json << FormatErrorJson(command, internal);
        }
        throw;
    }
}

} // namespace AudioHost
