#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "controllaw.h"
#include "playbackloop.h"
#include "simulation/world.h"
#include "svgplot.h"
#include "terminal/textformat.h"

// Draws the pictures of docs/timing.md from sessions on the simulated device: the error of what is heard, and
// the playback frequency, over time.

namespace ClosedLoop {
namespace {

using AudioHost::PlotPoint;
using AudioHost::PlotRange;

struct Curve {
    std::string name;
    Conditions conditions;
};

struct Course {
    /// Seconds since the start; milliseconds, late is positive.
    std::vector<PlotPoint> errors;
    /// Seconds since the start; Hz.
    std::vector<PlotPoint> frequencies;
};

struct Picture {
    std::string file;
    std::string title;
    std::vector<Curve> curves;
    PlotRange seconds;
    PlotRange errors;
    /// With lines at the bound for the first curve's lead.
    bool hasBound = false;
    /// Also the frequency of the curve with this index; none when beyond the last.
    std::size_t frequencyOf = SIZE_MAX;
};

constexpr double PlotHeight = 300.0;
constexpr double FrequencyHeight = 150.0;
constexpr double HeadHeight = 52.0;
constexpr double Width = 1000.0;
constexpr std::size_t BoundSeries = 5;
/// Of a curve: corners stay where they are, and the file stays small.
constexpr std::size_t MaxPoints = 600;

Course Follow(Conditions const& conditions, double seconds) {
    Simulation::World world;
    Course course;
    std::int64_t const startNanoSec = world.Clock().MonotonicNanoSec();
    auto const toSeconds = [startNanoSec](std::int64_t nanoSec) {
        return static_cast<double>(nanoSec - startNanoSec) / static_cast<double>(NanoSecPerSec);
    };
    PlaybackLoop loop(world, conditions, [&](std::int64_t, std::int64_t due, std::int64_t heard) {
        course.errors.push_back(
            {toSeconds(heard), static_cast<double>(heard - due) / static_cast<double>(NanoSecPerMilliSec)});
    });
    while (toSeconds(loop.NowNanoSec()) < seconds) {
        loop.PlayFrame();
        if (course.frequencies.empty() ||
            course.frequencies.back().y != static_cast<double>(loop.FrequencyHz())) {
            course.frequencies.push_back(
                {toSeconds(loop.NowNanoSec()), static_cast<double>(loop.FrequencyHz())});
        }
    }
    loop.Heard();
    return course;
}

/// An `<svg>` element as a part of another, `top` below its upper edge.
std::string Place(std::string const& svg, double top, double height) {
    return "<svg y=\"" + AudioHost::FormatFixed(top, 0) + "\" width=\"" + AudioHost::FormatFixed(Width, 0) +
           "\" height=\"" + AudioHost::FormatFixed(height, 0) + "\" " + svg.substr(svg.find(' ') + 1);
}

std::string MakeKey(std::vector<Curve> const& curves) {
    constexpr double Step = 160.0;
    std::string key;
    double x = 66.0;
    for (std::size_t i = 0; i < curves.size(); ++i, x += Step) {
        std::string const from = AudioHost::FormatFixed(x, 0);
        key += "<line class=\"line series" + std::to_string(i + 1) + "\" x1=\"" + from +
               "\" y1=\"38\" x2=\"" + AudioHost::FormatFixed(x + 20.0, 0) + "\" y2=\"38\"/><text x=\"" +
               AudioHost::FormatFixed(x + 26.0, 0) + "\" y=\"42\">" + AudioHost::EscapeHtml(curves[i].name) +
               "</text>\n";
    }
    return key;
}

constexpr char const* Style = R"(<style>
  .paper { fill: #fff } text { fill: #444; font: 12px sans-serif } .title { fill: #222; font-size: 14px; font-weight: bold }
  .grid { stroke: #e4e8ec } .axis { stroke: #8a949e } .line { fill: none; stroke-width: 1.6; stroke-linejoin: round }
  .series1 { stroke: #1f6fb2 } .series2 { stroke: #d0700f } .series3 { stroke: #2f8a57 } .series4 { stroke: #8a4fb0 }
  .series5 { stroke: #b8406a } .series6 { stroke: #5f6b76; stroke-width: 1; stroke-dasharray: 4 4 }
  @media (prefers-color-scheme: dark) { .paper { fill: #161616 } text { fill: #bbb } .title { fill: #eee }
    .grid { stroke: #2c333a } .series1 { stroke: #62aee8 } .series2 { stroke: #f0a04b } .series3 { stroke: #62c48e }
    .series4 { stroke: #c08fe0 } .series5 { stroke: #ec86aa } .series6 { stroke: #a3aeb9 } }
</style>
)";

std::string Draw(Picture const& picture) {
    constexpr int TimeTicks = 12;
    constexpr int ErrorTicks = 6;
    AudioHost::SvgPlot errors(picture.title, PlotHeight, picture.seconds, picture.errors);
    errors.AddAxes("seconds since the start", "error in ms: late above 0", TimeTicks, ErrorTicks);
    if (picture.hasBound) {
        double const milliSec = static_cast<double>(ControlLaw::LateBoundNanoSec(
                                    picture.curves.front().conditions.LeadNanoSec())) /
                                static_cast<double>(NanoSecPerMilliSec);
        for (double const bound : {milliSec, -milliSec}) {
            errors.AddLine({{picture.seconds.min, bound}, {picture.seconds.max, bound}}, BoundSeries);
        }
    }
    std::vector<PlotPoint> frequencies;
    for (std::size_t i = 0; i < picture.curves.size(); ++i) {
        Course const course = Follow(picture.curves[i].conditions, picture.seconds.max);
        errors.AddLine(AudioHost::ThinOut(course.errors, MaxPoints), i);
        if (i == picture.frequencyOf) {
            frequencies = course.frequencies;
        }
    }
    double height = HeadHeight + PlotHeight;
    std::string body = Place(errors.Finish(), HeadHeight, PlotHeight);
    if (!frequencies.empty()) {
        AudioHost::SvgPlot plot("Frequency of the curve " + picture.curves[picture.frequencyOf].name,
                                FrequencyHeight, picture.seconds, {47950.0, 48050.0});
        plot.AddAxes("seconds since the start", "Hz", TimeTicks, {47960.0, 48000.0, 48040.0});
        plot.AddSteps(frequencies, picture.seconds.max, picture.frequencyOf);
        body += Place(plot.Finish(), height, FrequencyHeight);
        height += FrequencyHeight;
    }
    std::string const title = AudioHost::EscapeHtml(picture.title);
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 1000 " +
           AudioHost::FormatFixed(height, 0) + "\" role=\"img\" aria-label=\"" + title + "\">\n" + Style +
           "<rect class=\"paper\" width=\"100%\" height=\"100%\"/>\n<text class=\"title\" x=\"66\" "
           "y=\"20\">" +
           title + "</text>\n" + MakeKey(picture.curves) + body + "</svg>\n";
}

Conditions WithSkew(std::int64_t skewPartsPerMillion) {
    Conditions conditions;
    conditions.skewPartsPerMillion = skewPartsPerMillion;
    return conditions;
}

Conditions WithStartDelay(std::int64_t skewPartsPerMillion) {
    Conditions conditions = WithSkew(skewPartsPerMillion);
    conditions.leadMilliSec = 200;
    conditions.startDelayMilliSec = 40;
    return conditions;
}

Conditions WithCursorStep(std::uint32_t samples) {
    Conditions conditions = WithSkew(50);
    conditions.leadMilliSec = 200;
    conditions.cursorStepSamples = samples;
    conditions.cursorPhaseSamples = samples / 3;
    return conditions;
}

std::vector<Picture> MakePictures() {
    return {
        {"timing-skew.svg",
         "Devices out of step, lead 100 ms; dashed: the bound of 3 ms",
         {{"+50 ppm", WithSkew(50)},
          {"+500 ppm", WithSkew(500)},
          {"+800 ppm", WithSkew(800)},
          {"\xE2\x88\x92"
           "500 ppm",
           WithSkew(-500)},
          {"\xE2\x88\x92"
           "800 ppm",
           WithSkew(-800)}},
         {0.0, 120.0},
         {-4.0, 4.0},
         true,
         1},
        {"timing-start.svg",
         "A start 40 ms late, lead 200 ms; dashed: the bound of 5 ms",
         {{"0 ppm", WithStartDelay(0)},
          {"+500 ppm", WithStartDelay(500)},
          {"\xE2\x88\x92"
           "500 ppm",
           WithStartDelay(-500)}},
         {0.0, 120.0},
         {-10.0, 50.0},
         true,
         2},
        {"timing-steps.svg",
         "Cursors told in steps, lead 200 ms, +50 ppm",
         {{"1 sample", WithCursorStep(1)},
          {"10 ms", WithCursorStep(480)},
          {"20 ms", WithCursorStep(960)},
          {"31.25 ms", WithCursorStep(1500)}},
         {0.0, 300.0},
         {-25.0, 5.0},
         false,
         SIZE_MAX},
    };
}

int Main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::fputs("usage: timing_curves FOLDER\n", stderr);
        return 2;
    }
    for (Picture const& picture : MakePictures()) {
        std::string const path = std::string(arguments[1]) + "/" + picture.file;
        std::ofstream file(path, std::ios::binary);
        file << Draw(picture);
        file.close();
        if (!file) {
            std::fprintf(stderr, "cannot write %s\n", path.c_str());
            return 1;
        }
        std::printf("written: %s\n", path.c_str());
    }
    return 0;
}

} // namespace
} // namespace ClosedLoop

int main(int argumentCount, char** arguments) {
    return ClosedLoop::Main(argumentCount, arguments);
}
