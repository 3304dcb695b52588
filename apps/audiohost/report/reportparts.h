#pragma once

#include <string>
#include <vector>

#include "kovra/time.h"
#include "listening/samples.h"
#include "listening/soundcompare.h"
#include "report/soundwords.h"

namespace AudioHost {

// What the reports of all commands are made of. Texts are plain; markup in them is shown as it is.

/// A whole page that loads nothing from anywhere; `body` is HTML.
std::string FormatPage(std::string const& title, std::string const& body);

/// `name` may carry attributes: `p class="muted"`.
std::string Tag(std::string const& name, std::string const& text);
/// A number in large type with what it stands for.
std::string Tile(std::string const& value, std::string const& label);
/// A table row of a label and a value.
std::string Row(std::string const& label, std::string const& value);
std::string Sentences(std::string const& title, std::vector<std::string> const& sentences);
std::string VerdictLine(Verdict const& verdict);
/// "2026-01-02 03:04:05 UTC". One thread at a time.
std::string FormatUtc(Kovra::SysTime time);

struct LegendEntry {
    std::string text;
    std::size_t series = 0;
};
/// `svg` with a title and a legend.
std::string Figure(std::string const& title, std::vector<LegendEntry> const& legend, std::string const& svg);

constexpr int TimeTicks = 10;
constexpr double WaveHeight = 150.0;
constexpr double ChartHeight = 190.0;
/// Short, as waveforms are low.
constexpr char const* AmplitudeLabel = "Of full scale";

/// The next whole tenth, or hundredth of something quiet, that holds the peak.
double WaveScale(int peak);

/// 20 ms of both on top of each other, where the matched window is loudest; `done` as in `DescribeLevels`.
/// Empty when nothing was found.
std::string CloseUp(Listening::SoundComparison const& comparison, Listening::SampleView sent,
                    Listening::SampleView heard, std::string const& done);

} // namespace AudioHost
