#include "play/statisticsjson.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "listening/samples.h"

namespace AudioHost {

namespace {

/// In the order in which members are written down.
using Json = nlohmann::ordered_json;

/// In units of `unitNanoSec` to three places: what is finer is noise.
double ToUnits(double nanoSec, std::int64_t unitNanoSec) {
    constexpr double Places = 1000.0;
    return std::round(nanoSec / static_cast<double>(unitNanoSec) * Places) / Places;
}

double InMilliSec(std::int64_t nanoSec) {
    return ToUnits(static_cast<double>(nanoSec), Listening::NanoSecPerMilliSec);
}

Json FromDistribution(Media::Distribution const& told, std::int64_t unitNanoSec) {
    auto const quantile = [&](double share) {
        return ToUnits(static_cast<double>(told.GetQuantileNanoSec(share)), unitNanoSec);
    };
    return {{"count", told.GetCount()},    {"mean", ToUnits(told.GetMeanNanoSec(), unitNanoSec)},
            {"least", quantile(0.0)},      {"percent1", quantile(0.01)},
            {"percent5", quantile(0.05)},  {"median", quantile(0.5)},
            {"percent95", quantile(0.95)}, {"percent99", quantile(0.99)},
            {"most", quantile(1.0)}};
}

Json FromEpisodes(Media::Episodes_t const& some) {
    return {{"episodes", some.episodes}, {"times", some.times}};
}

Json FromFrequencies(Media::SessionStatistics_t const& session) {
    Json times = Json::array();
    for (Media::FrequencyTime_t const& time : session.frequencyTimes) {
        if (time.nanoSec != 0) {
            times.push_back(
                {{"hz", time.hz == 0 ? Json() : Json(time.hz)}, {"milliSec", InMilliSec(time.nanoSec)}});
        }
    }
    return times;
}

Json FromSession(Media::SessionStatistics_t const& session) {
    return {{"jobs", session.jobs},
            {"failures", FromEpisodes(session.failures)},
            {"lateJobs", FromEpisodes(session.lateJobs)},
            {"pauses", FromEpisodes(session.pauses)},
            {"errorMilliSec", InMilliSec(session.errorNanoSec)},
            {"errorsMilliSec", FromDistribution(session.error, Listening::NanoSecPerMilliSec)},
            {"trendPpm", session.trendPpm ? Json(ToUnits(*session.trendPpm, 1)) : Json()},
            {"renderMicroSec", FromDistribution(session.renderTime, Listening::NanoSecPerMicroSec)},
            {"frequencyHz", session.frequencyHz == 0 ? Json() : Json(session.frequencyHz)},
            {"frequencies", FromFrequencies(session)},
            {"starts", FromEpisodes(session.starts)},
            {"lateStops", FromEpisodes(session.lateStops)},
            {"jumps", FromEpisodes(session.jumps)},
            {"losses", FromEpisodes(session.losses)},
            {"lostSamples", session.lostSamples},
            {"smallGaps", FromEpisodes(session.smallGaps)},
            {"rateChanges", FromEpisodes(session.rateChanges)}};
}

Json FromCapture(Media::CaptureStatistics_t const& capture) {
    return {{"frames", capture.frames},
            {"skippedFrames", capture.skippedFrames},
            {"losses", FromEpisodes(capture.losses)},
            {"lostFrames", capture.lostFrames},
            {"restarts", capture.restarts}};
}

} // namespace

std::string FormatStatistics(Media::PipelineStatistics_t const& statistics, SessionNames const& names) {
    Json sessions = Json::array();
    for (Media::SessionStatistics_t const& session : statistics.sessions) {
        auto const name = names.find(session.session);
        Json one = {{"session", session.session}, {"name", name == names.end() ? "" : name->second}};
        one.update(FromSession(session));
        sessions.push_back(std::move(one));
    }
    Json ended = {{"sessions", statistics.endedSessions}};
    ended.update(FromSession(statistics.ended));
    Json const all = {{"version", StatisticsVersion},
                      {"sessions", std::move(sessions)},
                      {"ended", std::move(ended)},
                      {"idleStops", FromEpisodes(statistics.idleStops)},
                      {"capture", FromCapture(statistics.capture)}};
    // A file's name need not be UTF-8.
    return all.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

} // namespace AudioHost
