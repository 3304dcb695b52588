#include "listening/soundcompare.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "listening/soundlevel.h"
#include "listening/stats.h"

namespace Listening {

namespace {

constexpr std::int64_t HoleBlockSamples = 240;
/// A loudspeaker's silence: what rounding and dither may leave.
constexpr int HolePeakLsb = 2;
/// Fastest regular change of lag (drift control moves it by 833 ppm), and the play cursor's rounding.
constexpr double RegularDriftShare = 0.001;
constexpr double RegularLagSamples = 24.0;
/// Windows that speak for the beginning and the end.
constexpr std::size_t EdgeWindows = 5;

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

bool IsHole(SampleView sent, SampleView heard, std::int64_t start, std::int64_t lag) {
    SampleView const out = heard.Cut(start + lag, HoleBlockSamples);
    bool const isWithin = out.GetSize() == static_cast<std::size_t>(HoleBlockSamples);
    return isWithin && Peak(out) <= HolePeakLsb &&
           LevelDecibel(sent.Cut(start, HoleBlockSamples)) > SignalLevelDecibel;
}

/// Ends with the last silent block that had something to say.
std::int64_t SilentStart(SampleView sent, SampleView heard, std::int64_t lag) {
    std::int64_t silent = 0;
    if (lag < 0) {
        return 0; // the recorder started later, nobody knows
    }
    for (std::int64_t at = 0; at < static_cast<std::int64_t>(sent.GetSize()); at += HoleBlockSamples) {
        if (Peak(heard.Cut(at + lag, HoleBlockSamples)) > HolePeakLsb) {
            break;
        }
        if (IsHole(sent, heard, at, lag)) {
            silent = at + HoleBlockSamples;
        }
    }
    return silent;
}

/// The lag of the first window heard from `number` on; that of `number` when none is.
std::int64_t NextLag(std::vector<WindowMatch> const& windows, std::size_t number) {
    auto const from = windows.begin() + static_cast<std::ptrdiff_t>(number);
    auto const next = std::find_if(from, windows.end(), [](WindowMatch const& one) { return one.IsMatch(); });
    return next == windows.end() ? from->lag : next->lag;
}

/// Each window is looked at where it was heard. One that was not is looked at where those before and after it
/// were: sound that only came later, after a pause, is not a hole.
std::vector<SoundSpan> FindHoles(SampleView sent, SampleView heard, std::vector<WindowMatch> const& windows,
                                 std::int64_t from) {
    std::vector<SoundSpan> holes;
    for (std::size_t i = 0; i < windows.size(); ++i) {
        WindowMatch const& window = windows[i];
        std::int64_t const nextLag = NextLag(windows, i);
        for (std::int64_t at = window.sentStart; at < window.sentStart + CompareWindowSamples;
             at += HoleBlockSamples) {
            if (at < from || !IsHole(sent, heard, at, window.lag) || !IsHole(sent, heard, at, nextLag)) {
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

bool HasSilence(SampleView heard, std::int64_t start, std::int64_t end) {
    for (std::int64_t at = start; at + HoleBlockSamples <= end; at += HoleBlockSamples) {
        SampleView const block = heard.Cut(at, HoleBlockSamples);
        if (!block.IsEmpty() && Peak(block) <= HolePeakLsb) {
            return true;
        }
    }
    return false;
}

std::vector<TimelineJump> FindJumps(SampleView heard, std::vector<WindowMatch const*> const& windows) {
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
            bool const isSilent = HasSilence(heard, before.sentStart + before.lag,
                                             after.sentStart + after.lag + CompareWindowSamples);
            jump.kind = isSilent ? TimelineJump::Kind_t::SilenceInserted : TimelineJump::Kind_t::Repeated;
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

} // namespace

double SoundComparison::GetMatchedShare() const {
    return windowsWithSignal == 0
               ? 0.0
               : static_cast<double>(windowsMatched) / static_cast<double>(windowsWithSignal);
}

SoundComparison CompareSounds(SampleView sent, SampleView heard, std::optional<LagRange> const& range) {
    SoundComparison result;
    std::optional<std::int64_t> const lag = FindLag(sent, heard, range);
    if (lag) {
        result.windows = MatchWindows(sent, heard, *lag);
    }
    std::vector<WindowMatch const*> const matched = Heard(result.windows);
    result.isFound = !matched.empty();
    result.windowsMatched = static_cast<std::int64_t>(matched.size());
    result.windowsWithSignal = std::count_if(result.windows.begin(), result.windows.end(),
                                             [](WindowMatch const& window) { return window.hasSignal; });
    result.sentLevelDecibel = LevelOver(matched, sent, 0);
    result.heardLevelDecibel = LevelOver(matched, heard, 1);
    if (result.isFound) {
        DescribeLags(matched, result);
        result.silentStartSamples = SilentStart(sent, heard, matched.front()->lag);
        result.holes = FindHoles(sent, heard, result.windows, result.silentStartSamples);
        result.longestHole = LongestOf(result.holes);
        result.jumps = FindJumps(heard, matched);
        result.lost = FindLost(result.windows);
        result.unrecordedSamples = CountUnrecorded(sent, heard, result.windows);
    }
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
