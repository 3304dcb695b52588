#include "ears/bursttrack.h"

#include <algorithm>

#include "ears/burstband.h"
#include "ears/bursthiss.h"
#include "listening/search/correlation.h"
#include "listening/stats.h"

namespace Soak {

namespace {

using Listening::SampleView;

/// Without the tones a burst is alike by 1.0, less half a sample between two places: 0.6 at the least. By
/// chance there is a likeness of 0.35 once in days.
constexpr float MinLikeness = 0.45F;

/// As good as always a burst is this near to the delay of the one before: looked for there first, for a
/// tenth of the work.
constexpr std::int64_t NearSamples = 96;
/// Beyond the longest jump of the play cursor (312.5 ms).
constexpr std::int64_t SearchSamples = 19200;

/// Where the first burst may lie: recorders write in pieces, so that it may even come early.
constexpr std::int64_t EarliestDelaySamples = -24000;
constexpr std::int64_t LatestDelaySamples = 48000;
/// A session whose first bursts are missing has the others' delay.
constexpr std::int64_t FirstTries = 3;

struct Match {
    float likeness = 0.0F;
    std::int64_t place = 0;
};

/// Looks for the plan's bursts in a recording.
class Finder {
public:
    Finder(SoundPlan const& plan, SampleView heard) : heard_(heard) {
        for (std::size_t session = 0; session < plan.GetSessions(); ++session) {
            patterns_.push_back(band_.Filter(plan.GetBurst(session), 0, FrameSamples));
        }
    }

    /// The most alike place from `from` to `to` at which the session's burst may begin.
    Match FindBest(std::size_t session, std::int64_t from, std::int64_t to) const {
        Listening::Samples const text = band_.Filter(heard_, from, to - from + FrameSamples);
        std::vector<float> const likeness = Listening::NormalisedCorrelation(patterns_[session], text);
        auto const highest = std::max_element(likeness.begin(), likeness.end());
        return highest == likeness.end() ? Match{} : Match{*highest, from + (highest - likeness.begin())};
    }

private:
    SampleView heard_;
    BurstBand band_;
    std::vector<Listening::Samples> patterns_;
};

class Tracker {
public:
    Tracker(SoundPlan const& plan, Finder const& finder, std::int64_t origin, std::int64_t frames)
        : plan_(plan), finder_(finder), origin_(origin), frames_(frames) {}

    std::vector<HeardBurst> Track() const {
        std::vector<std::optional<std::int64_t>> delays;
        std::vector<double> known;
        for (std::size_t session = 0; session < plan_.GetSessions(); ++session) {
            delays.push_back(FindFirstDelay(session));
            if (delays.back()) {
                known.push_back(static_cast<double>(*delays.back()));
            }
        }
        auto const usual = static_cast<std::int64_t>(Listening::Median(known));
        std::vector<HeardBurst> bursts;
        for (std::size_t session = 0; session < plan_.GetSessions(); ++session) {
            TrackSession(session, delays[session].value_or(usual), bursts);
        }
        return bursts;
    }

private:
    std::int64_t GetPlanned(std::size_t session, std::int64_t index) const {
        return origin_ + plan_.GetBurstFrame(session, index) * FrameSamples;
    }

    std::optional<std::int64_t> FindFirstDelay(std::size_t session) const {
        std::int64_t const tries = std::min(FirstTries, plan_.CountBursts(session, frames_));
        for (std::int64_t index = 0; index < tries; ++index) {
            std::int64_t const planned = GetPlanned(session, index);
            Match const match =
                finder_.FindBest(session, planned + EarliestDelaySamples, planned + LatestDelaySamples);
            if (match.likeness >= MinLikeness) {
                return match.place - planned;
            }
        }
        return std::nullopt;
    }

    void TrackSession(std::size_t session, std::int64_t delay, std::vector<HeardBurst>& bursts) const {
        std::int64_t const count = plan_.CountBursts(session, frames_);
        for (std::int64_t index = 0; index < count; ++index) {
            std::int64_t const planned = GetPlanned(session, index);
            std::int64_t const expected = planned + delay;
            Match match;
            for (std::int64_t const reach : {NearSamples, SearchSamples}) {
                match = finder_.FindBest(session, expected - reach, expected + reach);
                if (match.likeness >= MinLikeness) {
                    break;
                }
            }
            bool const isFound = match.likeness >= MinLikeness;
            delay += isFound ? match.place - expected : 0;
            bursts.push_back({session, index, planned, isFound, delay});
        }
    }

    SoundPlan const& plan_;
    Finder const& finder_;
    std::int64_t origin_;
    std::int64_t frames_;
};

/// Whose burst it is, if any's.
std::optional<std::size_t> Recognise(SoundPlan const& plan, Finder const& finder, Hiss const& hiss) {
    Match best;
    std::optional<std::size_t> session;
    for (std::size_t i = 0; i < plan.GetSessions(); ++i) {
        Match const match =
            finder.FindBest(i, hiss.startSample - FrameSamples, hiss.startSample + hiss.samples);
        if (match.likeness >= MinLikeness && match.likeness > best.likeness) {
            best = match;
            session = i;
        }
    }
    return session;
}

} // namespace

HeardBursts TrackBursts(SoundPlan const& plan, SampleView heard, std::int64_t beginSample,
                        std::int64_t originSample, std::int64_t frames) {
    Finder const finder(plan, heard);
    Tracker const tracker(plan, finder, originSample, frames);
    HeardBursts result;
    result.bursts = tracker.Track();

    std::vector<std::int64_t> places;
    for (HeardBurst const& burst : result.bursts) {
        if (burst.isFound) {
            places.push_back(burst.plannedSample + burst.delaySamples);
        }
    }
    std::sort(places.begin(), places.end());
    for (Hiss const& hiss : FindUnexplainedHiss(heard, beginSample, places)) {
        result.strays.push_back({hiss.startSample, hiss.samples, Recognise(plan, finder, hiss)});
    }
    return result;
}

} // namespace Soak
