#include "ears/take.h"

#include <algorithm>
#include <cstdint>
#include <map>

namespace SystemTest {

namespace {

using Listening::MilliSecToSamples;
using TestSupport::Disturbance;

constexpr std::int64_t NanoSecPerSample = Listening::NanoSecPerSec / Listening::SoundRateHz;

/// What happens is heard from then on (how late the recording's clock is, is known that well) until half a
/// second later: after the output's delay and two frames.
constexpr std::int64_t EarlierSamples = MilliSecToSamples(40);
constexpr std::int64_t LaterSamples = MilliSecToSamples(500);

/// What is to be heard at a time is heard from then on until so much later.
constexpr std::int64_t MaxDelaySamples = MilliSecToSamples(200);

std::int64_t FindSampleOf(SessionEvent const& event, Kovra::JiffyTime start) {
    return event.time.GetDiffSysTime(start).NanoSec() / NanoSecPerSample;
}

/// True when the cursor may have come to be late between the session's start and its move.
bool HasReason(SessionEvent const& move, std::vector<SessionEvent> const& events, Kovra::JiffyTime start,
               std::vector<Disturbance> const& outages) {
    // A session that had started before sample 0 has been through what is not known.
    std::int64_t since = INT64_MIN;
    for (SessionEvent const& event : events) {
        if (event.kind == SessionEvent::Kind_t::Started && event.session == move.session &&
            !(move.time < event.time)) {
            since = std::max(since, FindSampleOf(event, start) - EarlierSamples);
        }
    }
    // A standstill is heard when what was under way has been.
    std::int64_t const until = FindSampleOf(move, start) + MaxDelaySamples;
    bool const isLate = std::any_of(events.begin(), events.end(), [&](SessionEvent const& event) {
        return event.kind == SessionEvent::Kind_t::LateFrame && event.session == move.session &&
               FindSampleOf(event, start) >= since && !(move.time < event.time);
    });
    return isLate || TestSupport::IsDisturbed(outages, std::nullopt, since, until);
}

} // namespace

bool Take::IsCalm(std::optional<std::size_t> session, std::int64_t fromMilliSec,
                  std::int64_t toMilliSec) const {
    std::int64_t const from = MilliSecToSamples(fromMilliSec);
    std::int64_t const to = MilliSecToSamples(toMilliSec) + MaxDelaySamples;
    return std::none_of(disturbances.begin(), disturbances.end(), [&](Disturbance const& disturbance) {
        bool const isOthers = disturbance.session && disturbance.session != session;
        return !isOthers && disturbance.firstSample <= to && disturbance.lastSample >= from;
    });
}

bool Take::IsInTime(std::size_t session, std::uint64_t first, std::uint64_t end) const {
    return std::none_of(lateFrames.begin(), lateFrames.end(), [&](LateFrame const& frame) {
        return frame.session == session && frame.number >= first && frame.number < end;
    });
}

std::vector<Disturbance> PlaceEvents(std::vector<SessionEvent> const& events, Kovra::JiffyTime start,
                                     std::vector<Disturbance> const& outages) {
    std::vector<Disturbance> places;
    std::map<std::size_t, Disturbance> stopped;
    for (SessionEvent const& event : events) {
        std::int64_t const at = FindSampleOf(event, start);
        Disturbance const place = {event.session, at - EarlierSamples, at + LaterSamples};
        switch (event.kind) {
            case SessionEvent::Kind_t::LateFrame:
                places.push_back(place);
                break;
            case SessionEvent::Kind_t::Moved:
                if (HasReason(event, events, start, outages)) {
                    places.push_back(place);
                }
                break;
            case SessionEvent::Kind_t::Stopped:
                stopped.emplace(event.session, place);
                break;
            case SessionEvent::Kind_t::Started:
                if (auto const stop = stopped.find(event.session); stop != stopped.end()) {
                    places.push_back({event.session, stop->second.firstSample, place.lastSample});
                    stopped.erase(stop);
                }
                break;
        }
    }
    for (auto const& [session, place] : stopped) {
        places.push_back({session, place.firstSample, INT64_MAX});
    }
    return places;
}

} // namespace SystemTest
