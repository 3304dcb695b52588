#include <cmath>
#include <nlohmann/json.hpp>

#include "listening/samples.h"
#include "verdict/verdict.h"

namespace Soak {

namespace {

/// In the order in which members are written down. What is not finite becomes null.
using Json = nlohmann::ordered_json;

/// To three places: what is finer is noise.
double Rounded(double value) {
    return std::round(value * 1000.0) / 1000.0;
}

Json FromHistogram(Histogram const& values) {
    return {{"count", values.GetCount()},
            {"mean", Rounded(values.GetMean())},
            {"least", Rounded(values.GetSmallest())},
            {"percent1", Rounded(values.GetPercentile(0.01))},
            {"median", Rounded(values.GetPercentile(0.5))},
            {"percent99", Rounded(values.GetPercentile(0.99))},
            {"most", Rounded(values.GetGreatest())}};
}

Json FromSpread(Spread const& spread) {
    return {{"median", Rounded(spread.median)},
            {"percent99", Rounded(spread.most99)},
            {"most", Rounded(spread.max)}};
}

Json FromFaults(std::vector<ToneFault> const& faults, RunRecord const& record) {
    Json list = Json::array();
    for (ToneFault const& fault : faults) {
        auto const at = static_cast<double>(fault.firstBlock * FrameSamples - record.originSample);
        list.push_back({{"session", fault.session},
                        {"atSeconds", Rounded(Listening::SamplesToSec(at))},
                        {"blocks", fault.blocks},
                        {"levelRatio", Rounded(fault.levelRatio)},
                        {"turn", Rounded(fault.turn)}});
    }
    return list;
}

Json FromBursts(Findings const& findings) {
    BurstVerdict const& bursts = findings.bursts;
    Json missing = Json::array();
    for (HeardBurst const& burst : bursts.missing) {
        missing.push_back({{"session", burst.session}, {"index", burst.index}});
    }
    Json displaced = Json::array();
    for (Jump const& jump : bursts.displaced) {
        displaced.push_back(
            {{"session", jump.session}, {"index", jump.index}, {"milliSec", Rounded(jump.milliSec)}});
    }
    Json strays = Json::array();
    for (StraySound const& stray : findings.strays) {
        strays.push_back({{"sample", stray.startSample},
                          {"samples", stray.samples},
                          {"session", stray.session ? Json(*stray.session) : Json()}});
    }
    return {{"expected", bursts.expected},
            {"found", bursts.found},
            {"missing", std::move(missing)},
            {"missingDisturbed", bursts.missingDisturbed},
            {"displaced", std::move(displaced)},
            {"displacedDisturbed", bursts.displacedDisturbed},
            {"stepsOfAll", bursts.stepsOfAll},
            {"strays", std::move(strays)},
            {"apartMilliSec", FromSpread(bursts.apart)},
            {"apartSettledMilliSec", FromSpread(bursts.apartSettled)},
            {"driftMilliSecPerHour", Rounded(bursts.driftMilliSecPerHour)},
            {"delayMilliSec", Rounded(bursts.delayMilliSec)},
            {"delayChangeMilliSec", Rounded(bursts.delayChangeMilliSec)}};
}

Json FromTold(Told const& told) {
    return {{"jobs", told.jobs},
            {"succeeded", told.succeeded},
            {"overdue", told.overdue},
            {"feederLateMilliSec", FromHistogram(told.feederMilliSec)},
            {"doneMilliSec", FromHistogram(told.doneMilliSec)},
            {"divideMicroSec", FromHistogram(told.renderMicroSec)},
            {"errorMilliSec", FromHistogram(told.errorMilliSec)},
            {"logged", told.logged}};
}

Json FromCaptured(Captured const& captured) {
    Json failures = Json::object();
    for (auto const& [status, times] : captured.failures) {
        failures[std::to_string(status)] = times;
    }
    return {{"frames", captured.judge.GetFrames()},
            {"seconds", Rounded(captured.seconds)},
            {"numberGaps", captured.judge.GetNumberGaps()},
            {"soundBreaks", captured.judge.GetBreaks()},
            {"faintFrames", captured.judge.GetFaintFrames()},
            {"reads", captured.reads},
            {"readsWithMoreThanOneFrame", captured.readsWithMoreThanOneFrame},
            {"failures", std::move(failures)},
            {"intervalMilliSec", FromHistogram(captured.intervalMilliSec)}};
}

Json FromMoments(std::vector<Moment> const& moments) {
    Json list = Json::array();
    for (Moment const& moment : moments) {
        list.push_back({{"seconds", Rounded(moment.seconds)},
                        {"handles", HandlesOf(moment.figures)},
                        {"threads", ThreadsOf(moment.figures)},
                        {"workingSetBytes", WorkingSetOf(moment.figures)},
                        {"privateBytes", PrivateBytesOf(moment.figures)},
                        {"cpuSeconds", Rounded(moment.figures.cpuSeconds)},
                        {"cpuSecondsOfThreads", moment.figures.cpuSecondsOfThreads}});
    }
    return list;
}

Json FromGrowth(std::vector<Moment> const& moments) {
    return {{"handles", Rounded(GrowthPerHour(moments, HandlesOf))},
            {"threads", Rounded(GrowthPerHour(moments, ThreadsOf))},
            {"workingSetBytes", Rounded(GrowthPerHour(moments, WorkingSetOf))},
            {"privateBytes", Rounded(GrowthPerHour(moments, PrivateBytesOf))}};
}

} // namespace

std::string FormatJson(Options const& options, RunRecord const& record, Findings const& findings,
                       std::vector<std::string> const& failures) {
    Json json = {
        {"sessions", options.sessions},
        {"seconds", options.seconds},
        {"leadMilliSec", options.leadMilliSec},
        {"failures", failures},
        {"bursts", FromBursts(findings)},
        {"calmShare", Rounded(findings.calmShare)},
        {"isUntold", IsUntold(options, findings)},
        {"blocksMeasured", findings.blocksMeasured},
        {"breaksOfSingleSessions", FromFaults(findings.faults.own, record)},
        {"breaksAtFrequencyChanges", findings.faults.atFrequencyChanges.size()},
        {"breaksAtCursorMoves", FromFaults(findings.faults.atCursorMoves, record)},
        {"breaksAtLateFrames", FromFaults(findings.faultsAtLateFrames, record)},
        {"breaksBesideThoseOfAll", FromFaults(findings.faults.besideCommon, record)},
        {"breaksOfAll", FromFaults(findings.faults.common, record)},
        {"outputGlitches", record.output.glitches.size()},
        {"outputWorstMilliSec", Rounded(record.output.worstMilliSec)},
        {"told", FromTold(record.told)},
        {"moments", FromMoments(record.moments)},
        {"growthPerHour", FromGrowth(record.moments)},
        {"silencePeakLsb", findings.silencePeakLsb},
        {"silenceSoundingBlocks", findings.soundingBlocks},
        {"silenceIdleStops", record.idleStopsInSilence},
        {"silencePlaybackThreadShare", Rounded(PlaybackThreadShare(record.silenceBegin, record.silenceEnd))},
        {"idleStopsAfterClosing", record.idleStopsAfterClosing},
    };
    if (record.captured) {
        json["captured"] = FromCaptured(*record.captured);
    }
    return json.dump(2) + "\n";
}

} // namespace Soak
