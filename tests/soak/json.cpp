#include <cmath>
#include <sstream>

#include "terminal/textformat.h"
#include "verdict.h"

namespace Soak {

namespace {

std::string Quote(std::string const& text) {
    std::string quoted = "\"";
    for (char const letter : text) {
        if (letter == '"' || letter == '\\') {
            quoted += '\\';
        }
        // What needs an escape of its own does not occur in our texts.
        quoted += static_cast<unsigned char>(letter) < ' ' ? ' ' : letter;
    }
    return quoted + '"';
}

std::string Number(double value) {
    return std::isfinite(value) ? AudioHost::FormatFixed(value, 3) : "null";
}

/// An object or a list in the making, one member a line.
class Json {
public:
    explicit Json(bool isList = false) : isList_(isList) {}

    Json& Add(std::string const& name, std::string const& value) {
        text_ += (text_.empty() ? "" : ",\n") + (isList_ ? "" : Quote(name) + ": ") + value;
        return *this;
    }
    Json& Add(std::string const& name, double value) { return Add(name, Number(value)); }
    Json& Add(std::string const& name, Json const& value) { return Add(name, value.Close()); }

    std::string Close() const { return isList_ ? "[" + text_ + "]" : "{" + text_ + "}"; }

private:
    bool isList_;
    std::string text_;
};

Json FromHistogram(Histogram const& values) {
    return Json()
        .Add("count", static_cast<double>(values.GetCount()))
        .Add("mean", values.GetMean())
        .Add("least", values.GetSmallest())
        .Add("percent1", values.GetPercentile(0.01))
        .Add("median", values.GetPercentile(0.5))
        .Add("percent99", values.GetPercentile(0.99))
        .Add("most", values.GetGreatest());
}

Json FromSpread(Spread const& spread) {
    return Json().Add("median", spread.median).Add("percent99", spread.most99).Add("most", spread.most);
}

Json FromFaults(std::vector<ToneFault> const& faults, RunRecord const& record) {
    Json list(true);
    for (ToneFault const& fault : faults) {
        auto const at = static_cast<double>(fault.firstBlock * FrameSamples - record.originSample);
        list.Add("", Json()
                         .Add("session", static_cast<double>(fault.session))
                         .Add("atSeconds", Listening::SamplesToSec(at))
                         .Add("blocks", static_cast<double>(fault.blocks))
                         .Add("levelRatio", static_cast<double>(fault.levelRatio))
                         .Add("turn", static_cast<double>(fault.turn)));
    }
    return list;
}

Json FromBursts(Findings const& findings) {
    BurstVerdict const& bursts = findings.bursts;
    Json missing(true);
    for (HeardBurst const& burst : bursts.missing) {
        missing.Add("", Json()
                            .Add("session", static_cast<double>(burst.session))
                            .Add("index", static_cast<double>(burst.index)));
    }
    Json displaced(true);
    for (Jump const& jump : bursts.displaced) {
        displaced.Add("", Json()
                              .Add("session", static_cast<double>(jump.session))
                              .Add("index", static_cast<double>(jump.index))
                              .Add("milliSec", jump.milliSec));
    }
    Json strays(true);
    for (StraySound const& stray : findings.strays) {
        strays.Add("", Json()
                           .Add("sample", static_cast<double>(stray.startSample))
                           .Add("samples", static_cast<double>(stray.samples))
                           .Add("session", stray.session ? static_cast<double>(*stray.session) : NAN));
    }
    return Json()
        .Add("expected", static_cast<double>(bursts.expected))
        .Add("found", static_cast<double>(bursts.found))
        .Add("missing", missing)
        .Add("missingDisturbed", static_cast<double>(bursts.missingDisturbed))
        .Add("displaced", displaced)
        .Add("displacedDisturbed", static_cast<double>(bursts.displacedDisturbed))
        .Add("stepsOfAll", static_cast<double>(bursts.stepsOfAll))
        .Add("strays", strays)
        .Add("apartMilliSec", FromSpread(bursts.apart))
        .Add("apartSettledMilliSec", FromSpread(bursts.apartSettled))
        .Add("driftMilliSecPerHour", bursts.driftMilliSecPerHour)
        .Add("delayMilliSec", bursts.delayMilliSec)
        .Add("delayChangeMilliSec", bursts.delayChangeMilliSec);
}

Json FromTold(RunRecord const& record) {
    Told const& told = record.told;
    Json logged;
    for (auto const& [text, times] : told.logged) {
        logged.Add(text, static_cast<double>(times));
    }
    return Json()
        .Add("jobs", static_cast<double>(told.jobs))
        .Add("succeeded", static_cast<double>(told.succeeded))
        .Add("overdue", static_cast<double>(told.overdue))
        .Add("feederLateMilliSec", FromHistogram(told.feederMilliSec))
        .Add("doneMilliSec", FromHistogram(told.doneMilliSec))
        .Add("divideMicroSec", FromHistogram(told.renderMicroSec))
        .Add("errorMilliSec", FromHistogram(told.errorMilliSec))
        .Add("logged", logged);
}

Json FromCaptured(Captured const& captured) {
    Json failures;
    for (auto const& [status, times] : captured.failures) {
        failures.Add(std::to_string(status), static_cast<double>(times));
    }
    return Json()
        .Add("frames", static_cast<double>(captured.judge.GetFrames()))
        .Add("seconds", captured.seconds)
        .Add("numberGaps", static_cast<double>(captured.judge.GetNumberGaps()))
        .Add("soundBreaks", static_cast<double>(captured.judge.GetBreaks()))
        .Add("faintFrames", static_cast<double>(captured.judge.GetFaintFrames()))
        .Add("reads", static_cast<double>(captured.reads))
        .Add("readsWithMoreThanOneFrame", static_cast<double>(captured.readsWithMoreThanOneFrame))
        .Add("failures", failures)
        .Add("intervalMilliSec", FromHistogram(captured.intervalMilliSec));
}

Json FromMoments(RunRecord const& record) {
    Json list(true);
    for (Moment const& moment : record.moments) {
        Json threads;
        for (auto const& [name, seconds] : moment.figures.cpuSecondsOfThreads) {
            threads.Add(name, seconds);
        }
        list.Add("", Json()
                         .Add("seconds", moment.seconds)
                         .Add("handles", HandlesOf(moment.figures))
                         .Add("threads", ThreadsOf(moment.figures))
                         .Add("workingSetBytes", WorkingSetOf(moment.figures))
                         .Add("privateBytes", PrivateBytesOf(moment.figures))
                         .Add("cpuSeconds", moment.figures.cpuSeconds)
                         .Add("cpuSecondsOfThreads", threads));
    }
    return list;
}

Json FromGrowth(RunRecord const& record) {
    return Json()
        .Add("handles", GrowthPerHour(record.moments, HandlesOf))
        .Add("threads", GrowthPerHour(record.moments, ThreadsOf))
        .Add("workingSetBytes", GrowthPerHour(record.moments, WorkingSetOf))
        .Add("privateBytes", GrowthPerHour(record.moments, PrivateBytesOf));
}

} // namespace

std::string FormatJson(Options const& options, RunRecord const& record, Findings const& findings,
                       std::vector<std::string> const& failures) {
    Json failed(true);
    for (std::string const& failure : failures) {
        failed.Add("", Quote(failure));
    }
    Json json;
    json.Add("sessions", static_cast<double>(options.sessions))
        .Add("seconds", options.seconds)
        .Add("leadMilliSec", static_cast<double>(options.leadMilliSec))
        .Add("failures", failed)
        .Add("bursts", FromBursts(findings))
        .Add("calmShare", findings.calmShare)
        .Add("blocksMeasured", static_cast<double>(findings.blocksMeasured))
        .Add("breaksOfSingleSessions", FromFaults(findings.faults.own, record))
        .Add("breaksAtFrequencyChanges", static_cast<double>(findings.faults.atFrequencyChanges.size()))
        .Add("breaksAtCursorMoves", FromFaults(findings.faults.atCursorMoves, record))
        .Add("breaksAtLateFrames", FromFaults(findings.faultsAtLateFrames, record))
        .Add("breaksBesideThoseOfAll", FromFaults(findings.faults.besideCommon, record))
        .Add("breaksOfAll", FromFaults(findings.faults.common, record))
        .Add("outputGlitches", static_cast<double>(record.output.glitches.size()))
        .Add("outputWorstMilliSec", record.output.worstMilliSec)
        .Add("told", FromTold(record))
        .Add("moments", FromMoments(record))
        .Add("growthPerHour", FromGrowth(record))
        .Add("silencePeakLsb", static_cast<double>(findings.silencePeakLsb))
        .Add("silenceSoundingBlocks", static_cast<double>(findings.soundingBlocks))
        .Add("silenceIdleStops", static_cast<double>(record.idleStopsInSilence))
        .Add("silencePlaybackThreadShare", PlaybackThreadShare(record.silenceBegin, record.silenceEnd))
        .Add("idleStopsAfterClosing", static_cast<double>(record.idleStopsAfterClosing));
    if (record.captured) {
        json.Add("captured", FromCaptured(*record.captured));
    }
    return json.Close() + "\n";
}

} // namespace Soak
