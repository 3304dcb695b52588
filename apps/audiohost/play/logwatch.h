#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pipeline/rendererevent.h"

namespace AudioHost {

using EventKind_t = Media::RendererEventKind_t;

/// A log record on the time axis of a playback, or several of one kind in close succession.
struct PlayEvent {
    EventKind_t kind = EventKind_t::Other;
    /// Since the first frame was handed over.
    std::int64_t timeNanoSec = 0;
    /// The first record's.
    std::string text;
    std::int64_t lastNanoSec = timeNanoSec;
    std::uint64_t count = 1;
};

/// In a person's words: "playback started".
char const* KindInWords(EventKind_t kind);

/// Adds the latest one. Small gaps and lost packets, which may come with every frame, are joined to one of
/// their kind that was there within two seconds.
void AddEvent(PlayEvent event, std::vector<PlayEvent>& events);

} // namespace AudioHost
