#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace AudioHost {

/// Ends of an axis.
struct PlotRange {
    double min = 0.0;
    double max = 1.0;
};

struct PlotPoint {
    double x = 0.0;
    double y = 0.0;
};

/// Distance of tick marks that a person finds round (1, 2 or 5 times a power of ten), for about `count` of
/// them over `range`.
double RoundTickStep(PlotRange range, int count);

/// At most `most` points (an even number from 2 on), of equal stretches of `points` the lowest and the
/// highest.
std::vector<PlotPoint> ThinOut(std::vector<PlotPoint> const& points, std::size_t most);

/// One picture with a time axis, as an `<svg>` element. Colours are classes (`series1` to `series6`), which
/// the document that holds it defines for light and dark.
class SvgPlot {
public:
    /// `description` is read out by screen readers.
    SvgPlot(std::string description, double height, PlotRange seconds, PlotRange values);

    /// Labels with their units. Values without a label have no ticks either.
    void AddAxes(std::string const& timeLabel, std::string const& valueLabel, int timeTicks, int valueTicks);
    /// As above with value ticks at these places.
    void AddAxes(std::string const& timeLabel, std::string const& valueLabel, int timeTicks,
                 std::vector<double> const& valueTicks);

    void AddLine(std::vector<PlotPoint> const& points, std::size_t series);
    /// Holds each value until the next, the last up to `end`.
    void AddSteps(std::vector<PlotPoint> const& points, double end, std::size_t series);
    std::string Finish() const;

private:
    double ToX(double second) const;
    double ToY(double value) const;
    void AddTimeAxis(std::string const& label, int ticks);

    std::string description_;
    double height_;
    PlotRange seconds_;
    PlotRange values_;
    std::string body_;
};

} // namespace AudioHost
