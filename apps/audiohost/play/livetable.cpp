#include "play/livetable.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>

#include "listening/samples.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

using Media::PipelineStatistics_t;
using Media::SessionStatistics_t;

/// Of a line without the name: what a window of 80 columns leaves is the name's.
constexpr std::size_t NumberWidth = 2;
constexpr std::size_t FiguresWidth = 64;
constexpr std::size_t MinNameWidth = 12;
constexpr std::size_t MinLines = 3;
constexpr double BulkShare = 0.95;
/// Characters up to here take one place each; of others nobody knows.
constexpr std::uint32_t LastLatin = 0x24F;

std::string PadLeft(std::string const& text, std::size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

/// With one decimal if that fits, else with none; a number too long even so as what it exceeds.
std::string FormatNumber(double value, std::size_t width) {
    for (int const decimals : {1, 0}) {
        std::string text = FormatSigned(value, decimals);
        if (text.size() <= width) {
            return text;
        }
    }
    return (value < 0.0 ? "<-" : ">") + std::string(width - (value < 0.0 ? 2 : 1), '9');
}

/// Up to four places: "9999", "12k", "3M".
std::string FormatShort(std::uint64_t count) {
    std::uint64_t unit = 1;
    for (char const* const name : {"", "k", "M", "G"}) {
        if (count / unit < (unit == 1 ? 10'000U : 1'000U)) {
            return std::to_string(count / unit) + name;
        }
        unit *= 1'000;
    }
    return ">1T";
}

/// The next character of UTF-8 text, whose place in it moves on; malformed bytes stand for themselves.
std::uint32_t ReadCharacter(std::string const& text, std::size_t& place) {
    auto const first = static_cast<unsigned char>(text[place++]);
    std::size_t const more = first < 0xC0 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
    std::uint32_t character = more == 0 ? first : first & (0x3FU >> more);
    for (std::size_t i = 0; i < more && place < text.size(); ++i) {
        character = character << 6U | (static_cast<unsigned char>(text[place++]) & 0x3FU);
    }
    return character;
}

/// `name` in `width` places, cut or filled up; a question mark for what may be wider.
std::string FitName(std::string const& name, std::size_t width) {
    std::string fitted;
    std::size_t used = 0;
    for (std::size_t place = 0; place < name.size() && used < width; ++used) {
        std::size_t const begin = place;
        std::uint32_t const character = ReadCharacter(name, place);
        bool const isOnePlace = (character >= 0x20 && character < 0x7F) ||
                                (character >= 0xA0 && character <= LastLatin && place - begin == 2);
        fitted += isOnePlace ? name.substr(begin, place - begin) : "?";
    }
    return fitted + std::string(width - used, ' ');
}

/// What `BulkShare` of the jobs keep within, of either sign.
std::int64_t GetBulkErrorNanoSec(SessionStatistics_t const& session) {
    double const rest = (1.0 - BulkShare) / 2.0;
    std::int64_t const early = session.error.GetQuantileNanoSec(rest);
    std::int64_t const late = session.error.GetQuantileNanoSec(1.0 - rest);
    return std::abs(early) > std::abs(late) ? early : late;
}

std::string FormatFigures(SessionStatistics_t const& session) {
    auto const episodes = [](Media::Episodes_t const& some) {
        return ' ' + PadLeft(FormatShort(some.episodes), 4);
    };
    std::string const trend = session.trendPpm ? FormatNumber(*session.trendPpm, 6) : "-";
    std::string const frequency = session.frequencyHz == 0 ? "-" : std::to_string(session.frequencyHz);
    double const renderMicroSec = session.renderTime.GetMeanNanoSec() / Listening::NanoSecPerMicroSec;
    return ' ' + PadLeft(FormatNumber(Listening::ToMilliSec(session.errorNanoSec), 7), 7) + ' ' +
           PadLeft(FormatNumber(Listening::ToMilliSec(GetBulkErrorNanoSec(session)), 6), 6) + ' ' +
           PadLeft(trend, 6) + ' ' + PadLeft(frequency, 5) + episodes(session.starts) +
           episodes(session.failures) + episodes(session.lateJobs) + episodes(session.jumps) +
           episodes(session.losses) + episodes(session.smallGaps) + ' ' +
           PadLeft(FormatShort(static_cast<std::uint64_t>(std::llround(renderMicroSec))), 5);
}

SessionStatistics_t GetAll(PipelineStatistics_t const& statistics) {
    SessionStatistics_t all;
    for (SessionStatistics_t const& session : statistics.sessions) {
        Media::Merge(session, all);
    }
    return all;
}

/// As many as `count`, the furthest out of time, in the order of their numbers.
std::vector<SessionStatistics_t const*> Choose(std::vector<SessionStatistics_t> const& sessions,
                                               std::size_t count) {
    std::vector<SessionStatistics_t const*> chosen;
    chosen.reserve(sessions.size());
    for (SessionStatistics_t const& session : sessions) {
        chosen.push_back(&session);
    }
    std::stable_sort(chosen.begin(), chosen.end(), [](auto const* a, auto const* b) {
        return std::abs(a->errorNanoSec) > std::abs(b->errorNanoSec);
    });
    chosen.resize(std::min(count, chosen.size()));
    std::sort(chosen.begin(), chosen.end(),
              [](auto const* a, auto const* b) { return a->session < b->session; });
    return chosen;
}

} // namespace

std::vector<std::string> FormatLiveTable(PipelineStatistics_t const& statistics, SessionNames const& names,
                                         std::size_t columns, std::size_t rows) {
    std::size_t const width = std::max<std::size_t>(columns, 2) - 1;
    std::size_t const used = NumberWidth + 1 + FiguresWidth;
    std::size_t const nameWidth = std::max(MinNameWidth, width - std::min(width, used));
    std::vector<std::string> lines;
    auto const add = [&](std::string const& number, std::string const& name, std::string const& figures) {
        std::string const text = PadLeft(number, NumberWidth) + ' ' + FitName(name, nameWidth) + figures;
        // The name's characters may have two bytes; of a window too narrow for it the figures are cut.
        lines.push_back(FitName(text, width));
    };
    add("#", "file", "   error    95%  trend    Hz strt fail late jump loss gaps    us");
    std::size_t const room = std::max(MinLines, rows - std::min<std::size_t>(rows, 1));
    bool const hasAll = statistics.sessions.size() > 1;
    std::size_t const most = room - 1 - (hasAll ? 1 : 0);
    for (SessionStatistics_t const* const session : Choose(statistics.sessions, most)) {
        auto const name = names.find(session->session);
        add(std::to_string(session->session), name == names.end() ? "" : name->second,
            FormatFigures(*session));
    }
    if (hasAll) {
        add("", "all " + std::to_string(statistics.sessions.size()), FormatFigures(GetAll(statistics)));
    }
    return lines;
}

std::vector<std::string> FormatStreamTable(std::vector<StreamRow> const& streams, std::size_t columns) {
    std::size_t const width = std::max<std::size_t>(columns, 2) - 1;
    std::string const gap = "  ";
    std::size_t used = 0;
    for (StreamRow const& stream : streams) {
        used = std::max(used, gap.size() + stream.figures.size());
    }
    std::size_t const nameWidth = std::max(MinNameWidth, width - std::min(width, used));
    std::vector<std::string> lines;
    lines.reserve(streams.size());
    for (StreamRow const& stream : streams) {
        lines.push_back(FitName(FitName(stream.name, nameWidth) + gap + stream.figures, width));
    }
    return lines;
}

std::string FormatLiveLine(PipelineStatistics_t const& statistics) {
    SessionStatistics_t const all = GetAll(statistics);
    return FormatCount(statistics.sessions.size(), "session") + "  error " +
           FormatSigned(Listening::ToMilliSec(all.errorNanoSec), 1) + " ms, 95% " +
           FormatSigned(Listening::ToMilliSec(GetBulkErrorNanoSec(all)), 1) + " ms  " +
           FormatShort(all.failures.episodes) + " fail " + FormatShort(all.lateJobs.episodes) + " late " +
           FormatShort(all.jumps.episodes) + " jump " + FormatShort(all.losses.episodes) + " loss";
}

} // namespace AudioHost
