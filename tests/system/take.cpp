#include "take.h"

#include <algorithm>
#include <cstdint>
#include <map>

namespace SystemTest {

namespace {

using AudioHost::MilliSecToSamples;
using TestSupport::Disturbance;

constexpr std::int64_t NanoSecPerSample = AudioHost::NanoSecPerSec / AudioHost::SoundRateHz;

/// What happens is heard from then on (how late the recording's clock is, is known that well) until half a
/// second later: after the output's delay and two frames.
constexpr std::int64_t EarlierSamples = MilliSecToSamples(40);
constexpr std::int64_t LaterSamples = MilliSecToSamples(500);

/// What is to be heard at a time is heard from then on until so much later.
constexpr std::int64_t MostDelaySamples = MilliSecToSamples(200);

} // namespace

bool Take::IsCalm(std::optional<std::size_t> session, std::int64_t fromMilliSec,
                  std::int64_t toMilliSec) const {
    std::int64_t const from = MilliSecToSamples(fromMilliSec);
    std::int64_t const to = MilliSecToSamples(toMilliSec) + MostDelaySamples;
    return std::none_of(disturbances.begin(), disturbances.end(), [&](Disturbance const& disturbance) {
        bool const isOthers = disturbance.session && disturbance.session != session;
        return !isOthers && disturbance.firstSample <= to && disturbance.lastSample >= from;
    });
}

std::vector<Disturbance> PlaceEvents(std::vector<SessionEvent> const& events, Kovra::JiffyTime start) {
    std::vector<Disturbance> places;
    std::map<std::size_t, Disturbance> stopped;
    for (SessionEvent const& event : events) {
        std::int64_t const at = event.time.GetDiffSysTime(start).NanoSec() / NanoSecPerSample;
        Disturbance const place = {event.session, at - EarlierSamples, at + LaterSamples};
        switch (event.kind) {
            case SessionEvent::Kind_t::LateFrame:
            case SessionEvent::Kind_t::Moved:
                places.push_back(place);
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
