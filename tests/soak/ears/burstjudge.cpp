#include "ears/burstjudge.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "ears/growth.h"
#include "listening/samples.h"
#include "listening/stats.h"

namespace Soak {

namespace {

using TestSupport::IsDisturbed;

/// More than the resampler's own shift (0.7 ms) and what drift control corrects in the longest period (4 ms),
/// less than a step of the output (10 ms).
constexpr double JumpMilliSec = 6.0;

/// A burst found, beside what all sessions had in common then.
struct Placed {
    HeardBurst burst;
    double delayMilliSec = 0.0;
    double commonMilliSec = 0.0;

    double GetApart() const { return delayMilliSec - commonMilliSec; }
};

/// Bursts found in the order of time. What is common is the median over one period around each: one burst of
/// every session, so that a step of all sessions is one of the median at the same moment.
std::vector<Placed> PlaceAll(std::vector<HeardBurst> const& bursts, std::int64_t periodSamples) {
    std::vector<Placed> placed;
    for (HeardBurst const& burst : bursts) {
        if (burst.isFound) {
            placed.push_back(
                {burst, Listening::SamplesToMilliSec(static_cast<double>(burst.delaySamples)), 0.0});
        }
    }
    std::sort(placed.begin(), placed.end(),
              [](Placed const& a, Placed const& b) { return a.burst.plannedSample < b.burst.plannedSample; });
    auto first = placed.begin();
    auto last = placed.begin();
    for (Placed& each : placed) {
        while (first->burst.plannedSample <= each.burst.plannedSample - periodSamples / 2) {
            ++first;
        }
        while (last != placed.end() &&
               last->burst.plannedSample <= each.burst.plannedSample + periodSamples / 2) {
            ++last;
        }
        std::vector<double> delays;
        std::transform(first, last, std::back_inserter(delays),
                       [](Placed const& near) { return near.delayMilliSec; });
        each.commonMilliSec = Listening::Median(std::move(delays));
    }
    return placed;
}

void CountMissing(std::vector<HeardBurst> const& bursts, std::vector<Disturbance> const& disturbances,
                  BurstVerdict& verdict) {
    for (HeardBurst const& burst : bursts) {
        ++verdict.expected;
        std::int64_t const place = burst.plannedSample + burst.delaySamples;
        if (burst.isFound) {
            ++verdict.found;
        } else if (IsDisturbed(disturbances, burst.session, place, place + FrameSamples)) {
            ++verdict.missingDisturbed;
        } else {
            verdict.missing.push_back(burst);
        }
    }
}

/// A session's steps from one burst found to the next. Against its own place, not the others': those that the
/// module has moved after a disturbance would make the rest seem to step. What moves all breaks all their
/// tones, and so is a disturbance.
void FindJumps(std::vector<Placed> const& placed, std::vector<Disturbance> const& disturbances,
               BurstVerdict& verdict) {
    std::map<std::size_t, Placed const*> before;
    for (Placed const& each : placed) {
        Placed const*& last = before[each.burst.session];
        double const step = last ? each.delayMilliSec - last->delayMilliSec : 0.0;
        if (std::fabs(step) > JumpMilliSec) {
            if (IsDisturbed(disturbances, each.burst.session,
                            last->burst.plannedSample + last->burst.delaySamples,
                            each.burst.plannedSample + each.burst.delaySamples + FrameSamples)) {
                ++verdict.displacedDisturbed;
            } else {
                verdict.displaced.push_back({each.burst.session, each.burst.index, step});
            }
        }
        last = &each;
    }
    for (std::size_t i = 1; i < placed.size(); ++i) {
        bool const isStep = std::fabs(placed[i].commonMilliSec - placed[i - 1].commonMilliSec) > JumpMilliSec;
        verdict.stepsOfAll += isStep ? 1 : 0;
    }
}

Spread MakeSpread(std::vector<double> const& values) {
    std::vector<double> const sizes = Listening::Magnitudes(values);
    return {Listening::Median(sizes), Listening::Percentile(sizes, 0.99), Listening::Percentile(sizes, 1.0)};
}

void MeasureApart(std::vector<Placed> const& placed, std::int64_t settledSample, BurstVerdict& verdict) {
    std::vector<double> all;
    std::vector<double> settled;
    std::map<std::size_t, std::vector<Reading>> trends;
    for (Placed const& each : placed) {
        all.push_back(each.GetApart());
        if (each.burst.plannedSample >= settledSample) {
            settled.push_back(each.GetApart());
            trends[each.burst.session].push_back(
                {Listening::SamplesToSec(static_cast<double>(each.burst.plannedSample)), each.GetApart()});
        }
    }
    verdict.apart = MakeSpread(all);
    verdict.apartSettled = MakeSpread(settled);
    for (auto const& [session, trend] : trends) {
        bool const isTrend = trend.back().seconds - trend.front().seconds >= MinTrendSeconds;
        double const growth = isTrend ? std::fabs(FitGrowthPerHour(trend)) : 0.0;
        verdict.driftMilliSecPerHour = std::max(verdict.driftMilliSecPerHour, growth);
    }
}

void MeasureDelay(std::vector<Placed> const& placed, std::int64_t settledSample, BurstVerdict& verdict) {
    /// At either end.
    constexpr std::size_t MaxBursts = 160;
    std::vector<double> delays;
    for (Placed const& each : placed) {
        if (each.burst.plannedSample >= settledSample) {
            delays.push_back(each.delayMilliSec);
        }
    }
    auto const part = static_cast<std::ptrdiff_t>(std::min(MaxBursts, delays.size() / 2));
    verdict.delayMilliSec = Listening::Median({delays.begin(), delays.begin() + part});
    verdict.delayChangeMilliSec =
        Listening::Median({delays.end() - part, delays.end()}) - verdict.delayMilliSec;
}

} // namespace

BurstVerdict JudgeBursts(std::vector<HeardBurst> const& bursts, std::int64_t periodSamples,
                         std::int64_t settledSample, std::vector<Disturbance> const& disturbances) {
    BurstVerdict verdict;
    std::vector<Placed> const placed = PlaceAll(bursts, periodSamples);
    CountMissing(bursts, disturbances, verdict);
    FindJumps(placed, disturbances, verdict);
    MeasureApart(placed, settledSample, verdict);
    MeasureDelay(placed, settledSample, verdict);
    return verdict;
}

} // namespace Soak
