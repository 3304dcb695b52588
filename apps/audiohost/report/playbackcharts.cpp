#include "report/playbackcharts.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "listening/soundlevel.h"
#include "listening/stats.h"
#include "report/reportparts.h"
#include "report/svgplot.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

constexpr char const* TimeLabel = "Time since the first frame was handed over (s)";
/// More notes than these would be a wall of text; the table has them all.
constexpr std::size_t MaxNotes = 30;

double ToSec(std::int64_t nanoSec) {
    return static_cast<double>(nanoSec) / Listening::NanoSecPerSec;
}

/// What all pictures share.
struct Scene {
    PlaybackLog const& log;
    PlotRange seconds;
    Listening::Samples sent;
    /// When the first sample is due.
    double soundStart = 0.0;
};

Scene Survey(PlaybackLog const& log) {
    Scene scene{log, {0.0, 0.0}, {}, static_cast<double>(log.leadMilliSec) / Listening::MilliSecPerSec};
    std::vector<Listening::SampleView> sounds;
    std::int64_t end = 0;
    for (SessionLog const& session : log.sessions) {
        sounds.emplace_back(session.sound);
        end = std::max(end, session.sentNanoSec);
    }
    scene.sent = Listening::MixSounds(sounds);
    scene.seconds.max = std::max(0.1, ToSec(end) + scene.soundStart);
    return scene;
}

std::vector<LegendEntry> SessionLegend(PlaybackLog const& log) {
    std::vector<LegendEntry> legend;
    for (std::size_t i = 0; log.sessions.size() > 1 && i < log.sessions.size(); ++i) {
        legend.push_back({log.sessions[i].name, i});
    }
    return legend;
}

/// Events worth a line through the pictures: those that a listener may hear.
void AddMarks(Scene const& scene, SvgPlot& plot) {
    for (SessionLog const& session : scene.log.sessions) {
        for (EventGroup const& group : GroupEvents(session.events)) {
            if (group.kind != EventKind_t::SmallGap && group.kind != EventKind_t::FrequencyChange) {
                plot.AddMark(ToSec(group.firstNanoSec), KindInWords(group.kind),
                             group.kind != EventKind_t::Started);
            }
        }
    }
}

std::string Waveform(Scene const& scene, std::string const& title, Listening::SampleView sound, double start,
                     double scale, std::size_t series) {
    SvgPlot plot(title, WaveHeight, scene.seconds, {-scale, scale});
    plot.AddAxes(TimeLabel, AmplitudeLabel, TimeTicks, std::vector<double>{-scale, 0.0, scale});
    plot.AddEnvelope(sound, start, series);
    AddMarks(scene, plot);
    return Figure(title, {}, plot.Finish());
}

std::string Waveforms(Scene const& scene) {
    if (scene.sent.empty()) {
        return "";
    }
    bool const hasHeard = scene.log.comparison && scene.log.comparison->isFound;
    double const scale =
        WaveScale(std::max(Listening::Peak(scene.sent), hasHeard ? Listening::Peak(scene.log.heard) : 0));
    std::string html =
        Waveform(scene, "Sound sent, placed where it was due", scene.sent, scene.soundStart, scale, 0);
    if (hasHeard) {
        double const start =
            scene.soundStart - Listening::SamplesToSec(scene.log.comparison->medianLagSamples);
        html += Waveform(scene, "Sound heard, its delay taken out", scene.log.heard, start, scale, 1);
    }
    return html;
}

/// A range around 0 that holds almost all of `values`, and single outliers only up to its edge.
PlotRange RangeAround(std::vector<double> const& values, double min) {
    double const limit = std::max(min, 1.25 * Listening::Percentile(Listening::Magnitudes(values), 0.995));
    return {-limit, limit};
}

std::string DelayHeard(Scene const& scene) {
    if (!scene.log.comparison || !scene.log.comparison->isFound) {
        return "";
    }
    Listening::SoundComparison const& comparison = *scene.log.comparison;
    std::vector<PlotPoint> points;
    std::vector<double> values;
    for (Listening::WindowMatch const& window : comparison.windows) {
        if (window.IsMatch()) {
            double const middle = static_cast<double>(window.sentStart + Listening::CompareWindowSamples / 2);
            double const lag = static_cast<double>(window.lag) - comparison.medianLagSamples;
            values.push_back(Listening::SamplesToMilliSec(lag));
            points.push_back({scene.soundStart + Listening::SamplesToSec(middle), values.back()});
        }
    }
    SvgPlot plot("Delay as heard", ChartHeight, scene.seconds, RangeAround(values, 5.0));
    plot.AddAxes(TimeLabel, "Delay (ms)", TimeTicks, 4);
    AddMarks(scene, plot);
    plot.AddLine(points, 1);
    return Figure("Delay as heard, against its median (above 0: late)", {}, plot.Finish());
}

std::string PresentationError(Scene const& scene) {
    std::vector<double> values;
    for (SessionLog const& session : scene.log.sessions) {
        std::vector<double> const errors = ErrorsOf(session);
        values.insert(values.end(), errors.begin(), errors.end());
    }
    SvgPlot plot("Presentation error over time", ChartHeight, scene.seconds, RangeAround(values, 5.0));
    plot.AddAxes(TimeLabel, "Error (ms)", TimeTicks, 4);
    AddMarks(scene, plot);
    for (std::size_t i = 0; i < scene.log.sessions.size(); ++i) {
        std::vector<PlotPoint> points;
        for (PresentationPoint const& point : scene.log.sessions[i].points) {
            points.push_back({ToSec(point.timeNanoSec), point.errorMilliSec});
        }
        plot.AddLine(points, i);
    }
    return Figure("Presentation error: expected minus requested (above 0: late)", SessionLegend(scene.log),
                  plot.Finish());
}

std::string PlaybackFrequency(Scene const& scene) {
    SvgPlot plot("Playback frequency over time", ChartHeight - 30.0, scene.seconds, {47940.0, 48060.0});
    plot.AddAxes(TimeLabel, "Frequency (Hz)", TimeTicks, std::vector<double>{47960.0, 48000.0, 48040.0});
    AddMarks(scene, plot);
    for (std::size_t i = 0; i < scene.log.sessions.size(); ++i) {
        std::vector<PlotPoint> points;
        for (FrequencyStep const& step : scene.log.sessions[i].steps) {
            points.push_back({ToSec(step.timeNanoSec), static_cast<double>(step.hz)});
        }
        plot.AddSteps(points, std::min(ToSec(scene.log.sessions[i].sentNanoSec), scene.seconds.max), i);
    }
    return Figure("Playback frequency of the sound buffer", SessionLegend(scene.log), plot.Finish());
}

std::string LogEvents(Scene const& scene) {
    std::vector<PlotNote> notes;
    auto const add = [&](std::vector<PlayEvent> const& events, std::size_t series) {
        for (EventGroup const& group : GroupEvents(events)) {
            double const from = ToSec(group.firstNanoSec);
            if (from <= scene.seconds.max) {
                std::string const count = group.count > 1 ? " \xC3\x97 " + std::to_string(group.count) : "";
                notes.push_back({from, std::min(ToSec(group.lastNanoSec), scene.seconds.max),
                                 group.text + count, series});
            }
        }
    };
    for (std::size_t i = 0; i < scene.log.sessions.size(); ++i) {
        add(scene.log.sessions[i].events, i);
    }
    add(scene.log.otherEvents, scene.log.sessions.size());
    if (notes.empty()) {
        return "";
    }
    std::stable_sort(notes.begin(), notes.end(),
                     [](auto const& a, auto const& b) { return a.from < b.from; });
    std::string const rest =
        notes.size() > MaxNotes ? " (the first " + std::to_string(MaxNotes) + ", all below)" : "";
    notes.resize(std::min(notes.size(), MaxNotes));
    SvgPlot plot("Log events over time", SvgPlot::NotesHeight(notes, scene.seconds), scene.seconds,
                 {0.0, 1.0});
    plot.AddAxes(TimeLabel, "", TimeTicks, std::vector<double>{});
    plot.AddNotes(notes);
    return Figure("Log of the renderer" + rest, SessionLegend(scene.log), plot.Finish());
}

} // namespace

std::string FormatCharts(PlaybackLog const& log) {
    Scene const scene = Survey(log);
    return Waveforms(scene) + PresentationError(scene) + PlaybackFrequency(scene) + LogEvents(scene) +
           DelayHeard(scene) +
           (log.comparison ? CloseUp(*log.comparison, scene.sent, log.heard, "heard") : "");
}

} // namespace AudioHost
