#include "listening/mix/mixcompare.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "listening/mix/mixfollow.h"
#include "listening/search/correlation.h"
#include "listening/search/period.h"
#include "listening/search/smoothing.h"
#include "listening/search/windowmatch.h"
#include "listening/soundlevel.h"
#include "listening/stats.h"

namespace Listening {

namespace {

/// Windows in which a sound has to be clear, and heard, to be told about: fewer may be chance.
constexpr std::size_t MinClearWindows = 3;
constexpr std::size_t MinHeardWindows = 2;
constexpr double MinHeardShare = 0.1;
/// With less of a sound's usual gain some of it is missing; in the window where that is worst half of it.
constexpr double MissingGainShare = 0.5;
/// What is missing for less long is not seen in windows of a quarter second.
constexpr std::int64_t MinMissingSamples = 4800;
/// A window tells nothing of a sound that has less than this share of what no sound explains.
constexpr double MinShareOfRest = 0.25;
/// From here on a change of lag is a step: what a listener may notice, 10 ms.
constexpr double MinStepSamples = 480.0;
/// All make the same step within so many windows.
constexpr std::size_t StepWindows = 3;
/// Fastest regular change of lag: drift control moves it by 833 ppm.
constexpr double RegularSlip = 0.001;
/// Windows that tell where a sound began.
constexpr std::size_t BeginWindows = 9;

/// One sound in all windows.
class SoundOfMix {
public:
    SoundOfMix(std::vector<MixMoment> const& moments, std::size_t number)
        : moments_(moments), number_(number) {
        for (std::size_t k = 0; k < moments.size(); ++k) {
            if (PointAt(k).isHeard) {
                heard_.push_back(k);
            }
        }
        LeaveOutStray();
    }

    MixPoint const& PointAt(std::size_t moment) const { return moments_[moment].points[number_]; }
    std::vector<std::size_t> const& GetHeard() const { return heard_; }

    /// What most of what was heard has, the louder the more.
    double UsualGain() const {
        std::vector<std::pair<double, double>> gains;
        for (std::size_t const k : heard_) {
            gains.emplace_back(PointAt(k).gain, PointAt(k).energy);
        }
        return WeightedMedian(std::move(gains));
    }

    /// Windows that tell whether it was heard, where `loudest` is the gain of the loudest sound.
    std::vector<std::size_t> FindTelling(double loudest) const {
        std::vector<std::size_t> telling;
        for (std::size_t k = 0; k < moments_.size(); ++k) {
            double const expected = loudest * loudest * PointAt(k).energy;
            if (PointAt(k).isClear && expected > MinShareOfRest * moments_[k].rest) {
                telling.push_back(k);
            }
        }
        return telling;
    }

    /// Where it was heard in each window, or else in the one before it, or in the first one behind.
    std::vector<double> Lags() const {
        std::vector<double> lags;
        std::size_t next = 0;
        for (std::size_t k = 0; k < moments_.size() && !heard_.empty(); ++k) {
            next += next < heard_.size() && heard_[next] == k ? 1 : 0;
            lags.push_back(PointAt(heard_[next == 0 ? 0 : next - 1]).lag);
        }
        return lags;
    }

    /// From the window heard at `first` to that heard at `last`, in what was sent.
    SoundSpan SpanOf(std::size_t first, std::size_t last) const {
        std::int64_t const start = moments_[first].start - std::llround(PointAt(first).lag);
        std::int64_t const end =
            moments_[last].start + CompareWindowSamples - std::llround(PointAt(last).lag);
        return {std::max<std::int64_t>(0, start), end - std::max<std::int64_t>(0, start)};
    }

private:
    bool IsNear(std::size_t one, std::size_t other) const {
        double const distance = static_cast<double>(std::llabs(moments_[other].start - moments_[one].start));
        return std::fabs(PointAt(other).lag - PointAt(one).lag) <=
               static_cast<double>(NearSamples) + RegularSlip * distance;
    }

    /// What was found in one window alone, at a place of its own, was not it.
    void LeaveOutStray() {
        std::vector<std::size_t> kept;
        for (std::size_t i = 0; i < heard_.size(); ++i) {
            bool const isAsBefore = !kept.empty() && IsNear(kept.back(), heard_[i]);
            bool const isAsBehind = i + 1 < heard_.size() && IsNear(heard_[i], heard_[i + 1]);
            if (isAsBefore || isAsBehind) {
                kept.push_back(heard_[i]);
            }
        }
        heard_ = std::move(kept);
    }

    std::vector<MixMoment> const& moments_;
    std::size_t const number_;
    std::vector<std::size_t> heard_;
};

/// What all have moved by in each window since they began: the least that any of them has. What one alone
/// does nobody else does.
std::vector<double> CommonMove(std::vector<std::vector<double>> const& lags, std::size_t moments) {
    std::vector<double> common(moments);
    if (std::count_if(lags.begin(), lags.end(), [](auto const& own) { return !own.empty(); }) < 2) {
        return common;
    }
    for (std::size_t k = 0; k < moments; ++k) {
        bool isFirst = true;
        for (std::vector<double> const& own : lags) {
            if (!own.empty()) {
                double const move = own[k] - own.front();
                common[k] = isFirst || std::fabs(move) < std::fabs(common[k]) ? move : common[k];
                isFirst = false;
            }
        }
    }
    return common;
}

/// Where `isBeginKnown` is false, less than a window at the beginning may be silence that lies before the
/// sound.
std::vector<SoundSpan> FindMissing(SoundOfMix const& sound, std::vector<std::size_t> const& telling,
                                   double gain, bool isBeginKnown) {
    std::vector<SoundSpan> missing;
    auto const lostAt = [&](std::size_t i) {
        double const share = std::clamp(sound.PointAt(telling[i]).gain / gain, 0.0, 1.0);
        return (1.0 - share) * static_cast<double>(MixHopSamples);
    };
    for (std::size_t i = 0; i < telling.size(); ++i) {
        if (sound.PointAt(telling[i]).gain >= MissingGainShare * gain) {
            continue;
        }
        std::size_t const first = i;
        double lost = i > 0 ? lostAt(i - 1) : 0.0;
        for (; i < telling.size() && sound.PointAt(telling[i]).gain < MissingGainShare * gain; ++i) {
            lost += lostAt(i);
        }
        lost += i < telling.size() ? lostAt(i) : 0.0;
        std::int64_t const least = first > 0 || isBeginKnown ? MinMissingSamples : CompareWindowSamples;
        if (lost >= static_cast<double>(least)) {
            missing.push_back({sound.SpanOf(telling[first], telling[i - 1]).start, std::llround(lost)});
        }
    }
    return missing;
}

/// A sound's own steps. One that all make is found in one of them some windows before another.
std::vector<SoundInMix::Step> FindSteps(SoundOfMix const& sound, std::vector<double> const& common) {
    std::vector<SoundInMix::Step> steps;
    std::vector<std::size_t> const& heard = sound.GetHeard();
    for (std::size_t i = 1; i < heard.size(); ++i) {
        double const change = sound.PointAt(heard[i]).lag - sound.PointAt(heard[i - 1]).lag;
        std::size_t const from = heard[i - 1] - std::min(heard[i - 1], StepWindows);
        double const shared = common[std::min(heard[i] + StepWindows, common.size() - 1)] - common[from];
        if (std::fabs(change) >= MinStepSamples && std::fabs(change - shared) >= MinStepSamples) {
            steps.push_back({sound.SpanOf(heard[i - 1], heard[i]), change});
        }
    }
    return steps;
}

/// What was not heard where a sound stepped is told by that.
void LeaveOutAtSteps(SoundInMix& sound) {
    auto const isOfAStep = [&](SoundSpan const& span) {
        return std::any_of(sound.steps.begin(), sound.steps.end(), [&](SoundInMix::Step const& step) {
            return span.start < step.within.start + step.within.samples &&
                   span.start + span.samples > step.within.start &&
                   static_cast<double>(span.samples) <
                       std::fabs(step.samples) + 2.0 * static_cast<double>(CompareWindowSamples);
        });
    };
    sound.missing.erase(std::remove_if(sound.missing.begin(), sound.missing.end(), isOfAStep),
                        sound.missing.end());
}

std::vector<std::int64_t> FindPeriods(std::vector<SampleView> const& sounds) {
    std::vector<std::int64_t> periods;
    periods.reserve(sounds.size());
    for (SampleView const& sound : sounds) {
        periods.push_back(FindPeriod(sound).value_or(0));
    }
    return periods;
}

/// Follows all sounds and judges each.
class MixJudge {
public:
    MixJudge(std::vector<SampleView> const& sounds, SampleView heard, LagRange const& range)
        : sounds_(sounds),
          periods_(FindPeriods(sounds)),
          moments_(FollowMix(sounds, periods_, heard, range)) {
        for (std::size_t i = 0; i < sounds.size(); ++i) {
            // Where a sound that repeats itself lies is one of several places.
            isPlaced_.push_back(periods_[i] == 0);
            tracks_.emplace_back(moments_, i);
            loudest_ = std::max(loudest_, tracks_.back().UsualGain());
        }
    }

    std::vector<SoundInMix> Judge() {
        std::vector<SoundInMix> result(sounds_.size());
        for (std::size_t i = 0; i < sounds_.size(); ++i) {
            JudgeHearing(i, result[i]);
            bool const isHeard = result[i].hearing == SoundInMix::Hearing_t::Heard;
            lags_.push_back(isHeard ? tracks_[i].Lags() : std::vector<double>());
            isPlaced_[i] = isPlaced_[i] && isHeard;
        }
        std::vector<std::vector<double>> placed = lags_;
        for (std::size_t i = 0; i < placed.size(); ++i) {
            placed[i] = isPlaced_[i] ? placed[i] : std::vector<double>();
        }
        common_ = CommonMove(placed, moments_.size());
        for (std::size_t i = 0; i < sounds_.size(); ++i) {
            if (isPlaced_[i]) {
                result[i].steps = FindSteps(tracks_[i], common_);
                LeaveOutAtSteps(result[i]);
            }
        }
        JudgeBegins(result);
        return result;
    }

    /// The sounds where they were heard, but for what all did together; what was not heard lies beside the
    /// first one that was.
    Samples Mix() const {
        std::vector<std::vector<double>> delays(sounds_.size());
        double least = 0.0;
        bool isFirst = true;
        for (std::size_t i = 0; i < sounds_.size(); ++i) {
            for (std::size_t k = 0; k < lags_[i].size(); ++k) {
                delays[i].push_back(lags_[i][k] - common_[k]);
                least = isFirst ? delays[i].back() : std::min(least, delays[i].back());
                isFirst = false;
            }
        }
        least = std::floor(least);
        double size = 0.0;
        for (std::size_t i = 0; i < sounds_.size(); ++i) {
            double const last = delays[i].empty() ? 0.0 : delays[i].back() - least;
            size = std::max(size, static_cast<double>(sounds_[i].GetSize()) + last);
        }
        Samples mix;
        mix.reserve(static_cast<std::size_t>(size) + 1);
        for (std::int64_t at = 0; static_cast<double>(at) < size; ++at) {
            double sum = 0.0;
            for (std::size_t i = 0; i < sounds_.size(); ++i) {
                double const delay =
                    delays[i].empty() ? 0.0 : DelayAt(delays[i], at + std::llround(least)) - least;
                sum += static_cast<double>(ValueAt(sounds_[i], static_cast<double>(at) - delay));
            }
            mix.push_back(static_cast<std::int16_t>(std::lround(std::clamp(sum, -32768.0, 32767.0))));
        }
        return mix;
    }

private:
    void JudgeHearing(std::size_t number, SoundInMix& result) const {
        SoundOfMix const& track = tracks_[number];
        std::vector<std::size_t> const telling = track.FindTelling(loudest_);
        std::size_t const heard = track.GetHeard().size();
        if (loudest_ <= 0.0 || telling.size() < MinClearWindows) {
            return;
        }
        bool const isHeard =
            heard >= MinHeardWindows &&
            static_cast<double>(heard) >= MinHeardShare * static_cast<double>(telling.size());
        result.hearing = isHeard ? SoundInMix::Hearing_t::Heard : SoundInMix::Hearing_t::NotHeard;
        if (isHeard) {
            result.gain = track.UsualGain();
            result.missing = FindMissing(track, telling, result.gain, isPlaced_[number]);
        }
    }

    /// Where the first windows heard, up to a step, say that each sound began.
    void JudgeBegins(std::vector<SoundInMix>& result) const {
        std::vector<double> begins(result.size());
        std::vector<double> sorted;
        for (std::size_t i = 0; i < result.size(); ++i) {
            if (isPlaced_[i]) {
                begins[i] = BeginOf(tracks_[i]);
                sorted.push_back(begins[i]);
            }
        }
        if (sorted.size() < 2) {
            return;
        }
        std::sort(sorted.begin(), sorted.end());
        for (std::size_t i = 0; i < result.size(); ++i) {
            if (isPlaced_[i]) {
                result[i].lateSamples = begins[i] - sorted[(sorted.size() - 1) / 2];
            }
        }
    }

    double BeginOf(SoundOfMix const& track) const {
        std::vector<double> lags;
        for (std::size_t const k : track.GetHeard()) {
            double const lag = track.PointAt(k).lag - common_[k];
            if (lags.size() == BeginWindows ||
                (!lags.empty() && std::fabs(lag - lags.back()) >= MinStepSamples)) {
                break;
            }
            lags.push_back(lag);
        }
        return Median(lags);
    }

    /// Between the middles of windows in a line, but for steps.
    double DelayAt(std::vector<double> const& delays, std::int64_t place) const {
        double const middle = 0.5 * static_cast<double>(CompareWindowSamples);
        double const windows = (static_cast<double>(place - moments_.front().start) - middle) /
                               static_cast<double>(MixHopSamples);
        double const within = std::clamp(windows, 0.0, static_cast<double>(delays.size() - 1));
        auto const before = static_cast<std::size_t>(within);
        std::size_t const behind = std::min(before + 1, delays.size() - 1);
        double const change = delays[behind] - delays[before];
        double const share = within - static_cast<double>(before);
        bool const isStep = std::fabs(change) > static_cast<double>(NearSamples);
        return delays[before] + (isStep ? (share < 0.5 ? 0.0 : change) : share * change);
    }

    std::vector<SampleView> const sounds_;
    std::vector<std::int64_t> const periods_;
    std::vector<MixMoment> const moments_;
    std::vector<SoundOfMix> tracks_;
    std::vector<std::vector<double>> lags_;
    std::vector<bool> isPlaced_;
    std::vector<double> common_;
    double loudest_ = 0.0;
};

} // namespace

MixComparison CompareMix(std::vector<SampleView> const& sounds, SampleView heard,
                         std::optional<LagRange> const& range) {
    MixComparison result;
    if (sounds.size() > MaxMixSounds || heard.IsEmpty()) {
        result.sounds.resize(sounds.size());
        result.mix = MixSounds(sounds);
        return result;
    }
    MixJudge judge(sounds, heard, range.value_or(LagRange{0, static_cast<std::int64_t>(heard.GetSize())}));
    result.sounds = judge.Judge();
    result.mix = judge.Mix();
    return result;
}

} // namespace Listening
