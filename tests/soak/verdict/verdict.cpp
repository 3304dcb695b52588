#include "verdict/verdict.h"

#include <algorithm>

#include "ears/growth.h"
#include "support/process/processresources.h"
#include "terminal/textformat.h"

namespace Soak {

namespace {

using AudioHost::FormatCount;

constexpr char const* LossText = "packet loss";
constexpr char const* PastText = "presentation requested in the past";
constexpr char const* PlaybackThreadName = "Media.RendererAudio.Playback";

std::uint64_t CountLogged(Told const& told, std::string const& part) {
    std::uint64_t count = 0;
    for (auto const& [text, times] : told.logged) {
        count += text.find(part) != std::string::npos ? times : 0;
    }
    return count;
}

/// Appends `text` when `failed`.
void Require(std::vector<std::string>& failures, bool isMet, std::string text) {
    if (!isMet) {
        failures.push_back(std::move(text));
    }
}

void JudgeJobs(Options const& options, RunRecord const& record, std::vector<std::string>& failures) {
    Told const& told = record.told;
    std::uint64_t const expected = options.sessions * static_cast<std::uint64_t>(record.frames);
    Require(failures, told.jobs == expected,
            FormatCount(told.jobs, "frame") + " of " + std::to_string(expected) + " came back");
    Require(failures, told.succeeded == told.jobs,
            FormatCount(told.jobs - told.succeeded, "frame") + " failed");
    Require(failures, CountLogged(told, LossText) == 0,
            "the module saw losses, though every frame was handed over");
    Require(failures, CountLogged(told, PastText) <= told.overdue,
            "the module took presentations for past that were not");
}

/// With one session its breaks and steps cannot be told from the output's.
std::size_t CountBreaks(Options const& options, Findings const& findings) {
    return options.sessions == 1 ? 0 : findings.faults.own.size();
}

std::size_t CountSteps(Options const& options, Findings const& findings) {
    return options.sessions == 1 ? 0 : findings.bursts.displaced.size();
}

std::size_t CountGlitches(Options const& options, Findings const& findings) {
    return findings.bursts.missing.size() + CountSteps(options, findings) + findings.strays.size() +
           CountBreaks(options, findings);
}

void JudgeSound(Options const& options, RunRecord const& record, Findings const& findings,
                std::vector<std::string>& failures) {
    BurstVerdict const& bursts = findings.bursts;
    Require(failures, bursts.found > 0, "nothing was heard");
    if (CountGlitches(options, findings) > options.toleratedGlitches) {
        Require(failures, bursts.missing.empty(),
                FormatCount(bursts.missing.size(), "burst") + " of single sessions not heard");
        Require(failures, CountSteps(options, findings) == 0,
                FormatCount(bursts.displaced.size(), "step") + " of single sessions out of time");
        Require(failures, findings.strays.empty(),
                FormatCount(findings.strays.size(), "burst") + " where none was to be");
        Require(failures, CountBreaks(options, findings) == 0,
                FormatCount(findings.faults.own.size(), "break") + " in the sound of single sessions");
    }
    if (options.sessions > MaxWaitedSessions) {
        return;
    }
    Require(failures, findings.silencePeakLsb <= SilencePeakLsb, "sound after the end of all sessions");
    // A session whose frames came too late fell idle before them, and once more behind them.
    Require(failures,
            record.idleStopsInSilence >= options.sessions &&
                record.idleStopsInSilence <= options.sessions + record.told.overdue,
            FormatCount(record.idleStopsInSilence, "idle stop") + " of " + std::to_string(options.sessions));
}

void JudgeResources(RunRecord const& record, std::vector<std::string>& failures) {
    if (record.moments.size() < 2) {
        return;
    }
    ProcessFigures const& first = record.moments.front().figures;
    ProcessFigures const& last = record.moments.back().figures;
    Require(failures, last.handles <= first.handles + TestSupport::PassingResources,
            "handles grew from " + std::to_string(first.handles) + " to " + std::to_string(last.handles));
    Require(failures, last.threads <= first.threads + TestSupport::PassingResources,
            "threads grew from " + std::to_string(first.threads) + " to " + std::to_string(last.threads));
}

void JudgeCapture(RunRecord const& record, std::vector<std::string>& failures) {
    if (!record.captured) {
        return;
    }
    CaptureJudge const& judge = record.captured->judge;
    Require(failures, judge.GetFrames() > 0, "nothing came from the microphone");
    Require(failures, judge.GetNumberGaps() == 0,
            FormatCount(judge.GetNumberGaps(), "gap") + " in the numbers of captured frames");
    Require(failures, record.captured->failures.empty(), "reads of the microphone failed");
}

} // namespace

std::vector<std::string> ListFailures(Options const& options, RunRecord const& record,
                                      Findings const& findings) {
    std::vector<std::string> failures;
    JudgeJobs(options, record, failures);
    JudgeSound(options, record, findings, failures);
    JudgeResources(record, failures);
    JudgeCapture(record, failures);
    return failures;
}

bool IsUntold(Options const& options, Findings const& findings) {
    return options.sessions <= MaxWaitedSessions && findings.calmShare < MinCalmShare;
}

double GrowthPerHour(std::vector<Moment> const& moments, double (*quantity)(ProcessFigures const&)) {
    std::vector<Reading> readings;
    for (Moment const& moment : moments) {
        readings.push_back({moment.seconds, quantity(moment.figures)});
    }
    return FitGrowthPerHour(readings);
}

double HandlesOf(ProcessFigures const& figures) {
    return figures.handles;
}

double ThreadsOf(ProcessFigures const& figures) {
    return figures.threads;
}

double WorkingSetOf(ProcessFigures const& figures) {
    return static_cast<double>(figures.workingSetBytes);
}

double PrivateBytesOf(ProcessFigures const& figures) {
    return static_cast<double>(figures.privateBytes);
}

double PlaybackThreadShare(Moment const& from, Moment const& to) {
    auto const cpu = [](Moment const& moment) {
        auto const found = moment.figures.cpuSecondsOfThreads.find(PlaybackThreadName);
        return found == moment.figures.cpuSecondsOfThreads.end() ? 0.0 : found->second;
    };
    return to.seconds > from.seconds ? (cpu(to) - cpu(from)) / (to.seconds - from.seconds) : 0.0;
}

} // namespace Soak
