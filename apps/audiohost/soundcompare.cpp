#include "soundcompare.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "correlation.h"
#include "stats.h"

namespace AudioHost {

namespace {

constexpr double FullScaleLsb = 32768.0;
constexpr double LeastLevelDecibel = -120.0;
/// Sound below this level is not looked for: noise and coding change it too much to be recognised.
constexpr double SignalLevelDecibel = -55.0;

/// Stretch by which the sound is first found, and how much of the recording one step looks through.
constexpr std::int64_t PatternSamples = 24000;
constexpr std::int64_t SearchBlockSamples = 107000;
/// From so many parts of the sound: the loudest may lie outside the recording.
constexpr std::int64_t PatternsTried = 4;
/// The least likeness that counts as having found the place.
constexpr float LeastFoundCorrelation = 0.5F;

/// Below this likeness the window may have been played faster or slower: both are tried.
constexpr float TrySpeedsCorrelation = 0.97F;
/// Drift control's two other speeds.
constexpr std::array<double, 2> OtherSpeeds = {47960.0 / 48000.0, 48040.0 / 48000.0};
/// Peaks this close to the highest one are as good: a periodic sound has many, and the nearest is the true
/// one.
constexpr float EqualPeakShare = 0.98F;

/// A window that is not found whole is looked up piece by piece: a change of the playback frequency may shift
/// its second part by a millisecond or two.
constexpr std::int64_t PieceSamples = 3000;
constexpr std::int64_t PieceSearchSamples = 480;

constexpr std::int64_t HoleBlockSamples = 240;
/// A loudspeaker's silence: what rounding and dither may leave.
constexpr int HolePeakLsb = 2;
/// Fastest regular change of lag (drift control moves it by 833 ppm), and the play cursor's rounding.
constexpr double RegularDriftShare = 0.001;
constexpr double RegularLagSamples = 24.0;
/// Windows that speak for the beginning and the end.
constexpr std::size_t EdgeWindows = 5;

struct FoundLag {
    float correlation = -1.0F;
    std::int64_t lag = 0;
};

bool IsRecorded(SampleView heard, std::int64_t start) {
    return start >= 0 && start + CompareWindowSamples <= static_cast<std::int64_t>(heard.GetSize());
}

/// The peak of `values` nearest to `expected` among those as good as the highest.
FoundLag NearestPeak(std::vector<float> const& values, std::int64_t expected) {
    FoundLag best;
    if (values.empty()) {
        return best;
    }
    float const highest = *std::max_element(values.begin(), values.end());
    float const least = highest > 0.0F ? highest * EqualPeakShare : highest;
    for (std::size_t i = 0; i < values.size(); ++i) {
        bool const isPeak = values[i] >= least && (i == 0 || values[i] >= values[i - 1]) &&
                            (i + 1 == values.size() || values[i] >= values[i + 1]);
        auto const lag = static_cast<std::int64_t>(i);
        bool const isNearer =
            best.correlation < -0.5F || std::llabs(lag - expected) < std::llabs(best.lag - expected);
        if (isPeak && isNearer) {
            best = {values[i], lag};
        }
    }
    return best;
}

/// Looks `window` up in `text`; lags count from the text's start.
FoundLag LookUp(SampleView window, SampleView text, std::int64_t expected) {
    FoundLag best = NearestPeak(NormalisedCorrelation(window, text), expected);
    if (best.correlation >= TrySpeedsCorrelation) {
        return best;
    }
    for (double const speed : OtherSpeeds) {
        Samples const changed = ChangeSpeed(window, speed);
        FoundLag const peak = NearestPeak(NormalisedCorrelation(changed, text), expected);
        if (peak.correlation > best.correlation) {
            best = peak;
        }
    }
    return best;
}

/// Looks `window` up piece by piece near `expected`: likeness weighted by the pieces' energy, lag of the last
/// one with a signal.
FoundLag LookUpPieces(SampleView window, SampleView text, std::int64_t expected) {
    FoundLag found = {0.0F, expected};
    double weights = 0.0;
    double likeness = 0.0;
    for (std::int64_t at = 0; at < CompareWindowSamples; at += PieceSamples) {
        SampleView const piece = window.Cut(at, PieceSamples);
        double const weight = std::pow(10.0, LevelDecibel(piece) / 10.0);
        std::int64_t const start = std::max<std::int64_t>(0, at + found.lag - PieceSearchSamples);
        std::int64_t const end = at + found.lag + PieceSamples + PieceSearchSamples;
        FoundLag const best = LookUp(piece, text.Cut(start, end - start), at + found.lag - start);
        weights += weight;
        likeness += weight * std::max(0.0F, best.correlation);
        if (best.correlation > MatchCorrelation) {
            found.lag = start + best.lag - at;
        }
    }
    found.correlation = static_cast<float>(likeness / weights);
    return found;
}

std::int64_t LoudestStart(SampleView sent, std::int64_t length) {
    std::int64_t best = 0;
    double bestLevel = LeastLevelDecibel;
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

FoundLag FindPattern(SampleView pattern, SampleView heard) {
    FoundLag best;
    for (std::int64_t at = 0; at < static_cast<std::int64_t>(heard.GetSize()); at += SearchBlockSamples) {
        SampleView const block =
            heard.Cut(at, SearchBlockSamples + static_cast<std::int64_t>(pattern.GetSize()));
        FoundLag const found = LookUp(pattern, block, 0);
        if (found.correlation > best.correlation) {
            best = {found.correlation, at + found.lag};
        }
    }
    return best;
}

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

/// Each window is looked at where it was heard, one that was not where the one before it was.
SoundSpan LongestHole(SampleView sent, SampleView heard, std::vector<WindowMatch> const& windows,
                      std::int64_t from) {
    SoundSpan longest;
    SoundSpan current;
    for (WindowMatch const& window : windows) {
        for (std::int64_t at = window.sentStart; at < window.sentStart + CompareWindowSamples;
             at += HoleBlockSamples) {
            if (at < from || !IsHole(sent, heard, at, window.lag)) {
                current = {at + HoleBlockSamples, 0};
                continue;
            }
            current.samples += HoleBlockSamples;
            if (current.samples > longest.samples) {
                longest = current;
            }
        }
    }
    return longest;
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
        samples += isLoud && !IsRecorded(heard, window.sentStart + window.lag) ? CompareWindowSamples : 0;
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

double LevelDecibel(SampleView samples) {
    double energy = 0.0;
    for (std::int16_t const sample : samples) {
        energy += static_cast<double>(sample) * sample;
    }
    if (energy <= 0.0) {
        return LeastLevelDecibel;
    }
    double const meanSquare = energy / static_cast<double>(samples.GetSize());
    return std::max(LeastLevelDecibel, 10.0 * std::log10(meanSquare / (FullScaleLsb * FullScaleLsb)));
}

int Peak(SampleView samples) {
    int peak = 0;
    for (std::int16_t const sample : samples) {
        peak = std::max(peak, std::abs(static_cast<int>(sample)));
    }
    return peak;
}

std::optional<std::int64_t> FindLag(SampleView sent, SampleView heard) {
    auto const size = static_cast<std::int64_t>(sent.GetSize());
    FoundLag best;
    std::int64_t const step = std::max(PatternSamples, (size + PatternsTried - 1) / PatternsTried);
    for (std::int64_t part = 0; part < size && best.correlation < MatchCorrelation; part += step) {
        SampleView const within = sent.Cut(part, step);
        std::int64_t const length =
            std::min<std::int64_t>(PatternSamples, static_cast<std::int64_t>(within.GetSize()));
        std::int64_t const start = part + LoudestStart(within, length);
        FoundLag const found = FindPattern(sent.Cut(start, length), heard);
        if (found.correlation > best.correlation) {
            best = {found.correlation, found.lag - start};
        }
    }
    if (best.correlation < LeastFoundCorrelation) {
        return std::nullopt;
    }
    return best.lag;
}

std::vector<WindowMatch> MatchWindows(SampleView sent, SampleView heard, std::int64_t lag) {
    std::vector<WindowMatch> windows;
    auto const size = static_cast<std::int64_t>(sent.GetSize());
    for (std::int64_t start = 0; start + CompareWindowSamples <= size; start += CompareWindowSamples) {
        WindowMatch window;
        window.sentStart = start;
        window.lag = lag;
        SampleView const pattern = sent.Cut(start, CompareWindowSamples);
        window.hasSignal = LevelDecibel(pattern) > SignalLevelDecibel && IsRecorded(heard, start + lag);
        std::int64_t const textStart = std::max<std::int64_t>(0, start + lag - CompareSearchSamples);
        std::int64_t const textEnd = start + lag + CompareWindowSamples + CompareSearchSamples;
        if (window.hasSignal && textEnd > textStart) {
            SampleView const text = heard.Cut(textStart, textEnd - textStart);
            std::int64_t const expected = start + lag - textStart;
            FoundLag peak = LookUp(pattern, text, expected);
            if (peak.correlation <= MatchCorrelation) {
                FoundLag const pieces = LookUpPieces(pattern, text, expected);
                peak = pieces.correlation > peak.correlation ? pieces : peak;
            }
            window.correlation = std::max(0.0F, peak.correlation);
            if (window.IsMatch()) {
                lag = textStart + peak.lag - start;
                window.lag = lag;
            }
        }
        windows.push_back(window);
    }
    return windows;
}

SoundComparison CompareSounds(SampleView sent, SampleView heard) {
    SoundComparison result;
    std::optional<std::int64_t> const lag = FindLag(sent, heard);
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
        result.longestHole = LongestHole(sent, heard, result.windows, result.silentStartSamples);
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

} // namespace AudioHost
