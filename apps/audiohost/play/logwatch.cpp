#include "play/logwatch.h"

#include <algorithm>
#include <utility>

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

void AddEvent(PlayEvent event, std::vector<PlayEvent>& events) {
    bool const isRepeat = event.kind == EventKind_t::SmallGap || event.kind == EventKind_t::PacketLoss;
    auto const before = std::find_if(events.rbegin(), events.rend(),
                                     [&](PlayEvent const& one) { return one.kind == event.kind; });
    if (!isRepeat || before == events.rend() ||
        event.timeNanoSec - before->lastNanoSec > Media::EpisodeQuietNanoSec) {
        events.push_back(std::move(event));
        return;
    }
    before->lastNanoSec = event.timeNanoSec;
    ++before->count;
}

} // namespace AudioHost
