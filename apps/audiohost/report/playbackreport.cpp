#include "report/playbackreport.h"

#include <algorithm>
#include <vector>

#include "listening/stats.h"
#include "report/judgement.h"
#include "report/playbackcharts.h"
#include "report/playbacksummary.h"
#include "report/reportparts.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

/// A page with more rows than these would be slow to open and slower to read.
constexpr std::size_t MaxEventRows = 300;

std::string Header(PlaybackLog const& log) {
    std::string names;
    for (SessionLog const& session : log.sessions) {
        names += (names.empty() ? "" : ", ") + session.name;
    }
    return "<header>" + Tag("h1", "Playback report") +
           Tag("p", names + " \xC2\xB7 " + FormatUtc(log.startedAt) + " \xC2\xB7 heard " +
                        std::to_string(log.leadMilliSec) + " ms after being handed over") +
           "</header>\n";
}

std::string Tiles(PlaybackLog const& log) {
    std::uint64_t frames = 0;
    std::uint64_t failed = 0;
    std::uint64_t changes = 0;
    std::int64_t sent = 0;
    std::vector<double> errors;
    for (SessionLog const& session : log.sessions) {
        frames += session.framesSent;
        failed += session.jobsFailed;
        changes += CountEvents(session, EventKind_t::FrequencyChange);
        sent = std::max(sent, session.sentNanoSec);
        std::vector<double> const own = Listening::Magnitudes(ErrorsOf(session));
        errors.insert(errors.end(), own.begin(), own.end());
    }
    std::string html =
        "<div class=\"tiles\">\n" +
        Tile(FormatFixed(static_cast<double>(sent) / Listening::NanoSecPerSec, 1) + " s", "played") +
        Tile(std::to_string(frames), "frames handed over") + Tile(std::to_string(failed), "of them failed") +
        Tile(FormatFixed(Listening::Median(errors), 1) + " ms", "median presentation error") +
        Tile(FormatFixed(Listening::Percentile(errors, 0.95), 1) + " ms", "95 % of frames within") +
        Tile(std::to_string(changes), "frequency changes");
    if (log.comparison) {
        html += Tile(FormatFixed(100.0 * log.comparison->GetMatchedShare(), 1) + " %", "heard as sent");
    }
    return html + "</div>\n";
}

std::string InWords(PlaybackLog const& log) {
    std::string html = "<section>" + VerdictLine(Judge(log)) + Tiles(log);
    for (SessionLog const& session : log.sessions) {
        html += Sentences(session.name, DescribeSession(session));
    }
    if (log.comparison) {
        html += Sentences("What came out of the loudspeaker", DescribeComparison(*log.comparison));
    }
    html += Sentences("The output", DescribeOutput(log.output, log.leadMilliSec));
    return html + "</section>\n";
}

std::string SessionTable(SessionLog const& session) {
    std::vector<double> const errors = ErrorsOf(session);
    std::vector<double> const magnitudes = Listening::Magnitudes(errors);
    std::string const duration =
        session.durationNanoSec > 0
            ? FormatFixed(static_cast<double>(session.durationNanoSec) / Listening::NanoSecPerSec, 3) + " s"
            : "unknown";
    std::string html =
        "<section>" + Tag("h3", session.name) + "<div class=\"scroll\"><table>\n" +
        Row("File", session.description) + Row("Duration of the file", duration) +
        Row("Handed over",
            FormatFixed(static_cast<double>(session.sentNanoSec) / Listening::NanoSecPerSec, 3) + " s in " +
                FormatCount(session.framesSent, "frame")) +
        Row("Jobs that succeeded", std::to_string(session.jobsSucceeded)) +
        Row("Jobs that failed", std::to_string(session.jobsFailed)) +
        Row("Presentation error, median of its magnitude",
            FormatFixed(Listening::Median(magnitudes), 3) + " ms") +
        Row("Presentation error, 95th percentile",
            FormatFixed(Listening::Percentile(magnitudes, 0.95), 3) + " ms") +
        Row("Presentation error, earliest and latest",
            FormatSigned(Listening::Percentile(errors, 0.0), 3) + " ms, " +
                FormatSigned(Listening::Percentile(errors, 1.0), 3) + " ms") +
        Row("Changes of the playback frequency",
            std::to_string(CountEvents(session, EventKind_t::FrequencyChange)));
    for (EventKind_t const kind : {EventKind_t::DriftReset, EventKind_t::LateStop, EventKind_t::PacketLoss,
                                   EventKind_t::SmallGap, EventKind_t::RateChange}) {
        if (std::uint64_t const count = CountEvents(session, kind)) {
            html += Row(std::string("Log: ") + KindInWords(kind), std::to_string(count));
        }
    }
    return html + "</table></div></section>\n";
}

struct EventRow {
    EventGroup group;
    std::string session;
};

std::vector<EventRow> CollectEvents(PlaybackLog const& log) {
    std::vector<EventRow> rows;
    for (SessionLog const& session : log.sessions) {
        for (EventGroup const& group : GroupEvents(session.events)) {
            rows.push_back({group, session.name});
        }
    }
    for (EventGroup const& group : GroupEvents(log.otherEvents)) {
        rows.push_back({group, "-"});
    }
    std::stable_sort(rows.begin(), rows.end(), [](EventRow const& a, EventRow const& b) {
        return a.group.firstNanoSec < b.group.firstNanoSec;
    });
    return rows;
}

std::string EventTable(PlaybackLog const& log) {
    std::vector<EventRow> const rows = CollectEvents(log);
    if (rows.empty()) {
        return "";
    }
    std::string html = Tag("h2", "Log records") +
                       "<div class=\"scroll\"><table>\n<tr><th class=\"number\">Time (s)</th><th>Session</th>"
                       "<th>Record</th><th class=\"number\">Times</th></tr>\n";
    for (std::size_t i = 0; i < std::min(rows.size(), MaxEventRows); ++i) {
        EventGroup const& group = rows[i].group;
        std::string time = FormatFixed(static_cast<double>(group.firstNanoSec) / Listening::NanoSecPerSec, 3);
        if (group.lastNanoSec > group.firstNanoSec) {
            time +=
                " to " + FormatFixed(static_cast<double>(group.lastNanoSec) / Listening::NanoSecPerSec, 3);
        }
        html += "<tr><td class=\"number\">" + time + "</td>" + Tag("td", rows[i].session) +
                Tag("td", group.text) + "<td class=\"number\">" + std::to_string(group.count) +
                "</td></tr>\n";
    }
    html += "</table></div>\n";
    if (rows.size() > MaxEventRows) {
        html += Tag("p class=\"muted\"", std::to_string(rows.size() - MaxEventRows) + " more are left out.");
    }
    return html;
}

} // namespace

std::string FormatReport(PlaybackLog const& log) {
    std::string html =
        Header(log) + InWords(log) + Tag("h2", "Over time") + FormatCharts(log) + Tag("h2", "Sessions");
    for (SessionLog const& session : log.sessions) {
        html += SessionTable(session);
    }
    return FormatPage("Playback report", html + EventTable(log));
}

} // namespace AudioHost
