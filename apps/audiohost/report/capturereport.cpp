#include "report/capturereport.h"

#include <algorithm>
#include <utility>

#include "listening/soundlevel.h"
#include "page/reportpage.h"
#include "page/reportsound.h"
#include "page/thinning.h"
#include "report/capturesummary.h"
#include "report/reportnumbers.h"

namespace AudioHost {

namespace {

/// Leaves the wavering of a good take small in its chart.
constexpr std::int64_t UsualDelayMilliSec = 40;

std::vector<ReportFigure> Figures(CaptureLog const& log) {
    std::vector<ReportFigure> figures = {
        Figure("recorded", Listening::SamplesToSec(static_cast<double>(log.samples)), "s"),
        CountFigure("frames read", log.frames),
        CountFigure("frame numbers missing", log.numbersMissing, Better_t::Less),
        CountFigure("of sound left out",
                    log.GetFramesLost() * CaptureFrameNanoSec / Listening::NanoSecPerMilliSec, Better_t::Less,
                    "ms"),
        Figure("against full scale", log.levelDecibel, "dB")};
    if (log.check) {
        Listening::ExactMatch const& exact = log.check->exact;
        figures.push_back(Figure("recorded as played", 100.0 * log.check->comparison.GetMatchedShare(), "%",
                                 Better_t::More));
        figures.push_back(
            CountFigure("samples changed", static_cast<std::uint64_t>(exact.changed), Better_t::Less));
        figures.push_back(
            CountFigure("samples missing", static_cast<std::uint64_t>(exact.missing), Better_t::Less));
    }
    return figures;
}

ReportSession InNumbers(CaptureLog const& log) {
    ReportSession result{log.name, "16 bit, 48000 Hz, one channel", {}};
    result.figures = {
        CountFigure("Frames read", log.frames),
        Figure("First frame after", Listening::ToSec(log.firstNanoSec) * Listening::MilliSecPerSec, "ms"),
        Figure("Last frame after", Listening::ToSec(log.lastNanoSec), "s"),
        CountFigure("Frame numbers missing", log.numbersMissing, Better_t::Less),
        CountFigure("Frame numbers that went back", log.numbersBack, Better_t::Less),
        CountFigure("Frames not dated 20 ms after the one before", log.timestampsOff, Better_t::Less),
        CountFigure("Frames left out or lost, by the clock", log.GetFramesLost(), Better_t::Less),
        CountFigure("Reads that failed", log.readsFailed, Better_t::Less),
        Figure("Level", log.levelDecibel, "dBFS"),
        Figure("Peak", Listening::PeakDecibel(log.peak), "dBFS")};
    if (log.check) {
        Listening::ExactMatch const& exact = log.check->exact;
        for (auto const& [name, count] : {std::pair{"Samples recorded as played", exact.identical},
                                          {"Samples changed", exact.changed},
                                          {"Samples missing", exact.missing},
                                          {"Samples doubled or put in", exact.inserted}}) {
            result.figures.push_back(CountFigure(name, static_cast<std::uint64_t>(count)));
        }
    }
    return result;
}

std::vector<ReportPart> Parts(CaptureLog const& log) {
    std::vector<ReportPart> parts;
    if (!log.failure.empty()) {
        parts.push_back({"Why it ended", {log.failure}});
    }
    parts.push_back({log.name, DescribeCapture(log)});
    if (log.check) {
        parts.push_back({"Against what was played", DescribeCheck(*log.check)});
    }
    return parts;
}

/// Of each slot; without an end of its own, as the last value holds to the end.
std::vector<ReportChart> Charts(CaptureLog const& log, std::int64_t endMilliSec) {
    ReportSeries level{"line level", {}, {}};
    ReportSeries behind{"behind the clock", {}, {}};
    for (std::size_t i = 0; i < log.slots.size(); ++i) {
        std::int64_t const time = ToWholeMilliSec(static_cast<std::int64_t>(i) * CaptureSlot::LengthNanoSec);
        level.timesMilliSec.push_back(time);
        level.values.push_back(ToThousandths(static_cast<double>(log.slots[i].level)));
        if (std::optional<std::int64_t> const delay = log.slots[i].behindNanoSec) {
            behind.timesMilliSec.push_back(time);
            behind.values.push_back(*delay / Listening::NanoSecPerMicroSec);
        }
    }
    for (ReportSeries* const series : {&level, &behind}) {
        if (!series->values.empty() && series->timesMilliSec.back() < endMilliSec) {
            series->timesMilliSec.push_back(endMilliSec);
            series->values.push_back(series->values.back());
        }
    }
    return {{"level",
             "Line level as the renderer's meter tells it: 0 silence, 1 full scale",
             "",
             PerUnit,
             true,
             0,
             PerUnit,
             {std::move(level)}},
            {"behind",
             "Sound read, behind the time that has passed; a step up: sound left out",
             "ms",
             PerUnit,
             true,
             0,
             UsualDelayMilliSec * PerUnit,
             {std::move(behind)}}};
}

std::int64_t SoundStartMilliSec(CaptureLog const& log) {
    return std::max<std::int64_t>(0, ToWholeMilliSec(log.firstNanoSec - CaptureFrameNanoSec));
}

std::vector<ReportRecord> Records(CaptureLog const& log) {
    std::vector<RecordToJoin> records;
    for (CaptureLoss const& loss : log.losses) {
        std::int64_t const time = ToWholeMilliSec(loss.timeNanoSec);
        std::string const frames = std::to_string(loss.frames * 20) + " ms of sound";
        records.push_back(
            {{time, time, 0, true, loss.isAtRingEnd ? "the ring began again" : "sound lost",
              loss.isAtRingEnd ? "The ring began again: it left out " + frames : "Lost " + frames, 1},
             false});
    }
    if (log.check) {
        for (Listening::TimelineJump const& jump : log.check->exact.jumps) {
            std::int64_t const time =
                SoundStartMilliSec(log) +
                std::llround(Listening::SamplesToMilliSec(static_cast<double>(jump.sentSample)));
            records.push_back({{time, time, 0, true, "out of step", DescribeJumps({jump}), 1}, false});
        }
    }
    return JoinRecords(std::move(records));
}

void AddSounds(CaptureLog const& log, ReportModel& model, std::vector<SideFile>& files) {
    std::int64_t const start = SoundStartMilliSec(log);
    if (log.check && !log.check->sent.empty() && !log.sound.empty()) {
        Listening::SampleView const played =
            Listening::SampleView(log.check->sent).Cut(0, static_cast<std::int64_t>(log.sound.size()));
        model.sounds.push_back(PlaySound("played", "Sound played, from where the recording starts", played,
                                         start, SoundFileName(log.startedAt, "played"), files));
    }
    if (!log.sound.empty()) {
        model.sounds.push_back(PlaySound("recorded", "Sound recorded", log.sound, start,
                                         SoundFileName(log.startedAt, "recorded"), files));
    }
}

} // namespace

ReportModel DescribeRun(CaptureLog const& log, std::vector<SideFile>& files) {
    Verdict const verdict = Judge(log);
    ReportModel model;
    model.kind = "record";
    model.title = "Recording report";
    model.subject = log.name;
    model.startedAt = log.startedAt;
    model.grade = ToGrade(verdict.outcome);
    model.verdict = verdict.text;
    model.figures = Figures(log);
    model.parts = Parts(log);
    model.facts = log.facts;
    model.sessions = {InNumbers(log)};
    model.timeZero = "from the opening of the microphone";
    std::int64_t const soundEnd =
        SoundStartMilliSec(log) +
        std::llround(Listening::SamplesToMilliSec(static_cast<double>(log.samples)));
    model.endMilliSec = std::max<std::int64_t>({100, ToWholeMilliSec(log.lastNanoSec), soundEnd});
    model.charts = Charts(log, model.endMilliSec);
    ThinOut(model.charts);
    model.records = Records(log);
    AddSounds(log, model, files);
    return model;
}

Report FormatReport(CaptureLog const& log) {
    Report report;
    report.html = FormatReportPage(DescribeRun(log, report.files));
    return report;
}

} // namespace AudioHost
