#include "listening/search/soundsearch.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>

#include "listening/search/correlation.h"
#include "listening/search/fourier.h"
#include "listening/search/period.h"
#include "listening/search/smoothing.h"
#include "listening/soundlevel.h"

namespace Listening {

namespace {

/// Lags this close together count as one then: drift may have displaced the windows.
constexpr std::int64_t BinSamples = 240;
/// The window of which half lies before the sound.
constexpr std::int64_t BeginStart = -CompareWindowSamples / 2;
/// Places at which the beginning is as like as this to the best one are as good: a period of a tone takes
/// less.
constexpr float BeginTolerance = 0.02F;
/// Lags that are looked at in one go: whole bins, and with the window not more than one transform takes.
constexpr std::int64_t BinsAtOnce = 496;
constexpr std::int64_t LagsAtOnce = BinsAtOnce * BinSamples;
static_assert(LagsAtOnce + CompareWindowSamples - 1 <= static_cast<std::int64_t>(MaxTransformSize));
/// Where the beginning was not recorded nearly nothing speaks against that place; the end, which may have
/// been displaced on the way, decides between places as good.
constexpr float UnrecordedBegin = 0.97F;
constexpr float EndWeight = 0.25F;
/// Between what follows the beginning and what leads to the end a jump takes so many windows; only beyond
/// that is the sound looked for elsewhere, where one that repeats itself is soon found.
constexpr std::int64_t DamagedWindows = 2;
/// An end that fits elsewhere better by this share stands elsewhere.
constexpr float EndsElsewhere = 0.97F;
/// From a window to the next drift control slips by ten samples.
constexpr std::int64_t SlipSamples = 16;
constexpr std::int64_t RoundingSamples = 2;
/// Fastest regular change of lag: drift control moves it by 833 ppm.
constexpr double RegularDriftShare = 0.001;
/// What a session that starts leaves out as a rule: two frames of 20 ms.
constexpr std::int64_t FirstFramesSamples = 1920;

/// Follows one sound through a recording.
class Follower {
public:
    Follower(SampleView sent, SampleView heard, LagRange const& range)
        : sent_(sent),
          isTreble_(IsTreble(sent)),
          matcher_(sent, heard, isTreble_),
          range_(range),
          endStart_(static_cast<std::int64_t>(sent.GetSize()) - CompareWindowSamples / 2) {
        for (std::int64_t start = 0;
             start + CompareWindowSamples <= static_cast<std::int64_t>(sent.GetSize());
             start += CompareWindowSamples) {
            starts_.push_back(start);
        }
    }

    SoundTrack Run() {
        std::optional<std::int64_t> const lag = Locate();
        if (!lag) {
            return {};
        }
        SoundTrack track = FollowFrom(*lag, false);
        if (LongestLost(track.windows) > (track.end.IsMatch() ? DamagedWindows : 0)) {
            track = FollowFrom(*lag, true);
        }
        track.begin = MatchBegin(track.windows, *lag);
        JoinAtJumps(track.windows);
        track.ambiguity = FindAmbiguity(track);
        return track;
    }

private:
    SoundTrack FollowFrom(std::int64_t lag, bool isFar) const {
        SoundTrack track;
        track.windows = Forward(lag, isFar);
        FindEnd(track);
        Backward(track, lag);
        return track;
    }

    static std::int64_t LongestLost(std::vector<WindowMatch> const& windows) {
        std::int64_t longest = 0;
        std::int64_t lost = 0;
        for (WindowMatch const& window : windows) {
            lost = window.IsMatch() ? 0 : lost + (window.hasSignal ? 1 : 0);
            longest = std::max(longest, lost);
        }
        return longest;
    }

    bool IsEnd(std::int64_t start) const { return start < 0 || start == endStart_; }

    /// How alike the window and the recording are at the lags of `range`, as much as that says about the
    /// place of the sound.
    std::vector<float> WeighedLikeness(std::int64_t start, LagRange const& range) const {
        std::vector<float> likeness = matcher_.Likeness(start, range.min, range.max);
        for (std::size_t i = 0; IsEnd(start) && i < likeness.size(); ++i) {
            bool const isRecorded = matcher_.IsRecorded(start, range.min + static_cast<std::int64_t>(i));
            likeness[i] = start < 0 ? (isRecorded ? likeness[i] : UnrecordedBegin) : EndWeight * likeness[i];
        }
        return likeness;
    }

    /// The highest of that in each bin of the range in which the sound may begin, where one of those looked
    /// at in one go is possible.
    std::vector<float> HighestInBins(std::int64_t start, std::vector<bool> const& isPossible) const {
        std::vector<float> highest(isPossible.size());
        for (std::int64_t first = range_.min; first <= range_.max; first += LagsAtOnce) {
            auto const bin = isPossible.begin() + (first - range_.min) / BinSamples;
            auto const end = isPossible.end() - bin > BinsAtOnce ? bin + BinsAtOnce : isPossible.end();
            if (std::find(bin, end, true) == end) {
                continue;
            }
            std::vector<float> const likeness =
                WeighedLikeness(start, {first, std::min(range_.max, first + LagsAtOnce - 1)});
            for (std::size_t i = 0; i < likeness.size(); ++i) {
                std::int64_t const lag = first + static_cast<std::int64_t>(i) - range_.min;
                float& most = highest[static_cast<std::size_t>(lag / BinSamples)];
                most = std::max(most, likeness[i]);
            }
        }
        return highest;
    }

    /// Where the sound begins, as most of a few windows and its ends say. A beginning that was heard says it
    /// first: what follows may be displaced.
    std::optional<std::int64_t> Locate() const {
        std::vector<bool> isPossible(static_cast<std::size_t>((range_.max - range_.min) / BinSamples + 1),
                                     true);
        std::vector<float> const beginnings = HighestInBins(BeginStart, isPossible);
        float const best = *std::max_element(beginnings.begin(), beginnings.end());
        bool const isBeginSure = matcher_.IsLoud(BeginStart) && best > SureCorrelation;
        for (std::size_t i = 0; i < beginnings.size(); ++i) {
            isPossible[i] = !isBeginSure || beginnings[i] > best - BeginTolerance;
        }
        std::vector<std::int64_t> picked = PickLoudWindows(sent_);
        picked.push_back(BeginStart);
        picked.push_back(endStart_);
        picked.erase(std::remove_if(picked.begin(), picked.end(),
                                    [&](std::int64_t start) { return !matcher_.IsLoud(start); }),
                     picked.end());
        std::vector<float> sums(beginnings.size());
        bool isFound = false;
        for (std::int64_t const start : picked) {
            std::vector<float> const highest =
                start == BeginStart ? beginnings : HighestInBins(start, isPossible);
            for (std::size_t i = 0; i < sums.size(); ++i) {
                sums[i] += isPossible[i] ? highest[i] : 0.0F;
                isFound = isFound || (!IsEnd(start) && highest[i] > MinFoundCorrelation);
            }
        }
        if (!isFound) {
            return std::nullopt;
        }
        std::int64_t const bin = std::max_element(sums.begin(), sums.end()) - sums.begin();
        std::int64_t const first = range_.min + (bin - 1) * BinSamples;
        LagRange const around = {std::max(range_.min, first),
                                 std::min(range_.max, first + 3 * BinSamples - 1)};
        return BestLag(isBeginSure ? std::vector<std::int64_t>{BeginStart} : picked, around);
    }

    /// The lag of `range` at which the windows are most alike to the recording, all together.
    std::int64_t BestLag(std::vector<std::int64_t> const& starts, LagRange const& range) const {
        std::vector<float> sums(static_cast<std::size_t>(range.max - range.min + 1));
        for (std::int64_t const start : starts) {
            std::vector<float> const likeness = WeighedLikeness(start, range);
            std::transform(sums.begin(), sums.end(), likeness.begin(), sums.begin(), std::plus<>());
        }
        return range.min + (std::max_element(sums.begin(), sums.end()) - sums.begin());
    }

    /// Each window where the one before it leads, or else, if `isFar`, elsewhere.
    std::vector<WindowMatch> Forward(std::int64_t lag, bool isFar) const {
        std::vector<WindowMatch> windows;
        for (std::int64_t const start : starts_) {
            WindowMatch match = matcher_.MatchNear(start, lag);
            bool const isFirst = windows.empty() && match.correlation < SureCorrelation;
            if (isFar && match.hasSignal && (isFirst || !match.IsMatch())) {
                // One that fits nowhere as a whole has a jump in it, and those behind it tell by how much.
                WindowMatch const far = matcher_.MatchFar(start, lag);
                match = far.correlation > SureCorrelation && Leads(far) ? far : match;
            }
            lag = match.IsMatch() ? match.lag : lag;
            windows.push_back(match);
        }
        return windows;
    }

    /// The window behind it is there too: a tone is also like itself where it does not belong.
    bool Leads(WindowMatch const& match) const {
        std::int64_t const next = match.sentStart + CompareWindowSamples;
        bool const isLast = next + CompareWindowSamples > static_cast<std::int64_t>(sent_.GetSize());
        WindowMatch const behind = isLast ? WindowMatch() : matcher_.MatchWhole(next, match.lag);
        return !behind.hasSignal || behind.IsMatch();
    }

    /// Where the end was heard: if not where the windows before it lead, some of the sound is missing or came
    /// twice.
    void FindEnd(SoundTrack& track) const {
        std::int64_t const lag = track.windows.empty() ? track.begin.lag : track.windows.back().lag;
        track.end = matcher_.MatchWhole(endStart_, lag);
        if (!track.end.hasSignal) {
            return;
        }
        WindowMatch const far = BestEnd(lag);
        bool const isThere = far.correlation * EndsElsewhere <= track.end.correlation;
        // Of treble a tenth of a millisecond is a period, which hides how fast it was played.
        double const slack = isTreble_ ? RegularDriftShare * static_cast<double>(sent_.GetSize()) : 0.0;
        if (isThere || !far.IsMatch() || static_cast<double>(std::llabs(far.lag - lag)) <= slack) {
            return;
        }
        track.end = far;
    }

    /// As much of the sound as fits where its end leads may have been heard there, and where it began at
    /// `lag` the windows before that may have been lost.
    void Backward(SoundTrack& track, std::int64_t lag) const {
        std::vector<WindowMatch> behind = track.windows;
        std::int64_t back = track.end.lag;
        std::size_t first = behind.size();
        while (track.end.IsMatch() && first > 0) {
            WindowMatch& window = behind[first - 1];
            if (!window.IsMatch() || std::llabs(window.lag - back) > SlipSamples) {
                window = matcher_.MatchNear(starts_[first - 1], back);
            }
            bool const isThere = window.IsMatch() && std::llabs(window.lag - back) <= NearSamples;
            bool const mayBeLost = starts_[first - 1] < lag - back;
            if (window.hasSignal && !isThere && !mayBeLost) {
                break;
            }
            back = window.IsMatch() ? window.lag : back;
            --first;
        }
        std::size_t const joint = FindJoint(track.windows, behind, first);
        std::copy(behind.begin() + static_cast<std::ptrdiff_t>(joint), behind.end(),
                  track.windows.begin() + static_cast<std::ptrdiff_t>(joint));
    }

    /// The first window, from `first` on, that was heard where the end leads. Where the sound repeats itself
    /// it fits where the beginning leads as well, up to the first jump: the joint is where the windows slip
    /// the least, or else a part is taken for missing early, as first frames often are, and for repeated
    /// late. Where just the first frames would be missing a slip is a changed playback frequency and no
    /// joint.
    std::size_t FindJoint(std::vector<WindowMatch> const& before, std::vector<WindowMatch> const& behind,
                          std::size_t first) const {
        std::size_t jump = 1;
        while (jump < before.size() && SlipTo(before, jump) <= NearSamples) {
            ++jump;
        }
        std::size_t joint = first;
        std::int64_t slip = 0;
        std::int64_t least = 0;
        for (std::size_t i = first; i < std::min(jump, before.size()); ++i) {
            slip += SlipTo(before, i) - SlipTo(behind, i + 1);
            if (slip < least) {
                least = slip;
                joint = i + 1;
            }
        }
        bool const isShorter = behind.back().lag < before.front().lag;
        std::int64_t const usual = isShorter ? 0 : slip;
        bool const isOfStart = first == 0 && IsOfFirstFrames(before.front().lag - behind.front().lag);
        return usual - least > (isOfStart ? NearSamples : SlipSamples)
                   ? joint
                   : (isShorter ? first : std::max(first, jump));
    }

    /// A tone without its first frames seems to begin later by whole periods, as many as come nearest.
    bool IsOfFirstFrames(std::int64_t late) const {
        std::int64_t const from = std::llabs(late - FirstFramesSamples);
        return from <= CompareSearchSamples / 2 && 2 * (from - SlipSamples) <= FindPeriod(sent_).value_or(0);
    }

    /// How far a window is from where the one before it leads, beyond rounding.
    static std::int64_t SlipTo(std::vector<WindowMatch> const& windows, std::size_t number) {
        if (number >= windows.size()) {
            return 0;
        }
        WindowMatch const& window = windows[number];
        if (window.hasSignal && !window.IsMatch()) {
            return CompareSearchSamples;
        }
        std::int64_t const slip = number == 0 ? 0 : std::llabs(window.lag - windows[number - 1].lag);
        return slip > RoundingSamples ? slip : 0;
    }

    WindowMatch MatchBegin(std::vector<WindowMatch> const& windows, std::int64_t lag) const {
        auto const first = std::find_if(windows.begin(), windows.end(),
                                        [](WindowMatch const& window) { return window.IsMatch(); });
        WindowMatch const there = matcher_.MatchWhole(BeginStart, first == windows.end() ? lag : first->lag);
        WindowMatch const here = matcher_.MatchWhole(BeginStart, lag);
        return there.correlation >= here.correlation ? there : here;
    }

    WindowMatch BestEnd(std::int64_t lag) const {
        std::vector<float> const likeness =
            matcher_.Likeness(endStart_, lag - CompareSearchSamples, lag + CompareSearchSamples);
        auto const best = std::max_element(likeness.begin(), likeness.end()) - likeness.begin();
        return matcher_.MatchWhole(endStart_, lag - CompareSearchSamples + best);
    }

    /// What was not found whole, or alone at a place of its own, may have been heard in part where the window
    /// before leads, in part where the one behind it does.
    void JoinAtJumps(std::vector<WindowMatch>& windows) const {
        for (std::size_t i = 1; i + 1 < windows.size(); ++i) {
            std::int64_t const before = windows[i - 1].lag;
            std::int64_t const behind = NextLag(windows, i + 1);
            bool const isAlone = std::llabs(windows[i].lag - before) > NearSamples &&
                                 std::llabs(windows[i].lag - behind) > NearSamples;
            if (windows[i].hasSignal && (isAlone || !windows[i].IsMatch())) {
                WindowMatch alone = windows[i];
                alone.correlation = isAlone ? 0.0F : alone.correlation;
                alone.lag = isAlone ? before : alone.lag;
                windows[i] = matcher_.MatchPieces(alone, {before, behind});
            }
        }
    }

    std::optional<Ambiguity> FindAmbiguity(SoundTrack const& track) const {
        bool const hasBegin = track.begin.IsMatch();
        bool const hasEnd = track.end.IsMatch();
        if (hasBegin && hasEnd) {
            return std::nullopt;
        }
        std::optional<std::int64_t> const period = FindPeriod(sent_);
        return period ? std::optional<Ambiguity>({*period, !hasBegin && !hasEnd}) : std::nullopt;
    }

    SampleView const sent_;
    bool const isTreble_;
    WindowMatcher const matcher_;
    LagRange const range_;
    std::int64_t const endStart_;
    std::vector<std::int64_t> starts_;
};

/// The beginning says where the sound begins, or the first window that was heard.
bool IsWithin(SoundTrack const& track, LagRange const& range) {
    auto const isIn = [&](WindowMatch const& window) {
        return window.IsMatch() && window.lag >= range.min - NearSamples &&
               window.lag <= range.max + NearSamples;
    };
    auto const first = std::find_if(track.windows.begin(), track.windows.end(),
                                    [](WindowMatch const& window) { return window.IsMatch(); });
    return first == track.windows.end() || isIn(*first) || isIn(track.begin);
}

} // namespace

SoundTrack MatchWindows(SampleView sent, SampleView heard, std::optional<LagRange> const& range) {
    if (static_cast<std::int64_t>(sent.GetSize()) < CompareWindowSamples || heard.IsEmpty()) {
        return {};
    }
    LagRange const all = {-static_cast<std::int64_t>(sent.GetSize()),
                          static_cast<std::int64_t>(heard.GetSize())};
    SoundTrack track = Follower(sent, heard, range.value_or(all)).Run();
    return IsWithin(track, range.value_or(all)) ? track : SoundTrack();
}

} // namespace Listening
