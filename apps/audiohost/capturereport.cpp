#include "capturereport.h"

#include <algorithm>
#include <vector>

#include "capturesummary.h"
#include "reportparts.h"
#include "soundlevel.h"
#include "svgplot.h"
#include "textformat.h"

namespace AudioHost {

namespace {

constexpr double NanoSecPerSecond = 1e9;
constexpr double NanoSecPerMilliSec = 1e6;
constexpr char const* SoundTimeLabel = "Time in the recording (s)";
constexpr char const* ClockTimeLabel = "Time since the start (s)";
constexpr double LeastSeconds = 0.1;
/// Leaves the wavering of a good recording small in its picture.
constexpr double LeastDelayMilliSec = 40.0;

double ToSec(std::int64_t nanoSec) {
    return static_cast<double>(nanoSec) / NanoSecPerSecond;
}

std::string Header(CaptureRecord const& record) {
    return "<header>" + Tag("h1", "Recording report") +
           Tag("p", record.name + " \xC2\xB7 " + FormatUtc(record.startedAt)) + "</header>\n";
}

std::string Tiles(CaptureRecord const& record) {
    std::string html =
        "<div class=\"tiles\">\n" +
        Tile(FormatFixed(SamplesToSec(static_cast<double>(record.samples)), 1) + " s", "recorded") +
        Tile(std::to_string(record.frames), "frames read") +
        Tile(std::to_string(record.numbersMissing), "frame numbers missing") +
        Tile(std::to_string(record.GetFramesLost() * CaptureFrameNanoSec / 1'000'000) + " ms",
             "of sound left out") +
        Tile(FormatFixed(record.levelDecibel, 1) + " dB", "against full scale");
    if (record.check) {
        html += Tile(FormatFixed(100.0 * record.check->comparison.GetMatchedShare(), 1) + " %",
                     "recorded as played") +
                Tile(std::to_string(record.check->exact.changed), "samples changed") +
                Tile(std::to_string(record.check->exact.missing), "samples missing");
    }
    return html + "</div>\n";
}

std::string InWords(CaptureRecord const& record) {
    std::string html = "<section>" + VerdictLine(Judge(record)) + Tiles(record);
    if (!record.failure.empty()) {
        html += Tag("p", record.failure);
    }
    html += Sentences(record.name, DescribeRecording(record));
    if (record.check) {
        html += Sentences("Against what was played", DescribeCheck(*record.check));
    }
    return html + "</section>\n";
}

std::string Waveform(std::string const& title, SampleView sound, PlotRange seconds, double scale,
                     std::size_t series, std::vector<TimelineJump> const& jumps) {
    SvgPlot plot(title, WaveHeight, seconds, {-scale, scale});
    plot.AddAxes(SoundTimeLabel, AmplitudeLabel, TimeTicks, std::vector<double>{-scale, 0.0, scale});
    plot.AddEnvelope(sound, 0.0, series);
    for (TimelineJump const& jump : jumps) {
        plot.AddMark(SamplesToSec(static_cast<double>(jump.sentSample)), "out of step", true);
    }
    return Figure(title, {}, plot.Finish());
}

std::string Waveforms(CaptureRecord const& record) {
    if (record.sound.empty()) {
        return "";
    }
    auto const size = static_cast<std::int64_t>(record.sound.size());
    PlotRange const seconds = {0.0, std::max(LeastSeconds, SamplesToSec(static_cast<double>(size)))};
    SampleView sent;
    std::vector<TimelineJump> jumps;
    if (record.check) {
        sent = SampleView(record.check->sent).Cut(0, size);
        jumps = record.check->exact.jumps;
    }
    double const scale = WaveScale(std::max(Peak(sent), Peak(record.sound)));
    std::string html;
    if (!sent.IsEmpty()) {
        html += Waveform("Sound played, from where the recording starts", sent, seconds, scale, 0, jumps);
    }
    return html + Waveform("Sound recorded", record.sound, seconds, scale, 1, {});
}

PlotRange ClockRange(CaptureRecord const& record) {
    return {0.0, std::max(LeastSeconds, ToSec(record.lastNanoSec))};
}

double SlotStart(std::size_t slot) {
    return static_cast<double>(slot) * ToSec(CaptureSlot::LengthNanoSec);
}

std::string LevelOverTime(CaptureRecord const& record) {
    std::vector<PlotPoint> points;
    for (std::size_t i = 0; i < record.slots.size(); ++i) {
        points.push_back({SlotStart(i), static_cast<double>(record.slots[i].level)});
    }
    SvgPlot plot("Line level over time", ChartHeight, ClockRange(record), {0.0, 1.0});
    plot.AddAxes(ClockTimeLabel, "Line level", TimeTicks, 4);
    plot.AddSteps(points, ToSec(record.lastNanoSec), 2);
    return Figure("Line level as the renderer's meter tells it (0 silence, 1 full scale)", {}, plot.Finish());
}

std::string DelayOverTime(CaptureRecord const& record) {
    std::vector<PlotPoint> points;
    double highest = LeastDelayMilliSec;
    for (std::size_t i = 0; i < record.slots.size(); ++i) {
        if (std::optional<std::int64_t> const behind = record.slots[i].behindNanoSec) {
            double const milliSec = static_cast<double>(*behind) / NanoSecPerMilliSec;
            points.push_back({SlotStart(i), milliSec});
            highest = std::max(highest, milliSec);
        }
    }
    SvgPlot plot("Delay behind the clock", ChartHeight, ClockRange(record), {0.0, 1.1 * highest});
    plot.AddAxes(ClockTimeLabel, "Behind (ms)", TimeTicks, 4);
    plot.AddSteps(points, ToSec(record.lastNanoSec), 3);
    for (CaptureLoss const& loss : record.losses) {
        plot.AddMark(ToSec(loss.timeNanoSec), loss.isAtRingEnd ? "the ring began again" : "sound lost", true);
    }
    return Figure("Sound read, behind the time that has passed (a step up: sound left out)", {},
                  plot.Finish());
}

std::string Table(CaptureRecord const& record) {
    std::string html =
        "<section><div class=\"scroll\"><table>\n" + Row("Frames read", std::to_string(record.frames)) +
        Row("First frame after", FormatFixed(ToSec(record.firstNanoSec) * 1000.0, 1) + " ms") +
        Row("Last frame after", FormatFixed(ToSec(record.lastNanoSec), 3) + " s") +
        Row("Frame numbers missing", std::to_string(record.numbersMissing)) +
        Row("Frame numbers that went back", std::to_string(record.numbersBack)) +
        Row("Frames not dated 20 ms after the one before", std::to_string(record.timestampsOff)) +
        Row("Frames left out or lost, by the clock", std::to_string(record.GetFramesLost())) +
        Row("Reads that failed", std::to_string(record.readsFailed)) +
        Row("Level", FormatFixed(record.levelDecibel, 2) + " dBFS") +
        Row("Peak", FormatFixed(PeakDecibel(record.peak), 2) + " dBFS");
    if (record.check) {
        ExactMatch const& exact = record.check->exact;
        html += Row("Samples recorded as played", std::to_string(exact.identical)) +
                Row("Samples changed", std::to_string(exact.changed)) +
                Row("Samples missing", std::to_string(exact.missing)) +
                Row("Samples doubled or put in", std::to_string(exact.inserted));
    }
    return html + "</table></div></section>\n";
}

} // namespace

std::string FormatReport(CaptureRecord const& record) {
    std::string html = Header(record) + InWords(record);
    if (record.frames > 0) {
        html += Tag("h2", "Over time") + Waveforms(record) + LevelOverTime(record) + DelayOverTime(record);
    }
    if (record.check) {
        html += CloseUp(record.check->comparison, record.check->sent, record.sound, "recorded");
    }
    return FormatPage("Recording report", html + Tag("h2", "Numbers") + Table(record));
}

} // namespace AudioHost
