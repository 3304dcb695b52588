#include <sstream>

#include "ears/growth.h"
#include "terminal/textformat.h"
#include "verdict/verdict.h"

namespace Soak {

namespace {

using AudioHost::FormatCount;
using AudioHost::FormatFixed;
using AudioHost::FormatSigned;

constexpr double BytesPerMegabyte = 1e6;
constexpr double CaptureFrameSeconds = 0.02;

std::string FormatSpread(Spread const& spread) {
    return FormatFixed(spread.median, 1) + " / " + FormatFixed(spread.most99, 1) + " / " +
           FormatFixed(spread.max, 1) + " ms";
}

std::string FormatHistogram(Histogram const& values, char const* unit, int decimals) {
    return FormatFixed(values.GetMean(), decimals) + " " + unit + " on average, 99 % within " +
           FormatFixed(values.GetPercentile(0.99), decimals) + ", at most " +
           FormatFixed(values.GetGreatest(), decimals);
}

std::string FormatTrend(RunRecord const& record) {
    if (record.moments.back().seconds - record.moments.front().seconds < MinTrendSeconds) {
        return {};
    }
    return " (an hour: handles " + FormatSigned(GrowthPerHour(record.moments, HandlesOf), 1) + ", threads " +
           FormatSigned(GrowthPerHour(record.moments, ThreadsOf), 1) + ", working set " +
           FormatSigned(GrowthPerHour(record.moments, WorkingSetOf) / BytesPerMegabyte, 2) + " MB)";
}

void WriteHeard(BurstVerdict const& bursts, Findings const& findings, std::ostream& out) {
    out << "Heard:    " << bursts.found << " of "
        << FormatCount(static_cast<std::uint64_t>(bursts.expected), "burst") << "\n"
        << "          own:       " << bursts.missing.size() << " not heard, " << bursts.displaced.size()
        << " steps in time, " << findings.strays.size() << " where none was to be, "
        << findings.faults.own.size() << " breaks in the tones\n"
        << "          disturbed: " << bursts.missingDisturbed << " not heard, " << bursts.displacedDisturbed
        << " steps in time, " << findings.disturbedStrays.size() << " where none was to be, "
        << findings.faults.common.size() << " breaks of all tones and " << findings.faults.besideCommon.size()
        << " beside them, " << findings.faults.atCursorMoves.size() << " where the module moved the cursor, "
        << findings.faultsAtLateFrames.size() << " where a frame came too late, "
        << findings.faults.atFrequencyChanges.size() << " where the resampler comes or goes\n"
        << "          in " << findings.blocksMeasured
        << " stretches of 20 ms of a tone; steps of all: " << bursts.stepsOfAll << "\n"
        << "          sessions apart (median / 99 % / most): " << FormatSpread(bursts.apart)
        << "; settled: " << FormatSpread(bursts.apartSettled) << "; drift "
        << FormatFixed(bursts.driftMilliSecPerHour, 2) << " ms an hour\n"
        << "          output's delay " << FormatFixed(bursts.delayMilliSec, 1) << " ms, "
        << FormatSigned(bursts.delayChangeMilliSec, 1) << " ms in the end\n";
}

void WriteOutput(Listening::OutputLog const& output, std::ostream& out) {
    if (!output.isWatched) {
        return;
    }
    out << "Output:   its own cursor ";
    if (output.glitches.empty()) {
        out << "stayed within ";
    } else {
        out << "was out of step " << FormatCount(output.glitches.size(), "time") << " (first at "
            << AudioHost::FormatClock(output.glitches.front().startNanoSec) << "), by at most ";
    }
    out << FormatFixed(output.worstMilliSec, 1) << " ms\n";
}

void WriteTold(RunRecord const& record, std::ostream& out) {
    Told const& told = record.told;
    out << "Told:     " << told.jobs << " frames, " << told.jobs - told.succeeded << " failed, "
        << told.overdue << " too late for their presentation\n"
        << "          handed over late by: " << FormatHistogram(told.feederMilliSec, "ms", 1) << "\n"
        << "          until done: " << FormatHistogram(told.doneMilliSec, "ms", 1) << "\n"
        << "          one Divide: " << FormatHistogram(told.renderMicroSec, "us", 0) << "\n"
        << "          achieved minus requested: " << FormatFixed(told.errorMilliSec.GetMean(), 1)
        << " ms on average, 98 % from " << FormatFixed(told.errorMilliSec.GetPercentile(0.01), 1) << " to "
        << FormatFixed(told.errorMilliSec.GetPercentile(0.99), 1) << "\n";
    for (auto const& [text, times] : told.logged) {
        out << "          logged " << times << " x " << text << "\n";
    }
}

void WriteCaptured(Captured const& captured, std::ostream& out) {
    CaptureJudge const& judge = captured.judge;
    out << "Captured: " << judge.GetFrames() << " frames, "
        << FormatFixed(captured.seconds / CaptureFrameSeconds + 1.0, 0) << " expected by the clock; "
        << FormatCount(judge.GetNumberGaps(), "gap") << " in their numbers, "
        << FormatCount(judge.GetBreaks(), "break") << " in their sound, "
        << FormatCount(judge.GetFaintFrames(), "faint frame") << "\n"
        << "          " << captured.readsWithMoreThanOneFrame << " of " << captured.reads
        << " reads found more than one frame; between reads: "
        << FormatHistogram(captured.intervalMilliSec, "ms", 1) << "; level "
        << FormatFixed(static_cast<double>(captured.lowestLevel), 3) << " to "
        << FormatFixed(static_cast<double>(captured.highestLevel), 3) << "\n";
}

void WriteResources(RunRecord const& record, std::ostream& out) {
    if (record.moments.size() < 2) {
        return;
    }
    Moment const& first = record.moments.front();
    Moment const& last = record.moments.back();
    double const span = last.seconds - first.seconds;
    out << "Process:  handles " << first.figures.handles << " to " << last.figures.handles << ", threads "
        << first.figures.threads << " to " << last.figures.threads << ", working set "
        << FormatFixed(WorkingSetOf(first.figures) / BytesPerMegabyte, 2) << " to "
        << FormatFixed(WorkingSetOf(last.figures) / BytesPerMegabyte, 2) << " MB" << FormatTrend(record)
        << "\n"
        << "          " << FormatFixed(100.0 * (last.figures.cpuSeconds - first.figures.cpuSeconds) / span, 1)
        << " % of a core; playback thread " << FormatFixed(100.0 * PlaybackThreadShare(first, last), 2)
        << " %\n";
    for (auto const& [name, seconds] : last.figures.cpuSecondsOfThreads) {
        auto const before = first.figures.cpuSecondsOfThreads.find(name);
        double const used =
            seconds - (before == first.figures.cpuSecondsOfThreads.end() ? 0.0 : before->second);
        out << "          " << FormatFixed(100.0 * used / span, 2) << " % "
            << (name.empty() ? "threads without a name" : name) << "\n";
    }
}

void WriteSilence(RunRecord const& record, Findings const& findings, std::ostream& out) {
    out << "Silence:  " << record.idleStopsInSilence << " idle stops; peak " << findings.silencePeakLsb
        << ", sound in " << findings.soundingBlocks << " blocks of 20 ms; playback thread "
        << FormatFixed(100.0 * PlaybackThreadShare(record.silenceBegin, record.silenceEnd), 2)
        << " % of a core\n";
    if (record.isClosedToLimit) {
        out << "          " << record.idleStopsAfterClosing << " idle stops when all but "
            << MaxWaitedSessions << " sessions had been closed\n";
    }
}

} // namespace

std::string FormatWords(Options const& options, RunRecord const& record, Findings const& findings,
                        std::vector<std::string> const& failures) {
    std::ostringstream out;
    out << FormatCount(options.sessions, "session") << " for " << FormatFixed(options.seconds, 0)
        << " s, each frame handed over " << options.leadMilliSec << " ms ahead\n";
    WriteHeard(findings.bursts, findings, out);
    WriteOutput(record.output, out);
    WriteTold(record, out);
    if (record.captured) {
        WriteCaptured(*record.captured, out);
    }
    WriteResources(record, out);
    WriteSilence(record, findings, out);
    for (std::string const& failure : failures) {
        out << "FAILED:   " << failure << "\n";
    }
    char const* const well = IsUntold(options, findings) ? "this machine cannot tell" : "nothing wrong";
    out << "Verdict:  " << (failures.empty() ? well : "failed")
        << "; a glitch of a session's own could be told in the " << FormatFixed(100.0 * findings.calmShare, 1)
        << " % of the time in which the output was undisturbed\n";
    return out.str();
}

} // namespace Soak
