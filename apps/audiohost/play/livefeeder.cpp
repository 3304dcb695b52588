#include "play/livefeeder.h"

#include <algorithm>
#include <utility>

#include "kovra/log.h"
#include "play/feeder.h"

namespace AudioHost {

namespace {

/// How often it is looked for packets: adds as much to the way of a frame.
constexpr std::int64_t PollNanoSec = 5 * Kovra::NanoSecPerMilliSec;
/// How often the log is told of the streams.
constexpr std::int64_t TellNanoSec = 200 * Kovra::NanoSecPerMilliSec;

} // namespace

LiveFeeder::~LiveFeeder() {
    // All at once: each may take its time to say goodbye.
    for (Track const& track : tracks_) {
        track.stream->Stop();
    }
}

void LiveFeeder::Add(Media::Pipeline::SessionId_t session, std::size_t number,
                     std::unique_ptr<LiveStream> stream) {
    Track track;
    track.session = session;
    track.number = number;
    track.stream = std::move(stream);
    tracks_.push_back(std::move(track));
}

bool LiveFeeder::Run(Kovra::JiffyTime start, std::int64_t limitNanoSec) {
    startNanoSec_ = start.NanoSec();
    endNanoSec_ = startNanoSec_;
    std::int64_t told = startNanoSec_;
    while (!IsOver()) {
        Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
        if (limitNanoSec > 0 && now.NanoSec() - startNanoSec_ >= limitNanoSec) {
            break;
        }
        for (Track& track : tracks_) {
            Kovra::LogSubject const subject(track.session);
            track.stream->Pump(now, [&](LiveFrame& frame) { Hand(track, frame); });
        }
        if (now.NanoSec() - told >= TellNanoSec) {
            told = now.NanoSec();
            Tell();
        }
        if (!pacer_.WaitUntil(Kovra::JiffyTime(now.NanoSec() + PollNanoSec))) {
            Tell();
            return false;
        }
    }
    Tell();
    return tracks_.empty() || pacer_.WaitUntil(Kovra::JiffyTime(endNanoSec_ + TailNanoSec));
}

void LiveFeeder::Hand(Track& track, LiveFrame& frame) {
    MediaFrame& media = frame.media;
    if (!track.hasBegun) {
        track.hasBegun = true;
        std::int64_t const lead = track.stream->GetState().clock.leadNanoSec;
        // The log takes sound to be heard a lead after its position.
        track.offsetNanoSec =
            std::max<std::int64_t>(0, frame.due.NanoSec() - lead - startNanoSec_) - media.positionNanoSec;
    }
    media.positionNanoSec += track.offsetNanoSec;
    endNanoSec_ = std::max(endNanoSec_, frame.due.NanoSec() + media.durationNanoSec);
    if (media.positionNanoSec >= 0) {
        keeper_.AddSent(track.number, media);
        keeper_.AddArrival(track.number, frame.spareNanoSec);
    }
    pipeline_.Submit(track.session, std::move(media.frame), frame.due);
}

void LiveFeeder::Tell() {
    for (Track const& track : tracks_) {
        keeper_.AddStream(track.number, track.stream->GetState());
    }
}

bool LiveFeeder::IsOver() const {
    return std::all_of(tracks_.begin(), tracks_.end(),
                       [](Track const& track) { return track.stream->IsOver(); });
}

} // namespace AudioHost
