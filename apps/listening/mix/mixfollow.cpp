#include "listening/mix/mixfollow.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include "listening/mix/mixfit.h"
#include "listening/search/fourier.h"
#include "listening/search/period.h"
#include "listening/search/windowmatch.h"
#include "listening/soundlevel.h"

namespace Listening {

namespace {

/// Sounds this close together count as one place.
constexpr std::int64_t PlaceSamples = 480;
/// Places looked at in one go.
constexpr std::int64_t PlacesAtOnce = 119040;
static_assert(PlacesAtOnce % PlaceSamples == 0);
static_assert(PlacesAtOnce + CompareWindowSamples <= static_cast<std::int64_t>(MaxTransformSize));

/// A gain that the others make this much less sure says nothing: three quarters of the sound are in them too.
constexpr double MaxInflation = 4.0;
/// A sound is heard where it explains this share of what is left without it, at this share of the loudest
/// one's gain: less may be chance.
constexpr double ClearShare = 0.25;
constexpr double MinGainShare = 0.15;
/// One that has less than this share of its usual gain may lie elsewhere, and so may one where so much as
/// this share of it is left that no sound explains: a chord is nearly like itself in many places.
constexpr double WeakShare = 0.5;
constexpr double UnexplainedShare = 0.1;
/// So little of a window's energy is covered by the rest of it.
constexpr double CoveredShare = 0.01;
/// A place is tried that is as like as this, and taken when that explains a tenth of what was left.
constexpr float TriedLikeness = 0.25F;
constexpr double TakenShare = 0.9;
/// Drift control's speeds, as growth of the lag.
constexpr std::array<double, 3> TriedSlips = {0.0, 833e-6, -833e-6};
/// How much a new gain counts for what is usual.
constexpr double NewGainShare = 0.1;

/// What is known of a sound so far.
struct SoundInMixTrack {
    bool isKnown = false;
    std::int64_t start = 0;
    double lag = 0.0;
    double slip = 0.0;
    double usualGain = 0.0;
    /// Where the last window found it, far from the one before: once may be chance.
    std::optional<double> elsewhere;
};

bool HasTreble(std::vector<SampleView> const& sounds) {
    return std::any_of(sounds.begin(), sounds.end(), [](SampleView sound) { return IsTreble(sound); });
}

std::vector<KeptSound> Compared(std::vector<SampleView> const& sounds, bool isTreble) {
    std::vector<KeptSound> compared;
    compared.reserve(sounds.size());
    for (SampleView const& sound : sounds) {
        compared.emplace_back(sound, isTreble);
    }
    return compared;
}

class MixFollower {
public:
    MixFollower(std::vector<SampleView> const& sounds, std::vector<std::int64_t> const& periods,
                SampleView heard, LagRange const& range)
        : samples_(sounds),
          periods_(periods),
          recording_(heard),
          range_(range),
          isTreble_(HasTreble(sounds)),
          sounds_(Compared(sounds, isTreble_)),
          heard_(heard, isTreble_),
          tracks_(sounds.size()) {}

    std::vector<MixMoment> Run() {
        begin_ = Locate();
        std::int64_t size = 0;
        for (SampleView const& sound : samples_) {
            size = std::max(size, static_cast<std::int64_t>(sound.GetSize()));
        }
        std::vector<MixMoment> moments;
        for (std::int64_t start = begin_; start < begin_ + size; start += MixHopSamples) {
            if (IsWindowRecorded(recording_, start)) {
                moments.push_back(FollowWindow(start));
            }
        }
        return moments;
    }

private:
    /// Where all the sounds begin, as most windows say.
    std::int64_t Locate() const {
        std::vector<float> sums(static_cast<std::size_t>((range_.max - range_.min) / PlaceSamples + 1));
        for (SampleView const& sound : samples_) {
            WindowMatcher const matcher(sound, recording_, IsTreble(sound));
            std::vector<std::int64_t> starts = PickLoudWindows(sound);
            // Half of it lies before the sound: where that repeats itself, its beginning tells its place.
            starts.push_back(-CompareWindowSamples / 2);
            for (std::int64_t const start : starts) {
                for (std::int64_t first = range_.min; matcher.IsLoud(start) && first <= range_.max;
                     first += PlacesAtOnce) {
                    std::vector<float> const likeness =
                        matcher.Likeness(start, first, std::min(range_.max, first + PlacesAtOnce - 1));
                    AddHighest(likeness, (first - range_.min) / PlaceSamples, sums);
                }
            }
        }
        std::int64_t const place = std::max_element(sums.begin(), sums.end()) - sums.begin();
        return std::min(range_.max, range_.min + place * PlaceSamples + PlaceSamples / 2);
    }

    static void AddHighest(std::vector<float> const& likeness, std::int64_t first, std::vector<float>& sums) {
        for (std::size_t at = 0; at < likeness.size(); at += PlaceSamples) {
            auto const from = likeness.begin() + static_cast<std::ptrdiff_t>(at);
            auto const end =
                likeness.begin() + static_cast<std::ptrdiff_t>(std::min(likeness.size(), at + PlaceSamples));
            sums[static_cast<std::size_t>(first) + at / PlaceSamples] += *std::max_element(from, end);
        }
    }

    MixMoment FollowWindow(std::int64_t start) {
        MixWindow const window(sounds_, heard_, start);
        std::vector<MixTerm> const expected = Expect(start);
        MixFit fit;
        fit.terms = expected;
        fit = window.Fit(std::move(fit));
        LookForWeak(window, expected, fit);
        MixMoment moment = {start, window.GetEnergy(), fit.rest, std::vector<MixPoint>(sounds_.size())};
        for (std::size_t i = 0; i < sounds_.size(); ++i) {
            moment.points[i].lag = ExpectedLag(i, start);
        }
        double const loudest = LoudestGain(fit);
        for (MixTerm const& term : fit.terms) {
            MixPoint& point = moment.points[term.sound];
            point.isClear = IsClear(window, term, loudest);
            point.isHeard = point.isClear && IsHeard(term, fit.rest, loudest);
            point.gain = term.gain;
            point.energy = term.energy;
            if (point.isHeard) {
                point.lag = term.lag;
                Learn(term, start);
            }
        }
        return moment;
    }

    double ExpectedLag(std::size_t sound, std::int64_t start) const {
        SoundInMixTrack const& track = tracks_[sound];
        if (track.isKnown) {
            return track.lag + track.slip * static_cast<double>(std::min(start - track.start, MixHopSamples));
        }
        std::vector<double> lags;
        for (SoundInMixTrack const& other : tracks_) {
            if (other.isKnown) {
                lags.push_back(other.lag);
            }
        }
        std::sort(lags.begin(), lags.end());
        return lags.empty() ? static_cast<double>(begin_) : lags[(lags.size() - 1) / 2];
    }

    /// What is loud enough there, where it should lie.
    std::vector<MixTerm> Expect(std::int64_t start) const {
        std::vector<MixTerm> terms;
        for (std::size_t i = 0; i < sounds_.size(); ++i) {
            double const lag = ExpectedLag(i, start);
            SampleView const part = samples_[i].Cut(start - std::llround(lag), CompareWindowSamples);
            if (!part.IsEmpty() && LevelDecibel(part) > SignalLevelDecibel) {
                MixTerm term;
                term.sound = i;
                term.lag = lag;
                term.slip = tracks_[i].slip;
                terms.push_back(term);
            }
        }
        return terms;
    }

    /// Looks for what is not where it was expected, the likest first: each that is found uncovers others.
    void LookForWeak(MixWindow const& window, std::vector<MixTerm> const& expected, MixFit& fit) const {
        std::vector<bool> isTried(fit.terms.size());
        // The same as long as nothing is found.
        std::vector<MixPlace> places = PlacesOfWeak(window, expected, fit, isTried);
        for (;;) {
            std::size_t best = places.size();
            MixPlace place;
            for (std::size_t i = 0; i < places.size(); ++i) {
                if (!isTried[i] && places[i].likeness > place.likeness) {
                    best = i;
                    place = places[i];
                }
            }
            if (best == places.size() || place.likeness < TriedLikeness) {
                return;
            }
            bool const isFound = Try(window, best, place.lag, fit);
            if (isFound) {
                std::fill(isTried.begin(), isTried.end(), false);
            }
            isTried[best] = true;
            if (isFound) {
                places = PlacesOfWeak(window, expected, fit, isTried);
            }
        }
    }

    /// Where each that is weak is found, but for those tried: 0 for the others.
    std::vector<MixPlace> PlacesOfWeak(MixWindow const& window, std::vector<MixTerm> const& expected,
                                       MixFit const& fit, std::vector<bool> const& isTried) const {
        std::vector<MixPlace> places(fit.terms.size());
        double const loudest = LoudestGain(fit);
        for (std::size_t i = 0; i < places.size(); ++i) {
            if (!isTried[i] && IsWeak(window, fit.terms[i], fit.rest, loudest)) {
                places[i] = window.Search(fit, i, expected[i].lag, ReachOf(fit.terms[i].sound));
            }
        }
        return places;
    }

    /// Not beyond the next place in which a sound that repeats itself would fit as well.
    std::int64_t ReachOf(std::size_t sound) const {
        return periods_[sound] == 0 ? CompareSearchSamples
                                    : std::min(CompareSearchSamples, periods_[sound] * 6 / 10);
    }

    static bool Try(MixWindow const& window, std::size_t number, double lag, MixFit& fit) {
        for (double const slip : TriedSlips) {
            MixFit moved = fit;
            moved.terms[number].lag = lag;
            moved.terms[number].slip = slip;
            moved = window.Fit(std::move(moved));
            if (moved.rest < TakenShare * fit.rest) {
                fit = std::move(moved);
                return true;
            }
        }
        return false;
    }

    double LoudestGain(MixFit const& fit) const {
        double loudest = 0.0;
        for (SoundInMixTrack const& track : tracks_) {
            loudest = std::max(loudest, track.usualGain);
        }
        if (loudest > 0.0) {
            return loudest;
        }
        for (MixTerm const& term : fit.terms) {
            bool const isSure =
                term.inflation <= MaxInflation && term.gain * term.gain * term.energy > fit.rest;
            loudest = isSure ? std::max(loudest, term.gain) : loudest;
        }
        return loudest;
    }

    static bool IsClear(MixWindow const& window, MixTerm const& term, double loudest) {
        return term.inflation <= MaxInflation &&
               loudest * loudest * term.energy > CoveredShare * window.GetEnergy();
    }

    static bool IsHeard(MixTerm const& term, double rest, double loudest) {
        return loudest > 0.0 && term.gain > MinGainShare * loudest &&
               term.gain * term.gain * term.energy > ClearShare * rest;
    }

    bool IsWeak(MixWindow const& window, MixTerm const& term, double rest, double loudest) const {
        bool const isUnexplained = rest > UnexplainedShare * loudest * loudest * term.energy;
        return IsClear(window, term, loudest > 0.0 ? loudest : 1e9) &&
               (isUnexplained || !IsHeard(term, rest, loudest) ||
                term.gain < WeakShare * tracks_[term.sound].usualGain);
    }

    void Learn(MixTerm const& term, std::int64_t start) {
        SoundInMixTrack& track = tracks_[term.sound];
        bool const isNear =
            !track.isKnown || std::fabs(term.lag - ExpectedLag(term.sound, start)) <= NearSamples;
        bool const isThereAgain = track.elsewhere && std::fabs(term.lag - *track.elsewhere) <= NearSamples;
        track.elsewhere = isNear || isThereAgain ? std::nullopt : std::optional<double>(term.lag);
        if (track.elsewhere) {
            return;
        }
        double const share = track.isKnown ? NewGainShare : 1.0;
        track.usualGain += share * (term.gain - track.usualGain);
        track.isKnown = true;
        track.start = start;
        track.lag = term.lag;
        track.slip = term.slip;
    }

    std::vector<SampleView> const samples_;
    std::vector<std::int64_t> const periods_;
    SampleView const recording_;
    LagRange const range_;
    bool const isTreble_;
    std::vector<KeptSound> const sounds_;
    KeptSound const heard_;
    std::vector<SoundInMixTrack> tracks_;
    std::int64_t begin_ = 0;
};

} // namespace

std::vector<MixMoment> FollowMix(std::vector<SampleView> const& sounds,
                                 std::vector<std::int64_t> const& periods, SampleView heard,
                                 LagRange const& range) {
    return MixFollower(sounds, periods, heard, range).Run();
}

} // namespace Listening
