#include "play/logwatch.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "pipeline/statistics.h"

namespace AudioHost {

namespace {

/// Up to the first number.
std::string_view SentenceOf(std::string_view text) {
    return text.substr(0, text.find_first_of("+-0123456789"));
}

} // namespace

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
    bool const isOther = event.kind == EventKind_t::Other;
    bool const mayRepeat =
        isOther || event.kind == EventKind_t::SmallGap || event.kind == EventKind_t::PacketLoss;
    auto const before = std::find_if(events.rbegin(), events.rend(), [&](PlayEvent const& one) {
        return one.kind == event.kind && (!isOther || SentenceOf(one.text) == SentenceOf(event.text));
    });
    bool const isRepeat = mayRepeat && before != events.rend() &&
                          event.timeNanoSec - before->lastNanoSec <= Media::EpisodeQuietNanoSec;
    bool const isFull = before != events.rend() && events.size() >= MaxEvents;
    if (!isRepeat && !isFull) {
        events.push_back(std::move(event));
        return;
    }
    before->lastNanoSec = event.timeNanoSec;
    ++before->count;
}

} // namespace AudioHost
