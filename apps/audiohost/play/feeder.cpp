#include "play/feeder.h"

#include <algorithm>
#include <utility>

namespace AudioHost {

namespace {

Kovra::JiffyTime After(Kovra::JiffyTime instant, std::int64_t nanoSec) {
    return Kovra::JiffyTime(instant.NanoSec() + nanoSec);
}

} // namespace

void Feeder::Add(Media::Pipeline::SessionId_t session, std::size_t number,
                 std::unique_ptr<SoundSource> source) {
    Track track;
    track.session = session;
    track.number = number;
    track.source = std::move(source);
    tracks_.push_back(std::move(track));
}

void Feeder::ReadAhead(Track& track, std::int64_t limitNanoSec) {
    track.hasNext = track.source->ReadFrame(track.next) &&
                    (limitNanoSec == 0 || track.next.positionNanoSec < limitNanoSec);
}

Feeder::Track* Feeder::FindFirst() {
    Track* first = nullptr;
    for (Track& track : tracks_) {
        if (track.hasNext && (!first || track.next.positionNanoSec < first->next.positionNanoSec)) {
            first = &track;
        }
    }
    return first;
}

bool Feeder::Run(Kovra::JiffyTime start, std::int64_t leadMilliSec, std::int64_t limitNanoSec) {
    for (Track& track : tracks_) {
        ReadAhead(track, limitNanoSec);
    }
    std::int64_t const lead = leadMilliSec * Listening::NanoSecPerMilliSec;
    std::int64_t end = 0;
    while (Track* const track = FindFirst()) {
        std::int64_t const position = track->next.positionNanoSec;
        if (!pacer_.WaitUntil(After(start, position))) {
            return false;
        }
        keeper_.AddSent(track->number, track->next);
        pipeline_.Submit(track->session, std::move(track->next.frame), After(start, lead + position));
        end = std::max(end, position + track->next.durationNanoSec);
        ReadAhead(*track, limitNanoSec);
    }
    return pacer_.WaitUntil(After(start, lead + end + TailNanoSec));
}

} // namespace AudioHost
