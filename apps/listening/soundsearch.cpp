#include "listening/soundsearch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "listening/correlation.h"
#include "listening/smoothing.h"
#include "listening/soundlevel.h"

namespace Listening {

namespace {

/// Stretch by which the sound is first found, and how much of the recording one step looks through.
constexpr std::int64_t PatternSamples = 24000;
constexpr std::int64_t SearchBlockSamples = 107000;
/// From so many parts of the sound: the loudest may lie outside the recording.
constexpr std::int64_t PatternsTried = 4;
/// The least likeness that counts as having found the place.
constexpr float MinFoundCorrelation = 0.5F;

/// Below this likeness the window may have been played faster or slower: both are tried.
constexpr float TrySpeedsCorrelation = 0.97F;
/// Drift control's two other speeds.
constexpr std::array<double, 2> OtherSpeeds = {47960.0 / 48000.0, 48040.0 / 48000.0};

/// Windows by which the sound's place is found, besides its ends.
constexpr std::size_t WindowsTried = 6;
/// Lags this close together count as one then: drift may have displaced the windows.
constexpr std::int64_t BinSamples = 240;
/// Where the beginning was not recorded nearly nothing speaks against that place; the end, which may have
/// been displaced on the way, decides between places as good.
constexpr float UnrecordedBegin = 0.97F;
constexpr float EndWeight = 0.25F;
/// An end that fits elsewhere better by this share stands elsewhere.
constexpr float EndsElsewhere = 0.97F;
/// As like itself as this a sound is after a period, and less in between.
constexpr float PeriodLikeness = 0.97F;
constexpr float BetweenPeriods = 0.9F;
/// From a window to the next drift control slips by ten samples.
constexpr std::int64_t SlipSamples = 16;
/// Fastest regular change of lag: drift control moves it by 833 ppm.
constexpr double RegularDriftShare = 0.001;

/// Looks `window` up in `text`; places count from the text's start.
FoundPeak LookUp(SampleView window, SampleView text, std::int64_t expected) {
    FoundPeak best = NearestPeak(NormalisedCorrelation(window, text), expected);
    if (best.height >= TrySpeedsCorrelation) {
        return best;
    }
    for (double const speed : OtherSpeeds) {
        Samples const changed = ChangeSpeed(window, speed);
        FoundPeak const peak = NearestPeak(NormalisedCorrelation(changed, text), expected);
        if (peak.height > best.height) {
            best = peak;
        }
    }
    return best;
}

std::int64_t LoudestStart(SampleView sent, std::int64_t length) {
    std::int64_t best = 0;
    double bestLevel = MinLevelDecibel;
    auto const size = static_cast<std::int64_t>(sent.GetSize());
    for (std::int64_t start = 0; start + length <= size; start += std::max<std::int64_t>(1, length / 2)) {
        double const level = LevelDecibel(sent.Cut(start, length));
        if (level > bestLevel) {
            bestLevel = level;
            best = start;
        }
    }
    return best;
}

/// Looks for the place in [from, end) at which `pattern` begins.
FoundPeak FindPattern(SampleView pattern, SampleView heard, std::int64_t from, std::int64_t end) {
    FoundPeak best;
    for (std::int64_t at = from; at < end; at += SearchBlockSamples) {
        std::int64_t const places = std::min(SearchBlockSamples, end - at);
        SampleView const block = heard.Cut(at, places + static_cast<std::int64_t>(pattern.GetSize()));
        FoundPeak const found = LookUp(pattern, block, 0);
        if (found.height > best.height) {
            best = {found.height, at + found.place};
        }
    }
    return best;
}

/// Follows one sound through a recording.
class Follower {
public:
    /// The sound's own pitch may hide how fast it was played: then its end may lead `endSlack` elsewhere.
    Follower(SampleView sent, SignalView smoothSent, WindowMatcher const& matcher, LagRange const& range,
             std::int64_t endSlack)
        : sent_(sent),
          smoothSent_(smoothSent),
          matcher_(matcher),
          range_(range),
          endSlack_(endSlack),
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
        SoundTrack track;
        track.windows = Forward(*lag);
        FindEnd(track);
        Backward(track);
        track.begin = MatchBegin(track.windows, *lag);
        JoinAtJumps(track.windows);
        track.ambiguity = FindAmbiguity(track);
        return track;
    }

private:
    /// The loudest window of each part of the sound.
    std::vector<std::int64_t> PickStarts() const {
        std::vector<std::int64_t> picked;
        std::size_t const parts = std::min(WindowsTried, starts_.size());
        for (std::size_t part = 0; part < parts; ++part) {
            auto const first = starts_.begin() + static_cast<std::ptrdiff_t>(part * starts_.size() / parts);
            auto const last =
                starts_.begin() + static_cast<std::ptrdiff_t>((part + 1) * starts_.size() / parts);
            picked.push_back(*std::max_element(first, last, [&](std::int64_t a, std::int64_t b) {
                return LevelDecibel(sent_.Cut(a, CompareWindowSamples)) <
                       LevelDecibel(sent_.Cut(b, CompareWindowSamples));
            }));
        }
        return picked;
    }

    /// Where the sound begins, as most of a few windows and its ends say.
    std::optional<std::int64_t> Locate() const {
        std::vector<std::int64_t> picked = PickStarts();
        picked.push_back(-CompareWindowSamples / 2);
        picked.push_back(endStart_);
        std::vector<float> sums(static_cast<std::size_t>((range_.max - range_.min) / BinSamples + 1));
        std::vector<float> finest(static_cast<std::size_t>(range_.max - range_.min + 1));
        bool isFound = false;
        for (std::int64_t const start : picked) {
            if (!matcher_.IsLoud(start)) {
                continue;
            }
            std::vector<float> likeness = matcher_.Likeness(start, range_.min, range_.max);
            bool const isEnd = start < 0 || start == endStart_;
            for (std::size_t i = 0; isEnd && i < likeness.size(); ++i) {
                bool const isRecorded = matcher_.IsRecorded(start, range_.min + static_cast<std::int64_t>(i));
                likeness[i] =
                    start < 0 ? (isRecorded ? likeness[i] : UnrecordedBegin) : EndWeight * likeness[i];
            }
            std::vector<float> best(sums.size());
            for (std::size_t i = 0; i < likeness.size(); ++i) {
                float& bin = best[i / static_cast<std::size_t>(BinSamples)];
                bin = std::max(bin, likeness[i]);
                finest[i] += likeness[i];
            }
            for (std::size_t i = 0; i < sums.size(); ++i) {
                sums[i] += best[i];
                isFound = isFound || (!isEnd && best[i] > MinFoundCorrelation);
            }
        }
        if (!isFound) {
            return std::nullopt;
        }
        auto const bin = std::max_element(sums.begin(), sums.end()) - sums.begin();
        auto const first = std::max<std::ptrdiff_t>(0, (bin - 1) * BinSamples);
        auto const last = std::min(static_cast<std::ptrdiff_t>(finest.size()),
                                   (bin + 2) * static_cast<std::ptrdiff_t>(BinSamples));
        return range_.min +
               (std::max_element(finest.begin() + first, finest.begin() + last) - finest.begin());
    }

    /// Each window where the one before it leads, or else elsewhere.
    std::vector<WindowMatch> Forward(std::int64_t lag) const {
        std::vector<WindowMatch> windows;
        for (std::int64_t const start : starts_) {
            WindowMatch match = matcher_.MatchNear(start, lag);
            bool const isFirst = windows.empty() && match.correlation < SureCorrelation;
            if (match.hasSignal && (isFirst || !match.IsMatch())) {
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
        if (isThere || !far.IsMatch() || std::llabs(far.lag - lag) <= endSlack_) {
            return;
        }
        track.end = far;
    }

    /// As much of the sound as fits where its end leads was heard there.
    void Backward(SoundTrack& track) const {
        std::int64_t back = track.end.lag;
        for (std::size_t i = track.end.IsMatch() ? track.windows.size() : 0; i-- > 0;) {
            if (track.windows[i].IsMatch() && std::llabs(track.windows[i].lag - back) <= SlipSamples) {
                back = track.windows[i].lag;
                continue;
            }
            WindowMatch const match = matcher_.MatchNear(starts_[i], back);
            bool const isThere = match.IsMatch() && std::llabs(match.lag - back) <= SlipSamples;
            if (match.hasSignal && !isThere) {
                break;
            }
            back = match.IsMatch() ? match.lag : back;
            track.windows[i] = match;
        }
    }

    WindowMatch MatchBegin(std::vector<WindowMatch> const& windows, std::int64_t lag) const {
        auto const first = std::find_if(windows.begin(), windows.end(),
                                        [](WindowMatch const& window) { return window.IsMatch(); });
        WindowMatch const there =
            matcher_.MatchWhole(-CompareWindowSamples / 2, first == windows.end() ? lag : first->lag);
        WindowMatch const here = matcher_.MatchWhole(-CompareWindowSamples / 2, lag);
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
            std::int64_t const behind = windows[i + 1].lag;
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

    /// After so many samples the sound is as it was, all along.
    std::optional<std::int64_t> FindPeriod() const {
        WindowMatcher const itself(sent_, smoothSent_, smoothSent_);
        std::vector<float> least(static_cast<std::size_t>(CompareSearchSamples), 1.0F);
        for (std::int64_t const start : PickStarts()) {
            if (!matcher_.IsLoud(start)) {
                continue;
            }
            std::vector<float> const ahead = itself.Likeness(start, 0, CompareSearchSamples - 1);
            std::vector<float> const behind = itself.Likeness(start, 1 - CompareSearchSamples, 0);
            for (std::size_t i = 0; i < least.size(); ++i) {
                least[i] = std::min(least[i], std::max(ahead[i], behind[behind.size() - 1 - i]));
            }
        }
        auto const between =
            std::find_if(least.begin(), least.end(), [](float one) { return one < BetweenPeriods; });
        auto const again = std::find_if(between, least.end(), [](float one) { return one > PeriodLikeness; });
        return again == least.end() ? std::nullopt : std::optional<std::int64_t>(again - least.begin());
    }

    std::optional<Ambiguity> FindAmbiguity(SoundTrack const& track) const {
        bool const hasBegin = track.begin.IsMatch();
        bool const hasEnd = track.end.IsMatch();
        if (hasBegin && hasEnd) {
            return std::nullopt;
        }
        std::optional<std::int64_t> const period = FindPeriod();
        return period ? std::optional<Ambiguity>({*period, !hasBegin && !hasEnd}) : std::nullopt;
    }

    SampleView const sent_;
    SignalView const smoothSent_;
    WindowMatcher const& matcher_;
    LagRange const range_;
    std::int64_t const endSlack_;
    std::int64_t const endStart_;
    std::vector<std::int64_t> starts_;
};

/// The first window that was heard says where the sound begins.
bool IsWithin(SoundTrack const& track, LagRange const& range) {
    auto const first = std::find_if(track.windows.begin(), track.windows.end(),
                                    [](WindowMatch const& window) { return window.IsMatch(); });
    return first == track.windows.end() ||
           (first->lag >= range.min - NearSamples && first->lag <= range.max + NearSamples);
}

} // namespace

std::optional<std::int64_t> FindLag(SampleView sent, SampleView heard, std::optional<LagRange> const& range) {
    auto const recorded = static_cast<std::int64_t>(heard.GetSize());
    auto const size = static_cast<std::int64_t>(sent.GetSize());
    FoundPeak best;
    std::int64_t const step = std::max(PatternSamples, (size + PatternsTried - 1) / PatternsTried);
    for (std::int64_t part = 0; part < size && best.height < MatchCorrelation; part += step) {
        SampleView const within = sent.Cut(part, step);
        std::int64_t const length =
            std::min<std::int64_t>(PatternSamples, static_cast<std::int64_t>(within.GetSize()));
        std::int64_t const start = part + LoudestStart(within, length);
        std::int64_t const from = range ? std::clamp<std::int64_t>(start + range->min, 0, recorded) : 0;
        std::int64_t const end =
            range ? std::clamp<std::int64_t>(start + range->max + 1, from, recorded) : recorded;
        FoundPeak const found = FindPattern(sent.Cut(start, length), heard, from, end);
        if (found.height > best.height) {
            best = {found.height, found.place - start};
        }
    }
    if (best.height < MinFoundCorrelation) {
        return std::nullopt;
    }
    return best.place;
}

SoundTrack MatchWindows(SampleView sent, SampleView heard, std::optional<LagRange> const& range) {
    if (static_cast<std::int64_t>(sent.GetSize()) < CompareWindowSamples || heard.IsEmpty()) {
        return {};
    }
    bool const isTreble = IsTreble(sent);
    Signal const smoothSent = isTreble ? ToSignal(sent) : Smooth(sent);
    Signal const smoothHeard = isTreble ? ToSignal(heard) : Smooth(heard);
    WindowMatcher const matcher(sent, smoothSent, smoothHeard);
    LagRange const all = {-static_cast<std::int64_t>(sent.GetSize()),
                          static_cast<std::int64_t>(heard.GetSize())};
    // Of treble a tenth of a millisecond is a period.
    std::int64_t const endSlack =
        isTreble ? std::llround(RegularDriftShare * static_cast<double>(sent.GetSize())) : 0;
    SoundTrack track = Follower(sent, smoothSent, matcher, range.value_or(all), endSlack).Run();
    return IsWithin(track, range.value_or(all)) ? track : SoundTrack();
}

} // namespace Listening
