#include "report/reportcompare.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "terminal/hosterror.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

using nlohmann::json;

constexpr int KnownVersion = 1;

[[noreturn]] void Refuse(std::string const& why) {
    throw HostError(ExitCode_t::Usage, "these cannot be compared: " + why + ".");
}

/// Of a page the data in it.
std::string FindData(std::string const& text) {
    std::string const start = "<script type=\"application/json\" id=\"data\">";
    std::size_t const found = text.find(start);
    std::size_t const from = found == std::string::npos ? 0 : found + start.size();
    return text.substr(from, found == std::string::npos ? text.size() : text.find("</script>", from) - from);
}

json ReadReport(std::string const& text) {
    json report = json::parse(FindData(text), nullptr, false);
    if (!report.is_object() || report.value("schema", json()) != "audiohost-report") {
        Refuse("one of them is no report");
    }
    if (report.value("version", json()) != KnownVersion) {
        Refuse("one of them was written by another version of this program");
    }
    return report;
}

struct Named {
    std::string name;
    json figure;
};

/// Of the run, then of each of its first `sessions`.
std::vector<Named> ListFigures(json const& report, std::size_t sessions) {
    std::vector<Named> figures;
    for (json const& figure : report.at("figures")) {
        figures.push_back({figure.at("name").get<std::string>(), figure});
    }
    for (std::size_t i = 0; i < sessions; ++i) {
        std::string const of = "session " + std::to_string(i + 1) + ": ";
        for (json const& figure : report.at("sessions").at(i).at("figures")) {
            figures.push_back({of + figure.at("name").get<std::string>(), figure});
        }
    }
    return figures;
}

std::string Format(json const& figure) {
    auto const perUnit = figure.at("perUnit").get<std::int64_t>();
    auto const value = figure.at("value").get<std::int64_t>();
    std::string const unit = figure.at("unit").get<std::string>();
    return (perUnit == 1 ? std::to_string(value)
                         : FormatFixed(static_cast<double>(value) / static_cast<double>(perUnit), 2)) +
           (unit.empty() ? "" : " " + unit);
}

struct Lists {
    std::string better;
    std::string worse;
    std::string other;
    std::uint64_t same = 0;
};

void Compare(Named const& before, json const& after, Lists& lists) {
    std::string const line =
        "  " + before.name + ": " + Format(before.figure) + " -> " + Format(after) + "\n";
    std::string const wish = before.figure.at("better").get<std::string>();
    bool const isLess = after.at("value").get<std::int64_t>() < before.figure.at("value").get<std::int64_t>();
    if (Format(before.figure) == Format(after)) {
        ++lists.same;
    } else if (wish.empty()) {
        lists.other += line;
    } else {
        (isLess == (wish == "less") ? lists.better : lists.worse) += line;
    }
}

Named const* Find(std::vector<Named> const& figures, std::string const& name) {
    auto const found =
        std::find_if(figures.begin(), figures.end(), [&](Named const& one) { return one.name == name; });
    return found == figures.end() ? nullptr : &*found;
}

/// Null when there is none.
json FindFact(json const& report, json const& name) {
    for (json const& fact : report.at("facts")) {
        if (fact.at("name") == name) {
            return fact.at("value");
        }
    }
    return {};
}

std::string CompareFacts(json const& before, json const& after) {
    std::string text;
    for (json const& fact : before.at("facts")) {
        json const other = FindFact(after, fact.at("name"));
        if (!other.is_null() && fact.at("value") != other) {
            text += "  " + fact.at("name").get<std::string>() + ": " + fact.at("value").get<std::string>() +
                    " -> " + other.get<std::string>() + "\n";
        }
    }
    return text;
}

/// A report, and its figures as far as both may have them.
struct Side {
    std::string which;
    json const& report;
    std::vector<Named> figures;
};

/// What `one` has and `other` has not.
std::string ListOwn(Side const& one, Side const& other) {
    std::string const start = "  " + one.which + ": ";
    std::string text;
    for (Named const& figure : one.figures) {
        if (!Find(other.figures, figure.name)) {
            text += start + figure.name + ": " + Format(figure.figure) + "\n";
        }
    }
    json const& sessions = one.report.at("sessions");
    for (std::size_t i = other.report.at("sessions").size(); i < sessions.size(); ++i) {
        text += start + "session " + std::to_string(i + 1) + ", " +
                sessions.at(i).at("name").get<std::string>() + "\n";
    }
    for (json const& fact : one.report.at("facts")) {
        if (FindFact(other.report, fact.at("name")).is_null()) {
            text += start + fact.at("name").get<std::string>() + ": " + fact.at("value").get<std::string>() +
                    "\n";
        }
    }
    return text;
}

std::string Heading(char const* which, json const& report) {
    return std::string(which) + report.at("subject").get<std::string>() + ", " +
           report.at("startedAt").get<std::string>() + ": " +
           report.at("verdict").at("text").get<std::string>() + "\n";
}

std::string Section(std::string const& title, std::string const& lines) {
    return lines.empty() ? "" : title + "\n" + lines;
}

/// Reports come from anywhere: what they hold must not steer the terminal. Controls are one byte, or in UTF-8
/// two: C2 and what would be a control without it.
std::string WithoutControls(std::string const& text) {
    std::string plain;
    for (char const character : text) {
        auto const code = static_cast<unsigned char>(character);
        bool const isSecond = code >= 0x80U && code < 0xA0U && !plain.empty() && plain.back() == '\xC2';
        if (isSecond) {
            plain.back() = '?';
        } else {
            plain += (code < 0x20U && character != '\n') || code == 0x7FU ? '?' : character;
        }
    }
    return plain;
}

std::string CompareParsed(json const& before, json const& after) {
    if (before.at("kind") != after.at("kind")) {
        Refuse("they are of different commands");
    }
    std::size_t const sessions = std::min(before.at("sessions").size(), after.at("sessions").size());
    Side const old{"before", before, ListFigures(before, sessions)};
    Side const fresh{"after", after, ListFigures(after, sessions)};
    Lists lists;
    for (Named const& one : old.figures) {
        if (Named const* const figure = Find(fresh.figures, one.name)) {
            Compare(one, figure->figure, lists);
        }
    }
    return Heading("Before: ", before) + Heading("After:  ", after) + Section("Better", lists.better) +
           Section("Worse", lists.worse) + Section("Else changed", lists.other) +
           Section("Run with", CompareFacts(before, after)) +
           Section("In one of them only", ListOwn(old, fresh) + ListOwn(fresh, old)) +
           "The same: " + FormatCount(lists.same, "figure") + ".\n";
}

} // namespace

std::string CompareReports(std::string const& before, std::string const& after) {
    json const first = ReadReport(before);
    json const second = ReadReport(after);
    try {
        return WithoutControls(CompareParsed(first, second));
    } catch (json::exception const&) {
        Refuse("one of them is damaged");
    }
}

} // namespace AudioHost
