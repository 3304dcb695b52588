#include "svgplot.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "page/extremes.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

/// In the picture's own units; the page scales it to its width.
constexpr double Width = 1000.0;
constexpr double Left = 66.0;
constexpr double Right = 990.0;
constexpr double Top = 8.0;
constexpr double AxisHeight = 42.0;

std::string Number(double value) {
    return FormatFixed(value, 1);
}

std::string SeriesClass(std::size_t series) {
    return "series" + std::to_string(series % 6 + 1);
}

/// As many decimals as the step between ticks needs.
std::string TickText(double value, double step) {
    int decimals = 0;
    while (decimals < 6 &&
           std::fabs(step * std::pow(10.0, decimals) - std::round(step * std::pow(10.0, decimals))) > 1e-6) {
        ++decimals;
    }
    return FormatFixed(value, decimals);
}

std::vector<double> TickPlaces(PlotRange range, double step) {
    std::vector<double> places;
    // A hair beyond the end, so that rounding does not lose the last tick.
    for (double place = std::ceil(range.min / step - 1e-9) * step; place <= range.max + step * 1e-9;
         place += step) {
        places.push_back(place);
    }
    return places;
}

double ScaleX(double second, PlotRange seconds) {
    return Left + (Right - Left) * (second - seconds.min) / (seconds.max - seconds.min);
}

} // namespace

double RoundTickStep(PlotRange range, int count) {
    double const rough = (range.max - range.min) / count;
    double const decade = std::pow(10.0, std::floor(std::log10(rough)));
    double const share = rough / decade;
    return decade * (share < 1.5 ? 1.0 : share < 3.5 ? 2.0 : share < 7.5 ? 5.0 : 10.0);
}

std::vector<PlotPoint> ThinOut(std::vector<PlotPoint> const& points, std::size_t most) {
    if (points.size() <= most) {
        return points;
    }
    std::vector<PlotPoint> thinned;
    for (std::size_t const place :
         FindExtremes(points.size(), most / 2, [&](std::size_t i) { return points[i].y; })) {
        thinned.push_back(points[place]);
    }
    return thinned;
}

SvgPlot::SvgPlot(std::string description, double height, PlotRange seconds, PlotRange values)
    : description_(std::move(description)), height_(height), seconds_(seconds), values_(values) {}

double SvgPlot::ToX(double second) const {
    return ScaleX(second, seconds_);
}

double SvgPlot::ToY(double value) const {
    double const bottom = height_ - AxisHeight;
    double const share = (value - values_.min) / (values_.max - values_.min);
    return bottom - (bottom - Top) * std::clamp(share, 0.0, 1.0);
}

void SvgPlot::AddTimeAxis(std::string const& label, int ticks) {
    double const step = RoundTickStep(seconds_, ticks);
    double const bottom = height_ - AxisHeight;
    for (double const place : TickPlaces(seconds_, step)) {
        std::string const x = Number(ToX(place));
        body_ += "<line class=\"grid\" x1=\"" + x + "\" y1=\"" + Number(Top) + "\" x2=\"" + x + "\" y2=\"" +
                 Number(bottom) + "\"/><text class=\"tick\" text-anchor=\"middle\" x=\"" + x + "\" y=\"" +
                 Number(bottom + 15.0) + "\">" + TickText(place, step) + "</text>\n";
    }
    body_ += "<line class=\"axis\" x1=\"" + Number(Left) + "\" y1=\"" + Number(bottom) + "\" x2=\"" +
             Number(Right) + "\" y2=\"" + Number(bottom) +
             "\"/><text class=\"label\" text-anchor=\"middle\" x=\"" + Number((Left + Right) / 2.0) +
             "\" y=\"" + Number(height_ - 6.0) + "\">" + EscapeHtml(label) + "</text>\n";
}

void SvgPlot::AddAxes(std::string const& timeLabel, std::string const& valueLabel, int timeTicks,
                      int valueTicks) {
    AddAxes(timeLabel, valueLabel, timeTicks, TickPlaces(values_, RoundTickStep(values_, valueTicks)));
}

void SvgPlot::AddAxes(std::string const& timeLabel, std::string const& valueLabel, int timeTicks,
                      std::vector<double> const& valueTicks) {
    AddTimeAxis(timeLabel, timeTicks);
    double const step = valueTicks.size() > 1 ? valueTicks[1] - valueTicks[0] : 1.0;
    for (double const place : valueTicks) {
        std::string const y = Number(ToY(place));
        body_ += "<line class=\"" + std::string(std::fabs(place) < step * 1e-6 ? "axis" : "grid") +
                 "\" x1=\"" + Number(Left) + "\" y1=\"" + y + "\" x2=\"" + Number(Right) + "\" y2=\"" + y +
                 "\"/><text class=\"tick\" text-anchor=\"end\" x=\"" + Number(Left - 7.0) + "\" y=\"" +
                 Number(ToY(place) + 4.0) + "\">" + TickText(place, step) + "</text>\n";
    }
    std::string const middle = Number((Top + height_ - AxisHeight) / 2.0);
    body_ += "<text class=\"label\" text-anchor=\"middle\" transform=\"translate(14 " + middle +
             ") rotate(-90)\">" + EscapeHtml(valueLabel) + "</text>\n";
}

void SvgPlot::AddLine(std::vector<PlotPoint> const& points, std::size_t series) {
    if (points.empty()) {
        return;
    }
    std::string path;
    for (PlotPoint const& point : points) {
        path += (path.empty() ? "M" : " ") + Number(ToX(point.x)) + "," + Number(ToY(point.y));
    }
    body_ += "<path class=\"line " + SeriesClass(series) + "\" d=\"" + path + "\"/>\n";
}

void SvgPlot::AddSteps(std::vector<PlotPoint> const& points, double end, std::size_t series) {
    std::vector<PlotPoint> corners;
    for (PlotPoint const& point : points) {
        if (!corners.empty()) {
            corners.push_back({point.x, corners.back().y});
        }
        corners.push_back(point);
    }
    if (!corners.empty()) {
        corners.push_back({end, corners.back().y});
    }
    AddLine(corners, series);
}

std::string SvgPlot::Finish() const {
    std::string const description = EscapeHtml(description_);
    return "<svg viewBox=\"0 0 " + Number(Width) + " " + Number(height_) + "\" role=\"img\" aria-label=\"" +
           description + "\">\n" + body_ + "</svg>\n";
}

} // namespace AudioHost
