#include "play/logwatch.h"

#include <algorithm>

#include "pipeline/statistics.h"

namespace AudioHost {

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
            return group.kind == event.kind &&
                   event.timeNanoSec - group.lastNanoSec <= Media::EpisodeQuietNanoSec;
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
