#include "page/reportpage.h"

#include "page/pageassets.h"
#include "page/text.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

std::string Element(char const* name, std::string const& text) {
    return std::string("<") + name + ">" + EscapeHtml(text) + "</" + name + ">";
}

/// As a content security policy names a script or a style sheet.
std::string HashSource(PageAsset const& asset) {
    return "'sha256-" + Base64({asset.sha256.begin(), asset.sha256.end()}) + "'";
}

std::string FormatPolicy() {
    // Sounds lie in the page or beside it: "file:" where it is opened from a folder, "'self'" where it is
    // served.
    return "default-src 'none'; script-src " + HashSource(PageScript()) + "; style-src " +
           HashSource(PageStyle()) + "; media-src data: file: 'self'; base-uri 'none'; form-action 'none'";
}

std::string WithoutScript(ReportModel const& model) {
    std::string html = "<noscript>\n" + Element("h1", model.title) + "<p>" + EscapeHtml(model.subject) +
                       "</p>" + "<p><b>" + EscapeHtml(model.verdict) + "</b></p>\n";
    for (ReportPart const& part : model.parts) {
        html += Element("h2", part.title);
        for (std::string const& sentence : part.sentences) {
            html += Element("p", sentence);
        }
    }
    return html +
           "<p>Charts, sounds and tables need scripts, which are switched off here.</p>\n</noscript>\n";
}

} // namespace

std::string FormatReportPage(ReportModel const& model) {
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"" +
           FormatPolicy() +
           "\">\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<meta name=\"color-scheme\" content=\"light dark\">\n" +
           Element("title", model.title + ": " + model.subject) + "\n<!--\nCharts by uPlot:\n" +
           std::string(PageNotice().text) + "-->\n<style>" + std::string(PageStyle().text) +
           "</style>\n</head>\n<body>\n" + WithoutScript(model) +
           "<main id=\"page\"></main>\n<script type=\"application/json\" id=\"data\">" +
           FormatReportJson(model) + "</script>\n<script>" + std::string(PageScript().text) +
           "</script>\n</body>\n</html>\n";
}

} // namespace AudioHost
