#include "verdict/report.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <utility>

#include "files/outputfile.h"
#include "page/reportsound.h"
#include "page/thinning.h"
#include "verdict/verdict.h"

namespace Soak {

namespace {

using AudioHost::Better_t;
using AudioHost::RecordToJoin;
using AudioHost::ReportChart;
using AudioHost::ReportModel;
using AudioHost::ReportSeries;
using Listening::MilliSecPerSec;

/// Of numbers that have decimals.
constexpr std::int64_t PerUnit = 1000;
constexpr std::uint64_t BytesPerKilobyte = 1000;
constexpr std::size_t MaxSteps = 60;

/// The words' lines, each under what it tells of: "Told:     96000 frames".
std::vector<AudioHost::ReportPart> Parts(std::string const& words) {
    std::vector<AudioHost::ReportPart> parts = {{"Run", {}}};
    std::istringstream lines(words);
    std::string line;
    while (std::getline(lines, line)) {
        std::size_t const colon = line.find(':');
        bool const isNew = colon != std::string::npos && line.find(' ') > colon;
        if (isNew) {
            parts.push_back({line.substr(0, colon), {}});
        }
        std::size_t const text = line.find_first_not_of(' ', isNew ? colon + 1 : 0);
        if (text != std::string::npos) {
            parts.back().sentences.push_back(line.substr(text) + (line.back() == ':' ? "" : ";"));
        }
    }
    for (AudioHost::ReportPart& part : parts) {
        if (!part.sentences.empty()) {
            part.sentences.back().back() = '.';
        }
    }
    return parts;
}

AudioHost::ReportFigure CountFigure(std::string const& name, std::uint64_t count, Better_t better) {
    return {name, static_cast<std::int64_t>(count), "", 1, better};
}

AudioHost::ReportFigure Figure(std::string const& name, double value, std::string const& unit,
                               Better_t better) {
    return {name, std::llround(value * static_cast<double>(PerUnit)), unit, PerUnit, better};
}

std::vector<AudioHost::ReportFigure> Figures(Options const& options, RunRecord const& record,
                                             Findings const& findings) {
    Told const& told = record.told;
    return {Figure("played", options.seconds, "s", Better_t::Neither),
            CountFigure("sessions", options.sessions, Better_t::Neither),
            CountFigure("frames", told.jobs, Better_t::Neither),
            CountFigure("of them failed", told.jobs - told.succeeded, Better_t::Less),
            CountFigure("too late", told.overdue, Better_t::Less),
            CountFigure("glitches of single sessions",
                        findings.bursts.missing.size() + findings.bursts.displaced.size() +
                            findings.strays.size() + findings.faults.own.size(),
                        Better_t::Less),
            Figure("undisturbed", 100.0 * findings.calmShare, "%", Better_t::More),
            Figure("one Divide, mean", told.renderMicroSec.GetMean(), "us", Better_t::Less),
            Figure("sessions apart, median", findings.bursts.apart.median, "ms", Better_t::Less)};
}

std::vector<AudioHost::ReportSession> Sessions(Options const& options, Findings const& findings) {
    std::vector<AudioHost::ReportSession> sessions;
    for (std::size_t i = 0; i < options.sessions; ++i) {
        auto const count = [i](auto const& list) {
            return static_cast<std::uint64_t>(
                std::count_if(list.begin(), list.end(), [i](auto const& one) { return one.session == i; }));
        };
        sessions.push_back({"session " + std::to_string(i + 1),
                            "a tone of its own pitch, and a burst of noise a period",
                            {CountFigure("Bursts not heard", count(findings.bursts.missing), Better_t::Less),
                             CountFigure("Steps in time", count(findings.bursts.displaced), Better_t::Less),
                             CountFigure("Breaks of its own", count(findings.faults.own), Better_t::Less),
                             CountFigure("Breaks where its cursor was moved",
                                         count(findings.faults.atCursorMoves), Better_t::Less)}});
    }
    return sessions;
}

/// Two points a stretch, so that both extremes show.
ReportChart CourseChart(std::string const& id, std::string const& title, std::string const& unit,
                        Course const& course, double scale) {
    ReportSeries series;
    double const step = course.GetStretchSeconds() * static_cast<double>(MilliSecPerSec);
    for (std::size_t i = 0; i < course.GetStretches().size(); ++i) {
        Course::Stretch const& stretch = course.GetStretches()[i];
        if (!stretch.isEmpty) {
            for (auto const& [share, value] : {std::pair{0.25, stretch.low}, {0.75, stretch.high}}) {
                series.timesMilliSec.push_back(std::llround((static_cast<double>(i) + share) * step));
                series.values.push_back(std::llround(value * scale * static_cast<double>(PerUnit)));
            }
        }
    }
    return {id, title, unit, PerUnit, false, 0, PerUnit, {std::move(series)}};
}

ReportChart MomentsChart(std::string const& id, std::string const& title, std::string const& unit,
                         std::vector<Moment> const& moments, double (*quantity)(ProcessFigures const&),
                         std::uint64_t perWhole) {
    ReportSeries series;
    for (Moment const& moment : moments) {
        series.timesMilliSec.push_back(std::llround(moment.seconds * static_cast<double>(MilliSecPerSec)));
        series.values.push_back(std::llround(quantity(moment.figures) / static_cast<double>(perWhole)));
    }
    bool const isCount = perWhole == 1;
    return {id, title, unit, isCount ? 1 : PerUnit, false, 0, isCount ? 1 : PerUnit, {std::move(series)}};
}

std::vector<ReportChart> Charts(RunRecord const& record) {
    constexpr double MilliSecPerMicroSec = 1e-3;
    Told const& told = record.told;
    return {
        CourseChart("error", "Presentation error of all sessions, above 0 late", "ms", told.errorCourse, 1.0),
        CourseChart("renderer", "Time spent in the renderer, a frame", "ms", told.renderCourse,
                    MilliSecPerMicroSec),
        CourseChart("handover", "Lateness of the hand-over", "ms", told.feederCourse, 1.0),
        MomentsChart("handles", "Handles of the process", "", record.moments, HandlesOf, 1),
        MomentsChart("threads", "Threads of the process", "", record.moments, ThreadsOf, 1),
        MomentsChart("memory", "Working set of the process", "MB", record.moments, WorkingSetOf,
                     BytesPerKilobyte)};
}

/// In at most `MaxSteps` steps from the first that has a value to the last.
AudioHost::ReportHistogram FromHistogram(std::string const& id, std::string const& title,
                                         std::string const& unit, Histogram const& values) {
    std::vector<std::uint64_t> const& counts = values.GetCounts();
    auto const isUsed = [](std::uint64_t count) { return count > 0; };
    auto const first = std::find_if(counts.begin(), counts.end(), isUsed);
    auto const end = std::find_if(counts.rbegin(), counts.rend(), isUsed).base();
    AudioHost::ReportHistogram histogram{id, title, unit, PerUnit, 0, 1, {}};
    if (first == counts.end()) {
        return histogram;
    }
    auto const joined =
        static_cast<std::ptrdiff_t>((static_cast<std::size_t>(end - first) + MaxSteps - 1) / MaxSteps);
    double const scale = values.GetStep() * static_cast<double>(PerUnit);
    histogram.start = std::llround(values.GetMin() * static_cast<double>(PerUnit) +
                                   static_cast<double>(first - counts.begin()) * scale);
    histogram.step = std::llround(static_cast<double>(joined) * scale);
    for (auto at = first; at < end; at += std::min(joined, end - at)) {
        std::uint64_t count = 0;
        for (auto one = at; one < at + std::min(joined, end - at); ++one) {
            count += *one;
        }
        histogram.counts.push_back(count);
    }
    return histogram;
}

/// Samples of the recording on the time axis, which begins when the first frame is handed over.
std::int64_t ToMilliSec(std::int64_t sample, Options const& options, RunRecord const& record) {
    return options.leadMilliSec +
           std::llround(Listening::SamplesToMilliSec(static_cast<double>(sample - record.originSample)));
}

class RecordList {
public:
    RecordList(Options const& options, RunRecord const& record) : options_(options), record_(record) {}

    void AddFaults(std::vector<ToneFault> const& faults, std::string const& kind, bool isOfAll) {
        for (ToneFault const& fault : faults) {
            Add(fault.firstBlock * FrameSamples, fault.blocks * FrameSamples,
                isOfAll ? std::nullopt : std::optional(fault.session), true, kind);
        }
    }

    void AddStrays(std::vector<StraySound> const& strays, std::string const& kind) {
        for (StraySound const& stray : strays) {
            Add(stray.startSample, stray.samples, stray.session, true, kind);
        }
    }

    void AddEvents() {
        for (SessionEvent const& event : record_.events) {
            char const* const kind =
                event.kind == SessionEvent::Kind_t::Frequency ? "playback frequency changed"
                : event.kind == SessionEvent::Kind_t::Cursor  ? "cursor moved, stopped or started"
                                                              : "frame came too late";
            std::int64_t const time =
                options_.leadMilliSec +
                event.time.GetDiffSysTime(record_.originTime).NanoSec() / Listening::NanoSecPerMilliSec;
            records_.push_back({{time, time, event.session, false, kind, kind, 1}, false});
        }
    }

    void AddGlitches() {
        for (Listening::OutputGlitch const& glitch : record_.output.glitches) {
            records_.push_back({{glitch.startNanoSec / Listening::NanoSecPerMilliSec,
                                 glitch.endNanoSec / Listening::NanoSecPerMilliSec, std::nullopt, true,
                                 "glitch of the output",
                                 "The output was out of step by " +
                                     std::to_string(std::lround(glitch.GetSizeMilliSec())) + " ms",
                                 1},
                                false});
        }
    }

    std::vector<AudioHost::ReportRecord> Take() { return JoinRecords(std::move(records_)); }

private:
    void Add(std::int64_t sample, std::int64_t samples, std::optional<std::size_t> session, bool isFault,
             std::string const& kind) {
        records_.push_back(
            {{ToMilliSec(sample, options_, record_), ToMilliSec(sample + samples, options_, record_), session,
              isFault, kind, kind, 1},
             false});
    }

    Options const& options_;
    RunRecord const& record_;
    std::vector<RecordToJoin> records_;
};

std::vector<AudioHost::ReportRecord> Records(Options const& options, RunRecord const& record,
                                             Findings const& findings) {
    RecordList list(options, record);
    list.AddFaults(findings.faults.own, "break of the session's own", false);
    list.AddFaults(findings.faults.atCursorMoves, "break where the cursor was moved", false);
    list.AddFaults(findings.faultsAtLateFrames, "break where a frame came too late", false);
    list.AddFaults(findings.faults.besideCommon, "break beside one of all sessions", false);
    list.AddFaults(findings.faults.common, "break of all sessions", true);
    list.AddStrays(findings.strays, "burst where none was to be");
    list.AddEvents();
    list.AddGlitches();
    return list.Take();
}

/// From the first frame's handing over on. There is no room for a long one.
void AddHeard(Options const& options, RunRecord const& record, Listening::SampleView heard,
              ReportModel& model) {
    std::int64_t const start =
        std::max<std::int64_t>(0, record.originSample - Listening::MilliSecToSamples(options.leadMilliSec));
    Listening::SampleView const sound = heard.Cut(start, static_cast<std::int64_t>(heard.GetSize()));
    bool const isShort = static_cast<std::int64_t>(sound.GetSize()) <=
                         AudioHost::MaxEmbeddedSeconds * static_cast<std::int64_t>(Listening::SoundRateHz);
    std::string const title = "Sound heard, of all sessions";
    std::vector<AudioHost::SideFile> none;
    if (!sound.IsEmpty()) {
        std::int64_t const begin = ToMilliSec(start, options, record);
        model.sounds.push_back(isShort ? PlaySound("heard", title, sound, begin, "", none)
                                       : AudioHost::ShowSound("heard", title, sound, begin));
    }
}

} // namespace

ReportModel DescribeRun(Options const& options, RunRecord const& record, Findings const& findings,
                        std::vector<std::string> const& failures, Listening::SampleView heard) {
    bool const isUntold = IsUntold(options, findings);
    ReportModel model;
    model.kind = "soak";
    model.title = "Soak report";
    model.subject = std::to_string(options.sessions) + " sessions";
    model.startedAt = record.startedAt;
    model.grade = !failures.empty() ? AudioHost::Grade_t::Bad
                  : isUntold        ? AudioHost::Grade_t::Fair
                                    : AudioHost::Grade_t::Good;
    model.verdict = !failures.empty() ? failures.front()
                    : isUntold        ? "This machine cannot tell"
                                      : "Nothing wrong";
    model.figures = Figures(options, record, findings);
    model.parts = Parts(FormatWords(options, record, findings, failures));
    model.facts = record.facts;
    model.facts.emplace_back("Lead",
                             std::to_string(options.leadMilliSec) + " ms from handing over to hearing");
    model.sessions = Sessions(options, findings);
    model.timeZero = "from the moment at which the first frame was handed over";
    model.endMilliSec = std::max<std::int64_t>(
        std::llround(options.seconds * static_cast<double>(MilliSecPerSec)) + options.leadMilliSec,
        ToMilliSec(record.endSample, options, record));
    model.charts = Charts(record);
    model.histograms = {
        FromHistogram("error", "Presentation error of all frames", "ms", record.told.errorMilliSec),
        FromHistogram("renderer", "One Divide", "us", record.told.renderMicroSec),
        FromHistogram("handover", "Lateness of the hand-over", "ms", record.told.feederMilliSec)};
    ThinOut(model.charts);
    model.records = Records(options, record, findings);
    AddHeard(options, record, heard, model);
    return model;
}

} // namespace Soak
