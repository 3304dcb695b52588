#include <nlohmann/json.hpp>

#include "listening/samples.h"
#include "page/reportpage.h"
#include "page/text.h"

namespace AudioHost {

namespace {

/// In the order in which members are written down.
using Json = nlohmann::ordered_json;

/// Raised when a reader of the one before would misread.
constexpr int SchemaVersion = 1;

char const* Name(Grade_t grade) {
    switch (grade) {
        case Grade_t::Good:
            return "good";
        case Grade_t::Fair:
            return "fair";
        case Grade_t::Bad:
            break;
    }
    return "bad";
}

char const* Name(Better_t better) {
    switch (better) {
        case Better_t::Less:
            return "less";
        case Better_t::More:
            return "more";
        case Better_t::Neither:
            break;
    }
    return "";
}

template <class Element, class Function>
Json List(std::vector<Element> const& elements, Function const& convert) {
    Json list = Json::array();
    for (Element const& element : elements) {
        list.push_back(convert(element));
    }
    return list;
}

Json FromFigure(ReportFigure const& figure) {
    return {{"name", figure.name},
            {"value", figure.value},
            {"unit", figure.unit},
            {"perUnit", figure.perUnit},
            {"better", Name(figure.better)}};
}

Json FromPart(ReportPart const& part) {
    return {{"title", part.title}, {"sentences", part.sentences}};
}

Json FromFact(Fact const& fact) {
    return {{"name", fact.first}, {"value", fact.second}};
}

Json FromSession(ReportSession const& session) {
    return {{"name", session.name},
            {"description", session.description},
            {"figures", List(session.figures, FromFigure)}};
}

Json FromSeries(ReportSeries const& series) {
    return {{"name", series.name}, {"timesMilliSec", series.timesMilliSec}, {"values", series.values}};
}

Json FromChart(ReportChart const& chart) {
    return {{"id", chart.id},
            {"title", chart.title},
            {"unit", chart.unit},
            {"perUnit", chart.perUnit},
            {"isStepped", chart.isStepped},
            {"low", chart.low},
            {"high", chart.high},
            {"series", List(chart.series, FromSeries)}};
}

Json FromHistogram(ReportHistogram const& histogram) {
    return {{"id", histogram.id},           {"title", histogram.title}, {"unit", histogram.unit},
            {"perUnit", histogram.perUnit}, {"start", histogram.start}, {"step", histogram.step},
            {"counts", histogram.counts}};
}

Json FromSpectrogram(ReportSpectrogram const& spectrogram) {
    return {{"columnMicroSec", spectrogram.columnMicroSec},
            {"rows", spectrogram.rows},
            {"lowHz", spectrogram.lowHz},
            {"highHz", spectrogram.highHz},
            {"levels", Base64({spectrogram.levels.begin(), spectrogram.levels.end()})}};
}

Json FromSound(ReportSound const& sound) {
    return {{"id", sound.id},
            {"title", sound.title},
            {"startMilliSec", sound.startMilliSec},
            {"lengthMilliSec", sound.lengthMilliSec},
            {"wave",
             {{"stretchMicroSec", sound.wave.stretchMicroSec},
              {"low", sound.wave.low},
              {"high", sound.wave.high}}},
            {"spectrogram", FromSpectrogram(sound.spectrogram)},
            {"flac", Base64(sound.flac)},
            {"fileName", sound.fileName}};
}

Json FromRecord(ReportRecord const& record) {
    return {{"fromMilliSec", record.fromMilliSec},
            {"toMilliSec", record.toMilliSec},
            {"session", record.session ? Json(*record.session) : Json()},
            {"isFault", record.isFault},
            {"kind", record.kind},
            {"text", record.text},
            {"count", record.count}};
}

/// `<` stands in texts alone; written as below, nothing reads as the end of a script or the start of a
/// comment.
std::string HideTags(std::string const& json) {
    std::string hidden;
    for (char const character : json) {
        if (character == '<') {
            hidden += "\\u003c";
        } else {
            hidden += character;
        }
    }
    return hidden;
}

} // namespace

std::string FormatReportJson(ReportModel const& model) {
    Json const json = {{"schema", "audiohost-report"},
                       {"version", SchemaVersion},
                       {"kind", model.kind},
                       {"title", model.title},
                       {"subject", model.subject},
                       {"startedAt", FormatUtc(model.startedAt)},
                       {"verdict", {{"grade", Name(model.grade)}, {"text", model.verdict}}},
                       {"figures", List(model.figures, FromFigure)},
                       {"parts", List(model.parts, FromPart)},
                       {"facts", List(model.facts, FromFact)},
                       {"sessions", List(model.sessions, FromSession)},
                       {"timeZero", model.timeZero},
                       {"endMilliSec", model.endMilliSec},
                       {"charts", List(model.charts, FromChart)},
                       {"histograms", List(model.histograms, FromHistogram)},
                       {"sounds", List(model.sounds, FromSound)},
                       {"records", List(model.records, FromRecord)}};
    return HideTags(json.dump(-1, ' ', false, Json::error_handler_t::replace));
}

} // namespace AudioHost
