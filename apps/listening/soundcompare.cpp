#include "listening/soundcompare.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "listening/cutoff.h"
#include "listening/search/smoothing.h"
#include "listening/soundlevel.h"
#include "listening/stats.h"

namespace Listening {

namespace {

constexpr std::int64_t HoleBlockSamples = 240;
/// A loudspeaker's silence: what rounding and dither may leave, at the least.
constexpr int HolePeakLsb = 2;
/// What a recording's noise has in a hundredth of its time, it may have half as much again elsewhere.
constexpr double QuietShare = 0.01;
constexpr double QuietPeaks = 1.5;
/// So far above the noise sound has to be to be missed.
constexpr double ClearOfNoise = 2.0;
/// Fastest regular change of lag: drift control moves it by 833 ppm; and at once: a mixer that begins or ends
/// to convert the rate leaves out or repeats half of its filter, Wine's 32 samples, and the play cursor is
/// rounded.
constexpr double RegularDriftShare = 0.001;
constexpr double RegularLagSamples = 40.0;
/// Windows that speak for the beginning and the end.
constexpr std::size_t EdgeWindows = 5;
/// A drift is told from so many windows on, when the lag ends up this far from where it began, and both
/// halves have the same one within a third.
constexpr std::size_t DriftWindows = 8;
constexpr double DriftSamples = 24.0;
constexpr double DriftAgreement = 0.33;
/// Windows in a row that make a part of another level: fewer may be chance.
constexpr std::int64_t UnevenWindows = 2;

std::vector<WindowMatch const*> Heard(std::vector<WindowMatch> const& windows) {
    std::vector<WindowMatch const*> heard;
    for (WindowMatch const& window : windows) {
        if (window.IsMatch()) {
            heard.push_back(&window);
        }
    }
    return heard;
}

/// Level over the windows heard, where `lagShare` 0 asks for what was sent and 1 for what came out.
double LevelOver(std::vector<WindowMatch const*> const& heard, SampleView samples, std::int64_t lagShare) {
    double energy = 0.0;
    for (WindowMatch const* window : heard) {
        double const level =
            LevelDecibel(samples.Cut(window->sentStart + lagShare * window->lag, CompareWindowSamples));
        energy += std::pow(10.0, level / 10.0);
    }
    return heard.empty() ? LevelDecibel(samples)
                         : 10.0 * std::log10(energy / static_cast<double>(heard.size()));
}

void DescribeLags(std::vector<WindowMatch const*> const& heard, SoundComparison& result) {
    std::vector<double> lags;
    for (WindowMatch const* window : heard) {
        lags.push_back(static_cast<double>(window->lag));
    }
    auto const edge = static_cast<std::ptrdiff_t>(std::min(EdgeWindows, lags.size()));
    double const first = Median({lags.begin(), lags.begin() + edge});
    double const last = Median({lags.end() - edge, lags.end()});
    result.firstSampleAt = first;
    result.lagDriftSamples = last - first;
    result.medianLagSamples = Median(lags);
    result.lagSpreadSamples = Percentile(lags, 0.95) - Percentile(lags, 0.05);
}

/// The greatest magnitude that a recording has where it is quiet: its noise, at the least rounding and
/// dither.
int QuietPeak(SampleView heard) {
    std::vector<double> peaks;
    for (std::int64_t at = 0; at + HoleBlockSamples <= static_cast<std::int64_t>(heard.GetSize());
         at += HoleBlockSamples) {
        peaks.push_back(Peak(heard.Cut(at, HoleBlockSamples)));
    }
    return std::max(HolePeakLsb, static_cast<int>(QuietPeaks * Percentile(std::move(peaks), QuietShare)));
}

/// A sound, what a recorder heard, and how loud that is where nothing sounds.
struct Pair {
    SampleView sent;
    SampleView heard;
    double gain = 1.0;
    int quietPeak = HolePeakLsb;
};

bool IsQuiet(Pair const& pair, std::int64_t heardStart) {
    return Peak(pair.heard.Cut(heardStart, HoleBlockSamples)) <= pair.quietPeak;
}

bool IsHole(Pair const& pair, std::int64_t start, std::int64_t lag) {
    bool const isWithin =
        pair.heard.Cut(start + lag, HoleBlockSamples).GetSize() == static_cast<std::size_t>(HoleBlockSamples);
    if (!isWithin || !IsQuiet(pair, start + lag)) {
        return false;
    }
    SampleView const block = pair.sent.Cut(start, HoleBlockSamples);
    bool const isClear = pair.quietPeak <= HolePeakLsb ||
                         pair.gain * Peak(block) > ClearOfNoise * static_cast<double>(pair.quietPeak);
    return isClear && LevelDecibel(block) > SignalLevelDecibel;
}

/// Ends with the last silent block that had something to say.
std::int64_t SilentStart(Pair const& pair, std::int64_t lag) {
    std::int64_t silent = 0;
    if (lag < 0) {
        return 0; // the recorder started later, nobody knows
    }
    for (std::int64_t at = 0; at < static_cast<std::int64_t>(pair.sent.GetSize()); at += HoleBlockSamples) {
        if (!IsQuiet(pair, at + lag)) {
            break;
        }
        if (IsHole(pair, at, lag)) {
            silent = at + HoleBlockSamples;
        }
    }
    return silent;
}

/// What was not heard for the silence at the beginning is told by that.
void LeaveOutStart(SoundComparison& comparison) {
    for (WindowMatch& window : comparison.windows) {
        bool const isOfStart = window.sentStart < comparison.silentStartSamples;
        window.hasSignal = window.hasSignal && (window.IsMatch() || !isOfStart);
    }
}

bool IsLoud(SampleView sent, std::int64_t start) {
    return LevelDecibel(sent.Cut(start, HoleBlockSamples)) > SignalLevelDecibel;
}

/// Silence where there was sound before and behind, as an edge may lie a little beside where it is looked
/// for. Each window is looked at where it was heard. One that was not is looked at where those before and
/// after it were: sound that only came later, after a pause, is not a hole.
std::vector<SoundSpan> FindHoles(Pair const& pair, std::vector<WindowMatch> const& windows,
                                 std::int64_t from) {
    std::vector<SoundSpan> holes;
    for (std::size_t i = 0; i < windows.size(); ++i) {
        WindowMatch const& window = windows[i];
        std::int64_t const nextLag = NextLag(windows, i);
        for (std::int64_t at = window.sentStart; at < window.sentStart + CompareWindowSamples;
             at += HoleBlockSamples) {
            bool const isClear =
                IsLoud(pair.sent, at - HoleBlockSamples) && IsLoud(pair.sent, at + HoleBlockSamples);
            if (at < from || !isClear || !IsHole(pair, at, window.lag) || !IsHole(pair, at, nextLag)) {
                continue;
            }
            if (!holes.empty() && holes.back().start + holes.back().samples == at) {
                holes.back().samples += HoleBlockSamples;
            } else {
                holes.push_back({at, HoleBlockSamples});
            }
        }
    }
    return holes;
}

SoundSpan LongestOf(std::vector<SoundSpan> const& holes) {
    auto const longest =
        std::max_element(holes.begin(), holes.end(),
                         [](SoundSpan const& a, SoundSpan const& b) { return a.samples < b.samples; });
    return longest == holes.end() ? SoundSpan() : *longest;
}

/// The sound that is heard later from `after` on than from `before` on: whether most of what lies between is
/// silence that was not sent.
bool IsSilencePutIn(Pair const& pair, WindowMatch const& before, WindowMatch const& after) {
    std::int64_t const start = std::max<std::int64_t>(0, before.sentStart);
    std::int64_t const end =
        std::min(static_cast<std::int64_t>(pair.sent.GetSize()), after.sentStart + CompareWindowSamples);
    std::int64_t blocks = 0;
    for (std::int64_t at = start + before.lag; at + HoleBlockSamples <= end + after.lag;
         at += HoleBlockSamples) {
        blocks += !pair.heard.Cut(at, HoleBlockSamples).IsEmpty() && IsQuiet(pair, at) ? 1 : 0;
    }
    for (std::int64_t at = start; at + HoleBlockSamples <= end; at += HoleBlockSamples) {
        blocks -= pair.gain * Peak(pair.sent.Cut(at, HoleBlockSamples)) <= pair.quietPeak ? 1 : 0;
    }
    return 2 * blocks * HoleBlockSamples > after.lag - before.lag;
}

std::vector<TimelineJump> FindJumps(Pair const& pair, std::vector<WindowMatch const*> const& windows) {
    std::vector<TimelineJump> jumps;
    for (std::size_t i = 1; i < windows.size(); ++i) {
        WindowMatch const& before = *windows[i - 1];
        WindowMatch const& after = *windows[i];
        std::int64_t const change = after.lag - before.lag;
        double const distance = static_cast<double>(after.sentStart - before.sentStart);
        if (std::fabs(static_cast<double>(change)) <= RegularLagSamples + RegularDriftShare * distance) {
            continue;
        }
        TimelineJump jump;
        jump.sentSample = before.sentStart + CompareWindowSamples;
        jump.samples = std::llabs(change);
        jump.within = {before.sentStart, after.sentStart + CompareWindowSamples - before.sentStart};
        if (change > 0) {
            jump.kind = IsSilencePutIn(pair, before, after) ? TimelineJump::Kind_t::SilenceInserted
                                                            : TimelineJump::Kind_t::Repeated;
        }
        jumps.push_back(jump);
    }
    return jumps;
}

std::int64_t CountUnrecorded(SampleView sent, SampleView heard, std::vector<WindowMatch> const& windows) {
    std::int64_t samples = 0;
    for (WindowMatch const& window : windows) {
        bool const isLoud =
            LevelDecibel(sent.Cut(window.sentStart, CompareWindowSamples)) > SignalLevelDecibel;
        samples +=
            isLoud && !IsWindowRecorded(heard, window.sentStart + window.lag) ? CompareWindowSamples : 0;
    }
    return samples;
}

std::vector<SoundSpan> FindLost(std::vector<WindowMatch> const& windows) {
    std::vector<SoundSpan> lost;
    for (WindowMatch const& window : windows) {
        if (!window.hasSignal || window.IsMatch()) {
            continue;
        }
        if (!lost.empty() && lost.back().start + lost.back().samples == window.sentStart) {
            lost.back().samples += CompareWindowSamples;
        } else {
            lost.push_back({window.sentStart, CompareWindowSamples});
        }
    }
    return lost;
}

/// What most of the sound was heard at: the middle one of the windows' gains, each as often as it has energy.
double GainOver(std::vector<WindowMatch const*> const& heard, SampleView sent) {
    std::vector<std::pair<double, double>> gains;
    for (WindowMatch const* window : heard) {
        gains.emplace_back(window->gain, SumOfSquares(sent.Cut(window->sentStart, CompareWindowSamples)));
    }
    return WeightedMedian(std::move(gains));
}

std::vector<SoundSpan> FindUneven(std::vector<WindowMatch const*> const& heard, double gain) {
    std::vector<SoundSpan> spans;
    for (WindowMatch const* window : heard) {
        double const decibel = 20.0 * std::log10(std::max(1e-6, window->gain / gain));
        if (std::fabs(decibel) <= UnevenDecibel) {
            continue;
        }
        if (!spans.empty() && spans.back().start + spans.back().samples == window->sentStart) {
            spans.back().samples += CompareWindowSamples;
        } else {
            spans.push_back({window->sentStart, CompareWindowSamples});
        }
    }
    spans.erase(std::remove_if(spans.begin(), spans.end(),
                               [](SoundSpan const& span) {
                                   return span.samples < UnevenWindows * CompareWindowSamples;
                               }),
                spans.end());
    return spans;
}

/// How much the lag changes a sample, over some windows: the line through them that is nearest.
double Slope(std::vector<WindowMatch const*> const& heard, std::size_t first, std::size_t last) {
    double const count = static_cast<double>(last - first);
    double time = 0.0;
    double lag = 0.0;
    for (std::size_t i = first; i < last; ++i) {
        time += static_cast<double>(heard[i]->sentStart) / count;
        lag += static_cast<double>(heard[i]->lag) / count;
    }
    double both = 0.0;
    double square = 0.0;
    for (std::size_t i = first; i < last; ++i) {
        double const x = static_cast<double>(heard[i]->sentStart) - time;
        both += x * (static_cast<double>(heard[i]->lag) - lag);
        square += x * x;
    }
    return square > 0.0 ? both / square : 0.0;
}

std::optional<double> SteadyDrift(std::vector<WindowMatch const*> const& heard) {
    std::size_t const count = heard.size();
    if (count < DriftWindows) {
        return std::nullopt;
    }
    double const all = Slope(heard, 0, count);
    double const span = static_cast<double>(heard.back()->sentStart - heard.front()->sentStart);
    double const difference = std::fabs(Slope(heard, 0, count / 2) - Slope(heard, count / 2, count));
    if (std::fabs(all) * span < DriftSamples || difference > DriftAgreement * std::fabs(all)) {
        return std::nullopt;
    }
    return 1e6 * all;
}

/// Nothing in it is loud enough to be looked for.
bool IsTooFaint(SampleView sent) {
    for (std::int64_t at = 0; at < static_cast<std::int64_t>(sent.GetSize()); at += CompareWindowSamples) {
        if (LevelDecibel(sent.Cut(at, CompareWindowSamples)) > SignalLevelDecibel) {
            return false;
        }
    }
    return true;
}

/// The windows heard and the ends of the sound, which tell its length.
std::vector<WindowMatch const*> WithEnds(std::vector<WindowMatch const*> heard, SoundTrack const& track,
                                         std::int64_t silentStart) {
    bool const isLate = track.begin.lag - heard.front()->lag > 0 && silentStart > 0;
    if (track.begin.IsMatch() && !isLate) {
        heard.insert(heard.begin(), &track.begin);
    }
    if (track.end.IsMatch()) {
        heard.push_back(&track.end);
    }
    return heard;
}

} // namespace

double SoundComparison::GetMatchedShare() const {
    return windowsWithSignal == 0
               ? 0.0
               : static_cast<double>(windowsMatched) / static_cast<double>(windowsWithSignal);
}

SoundComparison CompareSounds(SampleView sent, SampleView heard, std::optional<LagRange> const& range) {
    SoundTrack const track = MatchWindows(sent, heard, range);
    SoundComparison result;
    result.windows = track.windows;
    std::vector<WindowMatch const*> const matched = Heard(result.windows);
    result.isFound = !matched.empty();
    result.isTooFaint = IsTooFaint(sent);
    result.sentLevelDecibel = LevelOver(matched, sent, 0);
    result.heardLevelDecibel = LevelOver(matched, heard, 1);
    if (result.isFound) {
        result.gain = GainOver(matched, sent);
        Pair const pair = {sent, heard, result.gain, QuietPeak(heard)};
        DescribeLags(matched, result);
        result.silentStartSamples = SilentStart(pair, matched.front()->lag);
        LeaveOutStart(result);
        result.holes = FindHoles(pair, result.windows, result.silentStartSamples);
        result.longestHole = LongestOf(result.holes);
        result.jumps = FindJumps(pair, WithEnds(matched, track, result.silentStartSamples));
        result.lost = FindLost(result.windows);
        result.uneven = FindUneven(matched, result.gain);
        result.steadyDriftPpm = result.jumps.empty() && !IsTreble(sent) ? SteadyDrift(matched) : std::nullopt;
        result.unrecordedSamples = CountUnrecorded(sent, heard, result.windows);
        result.ambiguity = track.ambiguity;
        result.isCutOff = IsCutOff(sent, heard, result.windows);
    }
    result.windowsMatched = static_cast<std::int64_t>(matched.size());
    result.windowsWithSignal = std::count_if(result.windows.begin(), result.windows.end(),
                                             [](WindowMatch const& window) { return window.hasSignal; });
    return result;
}

Samples MixSounds(std::vector<SampleView> const& sounds) {
    std::size_t size = 0;
    for (SampleView const& sound : sounds) {
        size = std::max(size, sound.GetSize());
    }
    Samples mixed(size);
    for (std::size_t i = 0; i < size; ++i) {
        int sum = 0;
        for (SampleView const& sound : sounds) {
            sum += i < sound.GetSize() ? sound[i] : 0;
        }
        mixed[i] = static_cast<std::int16_t>(std::clamp(sum, -32768, 32767));
    }
    return mixed;
}

} // namespace Listening
