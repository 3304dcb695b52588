#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pipeline/rendererevent.h"

namespace AudioHost {

using EventKind_t = Media::RendererEventKind_t;

/// A log record on the time axis of a playback.
struct PlayEvent {
    EventKind_t kind = EventKind_t::Other;
    /// Since the first frame was handed over.
    std::int64_t timeNanoSec = 0;
    std::string text;
};

/// Records of one kind in close succession, told as one.
struct EventGroup {
    EventKind_t kind = EventKind_t::Other;
    std::int64_t firstNanoSec = 0;
    std::int64_t lastNanoSec = 0;
    std::uint64_t count = 0;
    /// The first record's text.
    std::string text;
};

/// In a person's words: "playback started".
char const* KindInWords(EventKind_t kind);

/// Joins events of one kind of which each follows the one before within two seconds; ordered by first time.
/// `events` are in the order of time.
std::vector<EventGroup> GroupEvents(std::vector<PlayEvent> const& events);

} // namespace AudioHost
