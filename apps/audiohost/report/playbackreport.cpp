#include "report/playbackreport.h"

#include <algorithm>
#include <utility>

#include "listening/stats.h"
#include "page/reportpage.h"
#include "page/reportsound.h"
#include "page/thinning.h"
#include "report/hearing.h"
#include "report/judgement.h"
#include "report/playbacksummary.h"
#include "report/reportnumbers.h"

namespace AudioHost {

namespace {

constexpr std::int64_t NominalHz = 48'000;
/// The renderer's largest change of the playback frequency.
constexpr std::int64_t MaxChangeHz = 40;

std::vector<ReportFigure> Figures(PlaybackLog const& log) {
    std::uint64_t frames = 0;
    std::uint64_t failed = 0;
    std::uint64_t changes = 0;
    std::int64_t sent = 0;
    std::vector<double> errors;
    for (SessionLog const& session : log.sessions) {
        frames += session.framesSent;
        failed += session.jobsFailed;
        changes += CountEvents(session, EventKind_t::FrequencyChange);
        sent = std::max(sent, session.sentNanoSec);
        std::vector<double> const own = Listening::Magnitudes(ErrorsOf(session));
        errors.insert(errors.end(), own.begin(), own.end());
    }
    std::vector<ReportFigure> figures = {
        Figure("played", Listening::ToSec(sent), "s"),
        CountFigure("frames handed over", frames),
        CountFigure("of them failed", failed, Better_t::Less),
        Figure("median presentation error", Listening::Median(errors), "ms", Better_t::Less),
        Figure("95 % of frames within", Listening::Percentile(errors, 0.95), "ms", Better_t::Less),
        CountFigure("frequency changes", changes)};
    if (log.comparison) {
        figures.push_back(
            Figure("heard as sent", 100.0 * log.comparison->GetMatchedShare(), "%", Better_t::More));
    }
    return figures;
}

ReportSession DescribeInNumbers(SessionLog const& session) {
    std::vector<double> const errors = ErrorsOf(session);
    std::vector<double> const magnitudes = Listening::Magnitudes(errors);
    ReportSession result{session.name, session.description, {}};
    std::vector<ReportFigure>& figures = result.figures;
    if (session.durationNanoSec > 0) {
        figures.push_back(Figure("Duration of the file", Listening::ToSec(session.durationNanoSec), "s"));
    }
    figures.push_back(Figure("Handed over", Listening::ToSec(session.sentNanoSec), "s"));
    figures.push_back(CountFigure("Frames handed over", session.framesSent));
    figures.push_back(CountFigure("Jobs that succeeded", session.jobsSucceeded));
    figures.push_back(CountFigure("Jobs that failed", session.jobsFailed, Better_t::Less));
    figures.push_back(Figure("Presentation error, median of its magnitude", Listening::Median(magnitudes),
                             "ms", Better_t::Less));
    figures.push_back(Figure("Presentation error, 95th percentile", Listening::Percentile(magnitudes, 0.95),
                             "ms", Better_t::Less));
    figures.push_back(Figure("Presentation error, earliest", Listening::Percentile(errors, 0.0), "ms"));
    figures.push_back(Figure("Presentation error, latest", Listening::Percentile(errors, 1.0), "ms"));
    for (EventKind_t const kind :
         {EventKind_t::FrequencyChange, EventKind_t::DriftReset, EventKind_t::LateStop, EventKind_t::IdleStop,
          EventKind_t::PacketLoss, EventKind_t::SmallGap, EventKind_t::RateChange}) {
        figures.push_back(
            CountFigure(std::string("Log: ") + KindInWords(kind), CountEvents(session, kind),
                        kind == EventKind_t::FrequencyChange ? Better_t::Neither : Better_t::Less));
    }
    return result;
}

std::vector<ReportPart> Parts(PlaybackLog const& log) {
    std::vector<ReportPart> parts;
    for (SessionLog const& session : log.sessions) {
        parts.push_back({session.name, DescribeSession(session)});
    }
    if (log.comparison) {
        std::vector<std::string> heard = DescribeComparison(*log.comparison);
        for (std::string& sentence : DescribeHearing(log)) {
            heard.push_back(std::move(sentence));
        }
        parts.push_back({"What came out of the loudspeaker", std::move(heard)});
    }
    parts.push_back({"The output", DescribeOutput(log.output, log.leadMilliSec)});
    return parts;
}

/// A chart with a series a session, of what `get` makes of one of its `elements`.
template <class Element, class Function>
ReportChart ChartOf(PlaybackLog const& log, ReportChart chart, std::vector<Element> SessionLog::*elements,
                    Function const& get) {
    for (SessionLog const& session : log.sessions) {
        ReportSeries series{session.name, {}, {}};
        for (Element const& element : session.*elements) {
            series.timesMilliSec.push_back(ToWholeMilliSec(element.timeNanoSec));
            series.values.push_back(get(element));
        }
        chart.series.push_back(std::move(series));
    }
    return chart;
}

ReportChart FrequencyChart(PlaybackLog const& log, std::int64_t endMilliSec) {
    ReportChart chart = ChartOf(log,
                                {"frequency",
                                 "Playback frequency of the sound buffer",
                                 "Hz",
                                 1,
                                 true,
                                 NominalHz - MaxChangeHz,
                                 NominalHz + MaxChangeHz,
                                 {}},
                                &SessionLog::steps,
                                [](FrequencyStep const& step) { return static_cast<std::int64_t>(step.hz); });
    for (ReportSeries& series : chart.series) {
        // Holds to the end.
        if (!series.values.empty() && series.timesMilliSec.back() < endMilliSec) {
            series.timesMilliSec.push_back(endMilliSec);
            series.values.push_back(series.values.back());
        }
    }
    return chart;
}

bool HasValues(ReportChart const& chart) {
    return std::any_of(chart.series.begin(), chart.series.end(),
                       [](ReportSeries const& series) { return !series.values.empty(); });
}

/// A chart of what streams tell; none where everything is a file.
void AddStreamChart(PlaybackLog const& log, char const* id, char const* title, char const* unit,
                    double (*get)(StreamState const&), std::vector<ReportChart>& charts) {
    ReportChart chart =
        ChartOf(log, {id, title, unit, PerUnit, false, 0, PerUnit, {}}, &SessionLog::streamPoints,
                [get](StreamPoint const& point) { return ToThousandths(get(point.state)); });
    if (HasValues(chart)) {
        charts.push_back(std::move(chart));
    }
}

void AddStreamCharts(PlaybackLog const& log, std::vector<ReportChart>& charts) {
    auto const add = [&](char const* id, char const* title, char const* unit,
                         double (*get)(StreamState const&)) {
        AddStreamChart(log, id, title, unit, get, charts);
    };
    ReportChart arrivals = ChartOf(
        log,
        {"arrivals",
         "How long before it was due each packet of the stream came",
         "ms",
         PerUnit,
         false,
         0,
         PerUnit,
         {}},
        &SessionLog::arrivals, [](Arrival const& arrival) { return ToThousandths(arrival.spareMilliSec); });
    if (HasValues(arrivals)) {
        charts.push_back(std::move(arrivals));
    }
    add("jitter", "Jitter of the stream's packets", "ms",
        [](StreamState const& state) { return Listening::ToMilliSec(state.clock.jitterNanoSec); });
    add("loss", "Sound of the stream that is missing so far", "%",
        [](StreamState const& state) { return state.GetLossPercent(); });
    add("skew", "The sender's clock against ours, above 0 fast", "ppm",
        [](StreamState const& state) { return state.clock.skewPartsPerMillion; });
    add("lead", "Lead in use, from the earliest arrival to the sound", "ms",
        [](StreamState const& state) { return Listening::ToMilliSec(state.clock.leadNanoSec); });
}

std::vector<ReportChart> Charts(PlaybackLog const& log, std::int64_t endMilliSec) {
    std::vector<ReportChart> charts = {
        ChartOf(log,
                {"error",
                 "Presentation error: expected minus requested, above 0 late",
                 "ms",
                 PerUnit,
                 false,
                 -5 * PerUnit,
                 5 * PerUnit,
                 {}},
                &SessionLog::points,
                [](PresentationPoint const& point) { return ToThousandths(point.errorMilliSec); }),
        FrequencyChart(log, endMilliSec),
        ChartOf(
            log,
            {"renderer", "Time spent in the renderer, a frame", "ms", PerUnit, false, 0, PerUnit / 10, {}},
            &SessionLog::points,
            [](PresentationPoint const& point) { return std::llround(point.renderMicroSec); }),
        ChartOf(log, {"handover", "Lateness of the hand-over", "ms", PerUnit, false, 0, 5 * PerUnit, {}},
                &SessionLog::handOvers,
                [](HandOver const& handOver) { return ToThousandths(handOver.lateMilliSec); })};
    AddStreamCharts(log, charts);
    if (log.comparison && log.comparison->isFound) {
        ReportSeries delay;
        for (Listening::WindowMatch const& window : log.comparison->windows) {
            if (window.IsMatch()) {
                auto const middle =
                    static_cast<double>(window.sentStart + Listening::CompareWindowSamples / 2);
                delay.timesMilliSec.push_back(log.leadMilliSec +
                                              std::llround(Listening::SamplesToMilliSec(middle)));
                delay.values.push_back(ToThousandths(Listening::SamplesToMilliSec(
                    static_cast<double>(window.lag) - log.comparison->medianLagSamples)));
            }
        }
        charts.push_back({"delay",
                          "Delay as heard, against its median, above 0 late",
                          "ms",
                          PerUnit,
                          false,
                          -5 * PerUnit,
                          5 * PerUnit,
                          {std::move(delay)}});
    }
    return charts;
}

ReportHistogram ErrorHistogram(std::vector<ReportChart> const& charts) {
    std::vector<std::int64_t> values;
    for (ReportSeries const& series : charts.front().series) {
        values.insert(values.end(), series.values.begin(), series.values.end());
    }
    ReportHistogram histogram = CountInSteps(values);
    histogram.id = "error";
    histogram.title = "Presentation error of all frames";
    histogram.unit = "ms";
    histogram.perUnit = PerUnit;
    return histogram;
}

bool IsFault(EventKind_t kind) {
    return kind == EventKind_t::DriftReset || kind == EventKind_t::LateStop ||
           kind == EventKind_t::PacketLoss;
}

std::vector<ReportRecord> Records(PlaybackLog const& log) {
    std::vector<RecordToJoin> records;
    auto const add = [&records](std::vector<PlayEvent> const& events, std::optional<std::size_t> session) {
        for (PlayEvent const& event : events) {
            bool const isFault = IsFault(event.kind);
            records.push_back({{ToWholeMilliSec(event.timeNanoSec), ToWholeMilliSec(event.lastNanoSec),
                                session, isFault, KindInWords(event.kind), event.text, event.count},
                               isFault || event.kind == EventKind_t::SmallGap});
        }
    };
    for (std::size_t i = 0; i < log.sessions.size(); ++i) {
        add(log.sessions[i].events, i);
    }
    add(log.otherEvents, std::nullopt);
    for (Listening::OutputGlitch const& glitch : log.output.glitches) {
        records.push_back(
            {{ToWholeMilliSec(glitch.startNanoSec), ToWholeMilliSec(glitch.endNanoSec), std::nullopt, true,
              "glitch of the output", "The output " + FormatGlitch(glitch, log.leadMilliSec), 1},
             false});
    }
    return JoinRecords(std::move(records));
}

void AddSounds(PlaybackLog const& log, ReportModel& model, std::vector<SideFile>& files) {
    std::vector<Listening::SampleView> sounds;
    for (SessionLog const& session : log.sessions) {
        sounds.emplace_back(session.sound);
    }
    Listening::Samples const sent = Listening::MixSounds(sounds);
    if (sent.empty()) {
        return;
    }
    model.sounds.push_back(PlaySound("sent", "Sound sent, placed where it was due", sent, log.leadMilliSec,
                                     SoundFileName(log.startedAt, "sent"), files));
    if (log.heard.empty()) {
        return;
    }
    // Not found, it lies where the recorder was when playing began.
    bool const isFound = log.comparison && log.comparison->isFound;
    double const ahead = isFound ? log.comparison->medianLagSamples : static_cast<double>(log.heardBefore);
    std::int64_t const start =
        (isFound ? log.leadMilliSec : 0) - std::llround(Listening::SamplesToMilliSec(ahead));
    model.sounds.push_back(PlaySound("heard", isFound ? "Sound heard, its delay taken out" : "Sound heard",
                                     log.heard, start, SoundFileName(log.startedAt, "heard"), files));
}

std::int64_t EndMilliSec(PlaybackLog const& log) {
    std::int64_t end = 100;
    for (SessionLog const& session : log.sessions) {
        end = std::max(end, ToWholeMilliSec(session.sentNanoSec) + log.leadMilliSec);
        end =
            session.points.empty() ? end : std::max(end, ToWholeMilliSec(session.points.back().timeNanoSec));
    }
    return end;
}

} // namespace

ReportModel DescribeRun(PlaybackLog const& log, std::vector<SideFile>& files) {
    Verdict const verdict = Judge(log);
    ReportModel model;
    model.kind = "play";
    model.title = "Playback report";
    for (SessionLog const& session : log.sessions) {
        model.subject += (model.subject.empty() ? "" : ", ") + session.name;
        model.sessions.push_back(DescribeInNumbers(session));
    }
    model.startedAt = log.startedAt;
    model.grade = ToGrade(verdict.outcome);
    model.verdict = verdict.text;
    model.figures = Figures(log);
    model.parts = Parts(log);
    model.facts = log.facts;
    model.facts.emplace_back("Lead", std::to_string(log.leadMilliSec) + " ms from handing over to hearing");
    model.timeZero = "from the moment at which the first frame was handed over";
    model.endMilliSec = EndMilliSec(log);
    model.charts = Charts(log, model.endMilliSec);
    model.histograms = {ErrorHistogram(model.charts)};
    ThinOut(model.charts);
    model.records = Records(log);
    AddSounds(log, model, files);
    return model;
}

Report FormatReport(PlaybackLog const& log) {
    Report report;
    report.html = FormatReportPage(DescribeRun(log, report.files));
    return report;
}

} // namespace AudioHost
