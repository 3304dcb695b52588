#include "play/logwatch.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace AudioHost {

namespace {

constexpr std::uint32_t NominalHz = 48000;
constexpr std::int64_t GroupNanoSec = 2'000'000'000;

struct Meaning {
    char const* start;
    EventKind_t kind;
};

/// Beginnings of the texts that the renderer logs.
constexpr std::array<Meaning, 8> Meanings = {{
    {"AudioBuffer playback started", EventKind_t::Started},
    {"Adjusting audio frequency to ", EventKind_t::FrequencyChange},
    {"AudioBuffer timestamp drift too high, resetting", EventKind_t::DriftReset},
    {"AudioBuffer presentation requested in the past", EventKind_t::LateStop},
    {"Idle AudioBuffer playback stopped", EventKind_t::IdleStop},
    {"AudioBuffer packet loss", EventKind_t::PacketLoss},
    {"AudioBuffer ignoring small gap", EventKind_t::SmallGap},
    {"AudioBuffer resetting frequency to ", EventKind_t::RateChange},
}};

Meaning const* Find(std::string const& message) {
    auto const* const found = std::find_if(Meanings.begin(), Meanings.end(), [&](Meaning const& meaning) {
        return message.rfind(meaning.start, 0) == 0;
    });
    return found == Meanings.end() ? nullptr : found;
}

} // namespace

EventKind_t ReadKind(std::string const& message) {
    Meaning const* const meaning = Find(message);
    return meaning ? meaning->kind : EventKind_t::Other;
}

std::optional<std::uint32_t> ReadFrequency(std::string const& message) {
    Meaning const* const meaning = Find(message);
    if (!meaning) {
        return std::nullopt;
    }
    switch (meaning->kind) {
        case EventKind_t::Started:
        case EventKind_t::DriftReset:
            return NominalHz;
        case EventKind_t::FrequencyChange: {
            std::string const number = message.substr(std::string(meaning->start).size());
            auto const hz = static_cast<std::uint32_t>(std::strtoul(number.c_str(), nullptr, 10));
            return hz > 0 ? std::optional<std::uint32_t>(hz) : std::nullopt;
        }
        default:
            return std::nullopt;
    }
}

char const* KindInWords(EventKind_t kind) {
    switch (kind) {
        case EventKind_t::Started:
            return "playback started";
        case EventKind_t::FrequencyChange:
            return "playback frequency changed";
        case EventKind_t::DriftReset:
            return "play cursor moved, drift too high";
        case EventKind_t::LateStop:
            return "stopped, frame came too late";
        case EventKind_t::IdleStop:
            return "stopped as idle";
        case EventKind_t::PacketLoss:
            return "packet loss";
        case EventKind_t::SmallGap:
            return "small gap closed";
        case EventKind_t::RateChange:
            return "sampling rate changed";
        case EventKind_t::Other:
            break;
    }
    return "other record";
}

std::vector<EventGroup> GroupEvents(std::vector<PlayEvent> const& events) {
    std::vector<EventGroup> groups;
    for (PlayEvent const& event : events) {
        auto const open = std::find_if(groups.rbegin(), groups.rend(), [&](EventGroup const& group) {
            return group.kind == event.kind && event.timeNanoSec - group.lastNanoSec <= GroupNanoSec;
        });
        // A record with another number in it (a frequency) says something new.
        bool const isRepeat = event.kind == EventKind_t::SmallGap || event.kind == EventKind_t::PacketLoss ||
                              event.kind == EventKind_t::LateStop || event.kind == EventKind_t::DriftReset;
        if (open != groups.rend() && isRepeat) {
            open->lastNanoSec = event.timeNanoSec;
            ++open->count;
        } else {
            groups.push_back({event.kind, event.timeNanoSec, event.timeNanoSec, 1, event.text});
        }
    }
    return groups;
}

} // namespace AudioHost
