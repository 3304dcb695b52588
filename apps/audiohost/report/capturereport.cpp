#include "report/capturereport.h"

#include <algorithm>
#include <vector>

#include "listening/soundlevel.h"
#include "report/capturesummary.h"
#include "report/reportparts.h"
#include "report/svgplot.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

constexpr char const* SoundTimeLabel = "Time in the recording (s)";
constexpr char const* ClockTimeLabel = "Time since the start (s)";
constexpr double MinSeconds = 0.1;
/// Leaves the wavering of a good take small in its picture.
constexpr double MinDelayMilliSec = 40.0;

double ToSec(std::int64_t nanoSec) {
    return static_cast<double>(nanoSec) / Listening::NanoSecPerSec;
}

std::string Header(CaptureLog const& log) {
    return "<header>" + Tag("h1", "Recording report") +
           Tag("p", log.name + " \xC2\xB7 " + FormatUtc(log.startedAt)) + "</header>\n";
}

std::string Tiles(CaptureLog const& log) {
    std::string html =
        "<div class=\"tiles\">\n" +
        Tile(FormatFixed(Listening::SamplesToSec(static_cast<double>(log.samples)), 1) + " s", "recorded") +
        Tile(std::to_string(log.frames), "frames read") +
        Tile(std::to_string(log.numbersMissing), "frame numbers missing") +
        Tile(
            std::to_string(log.GetFramesLost() * CaptureFrameNanoSec / Listening::NanoSecPerMilliSec) + " ms",
            "of sound left out") +
        Tile(FormatFixed(log.levelDecibel, 1) + " dB", "against full scale");
    if (log.check) {
        html += Tile(FormatFixed(100.0 * log.check->comparison.GetMatchedShare(), 1) + " %",
                     "recorded as played") +
                Tile(std::to_string(log.check->exact.changed), "samples changed") +
                Tile(std::to_string(log.check->exact.missing), "samples missing");
    }
    return html + "</div>\n";
}

std::string InWords(CaptureLog const& log) {
    std::string html = "<section>" + VerdictLine(Judge(log)) + Tiles(log);
    if (!log.failure.empty()) {
        html += Tag("p", log.failure);
    }
    html += Sentences(log.name, DescribeCapture(log));
    if (log.check) {
        html += Sentences("Against what was played", DescribeCheck(*log.check));
    }
    return html + "</section>\n";
}

std::string Waveform(std::string const& title, Listening::SampleView sound, PlotRange seconds, double scale,
                     std::size_t series, std::vector<Listening::TimelineJump> const& jumps) {
    SvgPlot plot(title, WaveHeight, seconds, {-scale, scale});
    plot.AddAxes(SoundTimeLabel, AmplitudeLabel, TimeTicks, std::vector<double>{-scale, 0.0, scale});
    plot.AddEnvelope(sound, 0.0, series);
    for (Listening::TimelineJump const& jump : jumps) {
        plot.AddMark(Listening::SamplesToSec(static_cast<double>(jump.sentSample)), "out of step", true);
    }
    return Figure(title, {}, plot.Finish());
}

std::string Waveforms(CaptureLog const& log) {
    if (log.sound.empty()) {
        return "";
    }
    auto const size = static_cast<std::int64_t>(log.sound.size());
    PlotRange const seconds = {0.0, std::max(MinSeconds, Listening::SamplesToSec(static_cast<double>(size)))};
    Listening::SampleView sent;
    std::vector<Listening::TimelineJump> jumps;
    if (log.check) {
        sent = Listening::SampleView(log.check->sent).Cut(0, size);
        jumps = log.check->exact.jumps;
    }
    double const scale = WaveScale(std::max(Listening::Peak(sent), Listening::Peak(log.sound)));
    std::string html;
    if (!sent.IsEmpty()) {
        html += Waveform("Sound played, from where the recording starts", sent, seconds, scale, 0, jumps);
    }
    return html + Waveform("Sound recorded", log.sound, seconds, scale, 1, {});
}

PlotRange ClockRange(CaptureLog const& log) {
    return {0.0, std::max(MinSeconds, ToSec(log.lastNanoSec))};
}

double SlotStart(std::size_t slot) {
    return static_cast<double>(slot) * ToSec(CaptureSlot::LengthNanoSec);
}

std::string LevelOverTime(CaptureLog const& log) {
    std::vector<PlotPoint> points;
    for (std::size_t i = 0; i < log.slots.size(); ++i) {
        points.push_back({SlotStart(i), static_cast<double>(log.slots[i].level)});
    }
    SvgPlot plot("Line level over time", ChartHeight, ClockRange(log), {0.0, 1.0});
    plot.AddAxes(ClockTimeLabel, "Line level", TimeTicks, 4);
    plot.AddSteps(points, ToSec(log.lastNanoSec), 2);
    return Figure("Line level as the renderer's meter tells it (0 silence, 1 full scale)", {}, plot.Finish());
}

std::string DelayOverTime(CaptureLog const& log) {
    std::vector<PlotPoint> points;
    double highest = MinDelayMilliSec;
    for (std::size_t i = 0; i < log.slots.size(); ++i) {
        if (std::optional<std::int64_t> const behind = log.slots[i].behindNanoSec) {
            double const milliSec = static_cast<double>(*behind) / Listening::NanoSecPerMilliSec;
            points.push_back({SlotStart(i), milliSec});
            highest = std::max(highest, milliSec);
        }
    }
    SvgPlot plot("Delay behind the clock", ChartHeight, ClockRange(log), {0.0, 1.1 * highest});
    plot.AddAxes(ClockTimeLabel, "Behind (ms)", TimeTicks, 4);
    plot.AddSteps(points, ToSec(log.lastNanoSec), 3);
    for (CaptureLoss const& loss : log.losses) {
        plot.AddMark(ToSec(loss.timeNanoSec), loss.isAtRingEnd ? "the ring began again" : "sound lost", true);
    }
    return Figure("Sound read, behind the time that has passed (a step up: sound left out)", {},
                  plot.Finish());
}

std::string Table(CaptureLog const& log) {
    std::string html = "<section><div class=\"scroll\"><table>\n" +
                       Row("Frames read", std::to_string(log.frames)) +
                       Row("First frame after",
                           FormatFixed(ToSec(log.firstNanoSec) * Listening::MilliSecPerSec, 1) + " ms") +
                       Row("Last frame after", FormatFixed(ToSec(log.lastNanoSec), 3) + " s") +
                       Row("Frame numbers missing", std::to_string(log.numbersMissing)) +
                       Row("Frame numbers that went back", std::to_string(log.numbersBack)) +
                       Row("Frames not dated 20 ms after the one before", std::to_string(log.timestampsOff)) +
                       Row("Frames left out or lost, by the clock", std::to_string(log.GetFramesLost())) +
                       Row("Reads that failed", std::to_string(log.readsFailed)) +
                       Row("Level", FormatFixed(log.levelDecibel, 2) + " dBFS") +
                       Row("Peak", FormatFixed(Listening::PeakDecibel(log.peak), 2) + " dBFS");
    if (log.check) {
        Listening::ExactMatch const& exact = log.check->exact;
        html += Row("Samples recorded as played", std::to_string(exact.identical)) +
                Row("Samples changed", std::to_string(exact.changed)) +
                Row("Samples missing", std::to_string(exact.missing)) +
                Row("Samples doubled or put in", std::to_string(exact.inserted));
    }
    return html + "</table></div></section>\n";
}

} // namespace

std::string FormatReport(CaptureLog const& log) {
    std::string html = Header(log) + InWords(log);
    if (log.frames > 0) {
        html += Tag("h2", "Over time") + Waveforms(log) + LevelOverTime(log) + DelayOverTime(log);
    }
    if (log.check) {
        html += CloseUp(log.check->comparison, log.check->sent, log.sound, "recorded");
    }
    return FormatPage("Recording report", html + Tag("h2", "Numbers") + Table(log));
}

} // namespace AudioHost
