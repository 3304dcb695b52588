#pragma once

#include <cstddef>
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

/// What is kept of a session, two megabytes: a change of the playback frequency every ten seconds of a day.
constexpr std::size_t MaxEvents = 10'000;

/// Adds the latest one. Joined to one like it that was there within two seconds: small gaps and lost packets,
/// which may come with every frame, and other records that differ in their numbers alone, as of a stream that
/// breaks again and again. Beyond `MaxEvents` whatever has happened before is joined to the last time it did.
void AddEvent(PlayEvent event, std::vector<PlayEvent>& events);

} // namespace AudioHost
