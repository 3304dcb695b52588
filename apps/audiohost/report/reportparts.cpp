#include "report/reportparts.h"

#include <algorithm>
#include <cmath>
#include <ctime>

#include "listening/soundlevel.h"
#include "report/reportstyle.h"
#include "report/svgplot.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

constexpr double CloseUpMilliSec = 20.0;
/// Colours that the style sheet has.
constexpr std::size_t SeriesColours = 6;

} // namespace

std::string FormatPage(std::string const& title, std::string const& body) {
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\"/>\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n" +
           Tag("title", title) + "\n<style>" + std::string(ReportStyle) + "</style>\n</head>\n<body>\n" +
           body + "</body>\n</html>\n";
}

std::string Tag(std::string const& name, std::string const& text) {
    return "<" + name + ">" + EscapeHtml(text) + "</" + name.substr(0, name.find(' ')) + ">";
}

std::string Tile(std::string const& value, std::string const& label) {
    return "<div class=\"tile\">" + Tag("b", value) + Tag("span", label) + "</div>\n";
}

std::string Row(std::string const& label, std::string const& value) {
    return "<tr>" + Tag("td", label) + "<td class=\"number\">" + EscapeHtml(value) + "</td></tr>\n";
}

std::string Sentences(std::string const& title, std::vector<std::string> const& sentences) {
    std::string html = Tag("h3", title) + "<p>";
    for (std::string const& sentence : sentences) {
        html += EscapeHtml(sentence) + " ";
    }
    return html + "</p>\n";
}

std::string VerdictLine(Verdict const& verdict) {
    char const* const colour = verdict.outcome == Outcome_t::Good           ? "good"
                               : verdict.outcome == Outcome_t::OutputGlitch ? "fair"
                                                                            : "bad";
    return "<p class=\"verdict " + std::string(colour) + "\">" + EscapeHtml(verdict.text) + "</p>\n";
}

std::string FormatUtc(Kovra::SysTime time) {
    auto const seconds = static_cast<std::time_t>(time.NanoSec() / Listening::NanoSecPerSec);
    // Reports are written by one thread.
    std::tm const* const parts = std::gmtime(&seconds); // NOLINT(concurrency-mt-unsafe)
    char text[32] = "";
    if (parts) {
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", parts);
    }
    return text;
}

std::string Figure(std::string const& title, std::vector<LegendEntry> const& legend, std::string const& svg) {
    std::string html = "<figure><figcaption><b>" + EscapeHtml(title) + "</b>";
    for (LegendEntry const& entry : legend) {
        html += "<span class=\"key\"><i class=\"series" + std::to_string(entry.series % SeriesColours + 1) +
                "\"></i>" + EscapeHtml(entry.text) + "</span>";
    }
    return html + "</figcaption>\n" + svg + "</figure>\n";
}

double WaveScale(int peak) {
    double const share = peak / Listening::FullScaleLsb;
    double const step = share > 0.1 ? 0.1 : 0.01;
    return std::max(step, std::ceil(share / step) * step);
}

std::string CloseUp(Listening::SoundComparison const& comparison, Listening::SampleView sent,
                    Listening::SampleView heard, std::string const& done) {
    Listening::WindowMatch const* best = nullptr;
    double bestLevel = 0.0;
    for (Listening::WindowMatch const& window : comparison.windows) {
        double const level =
            Listening::LevelDecibel(sent.Cut(window.sentStart, Listening::CompareWindowSamples));
        if (window.IsMatch() && (!best || level > bestLevel)) {
            best = &window;
            bestLevel = level;
        }
    }
    if (!best) {
        return "";
    }
    std::int64_t const start = best->sentStart + Listening::CompareWindowSamples / 2;
    std::int64_t const count = Listening::MilliSecToSamples(static_cast<std::int64_t>(CloseUpMilliSec));
    Listening::SampleView const sentPart = sent.Cut(start, count);
    Listening::SampleView const heardPart = heard.Cut(start + best->lag, count);
    double const scale = WaveScale(std::max(Listening::Peak(sentPart), Listening::Peak(heardPart)));
    SvgPlot plot("Close-up of sent and " + done, ChartHeight, {0.0, CloseUpMilliSec}, {-scale, scale});
    plot.AddAxes("Time from " + FormatFixed(Listening::SamplesToSec(static_cast<double>(start)), 3) +
                     " s into the sound (ms)",
                 AmplitudeLabel, TimeTicks, std::vector<double>{-scale, 0.0, scale});
    std::size_t series = 0;
    for (Listening::SampleView const& sound : {sentPart, heardPart}) {
        std::vector<PlotPoint> points;
        for (std::size_t i = 0; i < sound.GetSize(); ++i) {
            points.push_back(
                {Listening::SamplesToMilliSec(static_cast<double>(i)), sound[i] / Listening::FullScaleLsb});
        }
        plot.AddLine(points, series++);
    }
    return Figure("Close-up where it is loudest: sent and " + done + " on top of each other",
                  {{"sent", 0}, {done, 1}}, plot.Finish());
}

} // namespace AudioHost
