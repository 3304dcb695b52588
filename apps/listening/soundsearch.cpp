#include "listening/soundsearch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "listening/correlation.h"
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
/// Peaks this close to the highest one are as good: a periodic sound has many, and the nearest is the true
/// one.
constexpr float EqualPeakShare = 0.98F;

/// A window that is not found whole is looked up piece by piece: a change of the playback frequency may shift
/// its second part by a millisecond or two.
constexpr std::int64_t PieceSamples = 3000;
constexpr std::int64_t PieceSearchSamples = 480;

struct FoundLag {
    float correlation = -1.0F;
    std::int64_t lag = 0;
};

/// The peak of `values` nearest to `expected` among those as good as the highest.
FoundLag NearestPeak(std::vector<float> const& values, std::int64_t expected) {
    FoundLag best;
    if (values.empty()) {
        return best;
    }
    float const highest = *std::max_element(values.begin(), values.end());
    float const min = highest > 0.0F ? highest * EqualPeakShare : highest;
    for (std::size_t i = 0; i < values.size(); ++i) {
        bool const isPeak = values[i] >= min && (i == 0 || values[i] >= values[i - 1]) &&
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
FoundLag FindPattern(SampleView pattern, SampleView heard, std::int64_t from, std::int64_t end) {
    FoundLag best;
    for (std::int64_t at = from; at < end; at += SearchBlockSamples) {
        std::int64_t const places = std::min(SearchBlockSamples, end - at);
        SampleView const block = heard.Cut(at, places + static_cast<std::int64_t>(pattern.GetSize()));
        FoundLag const found = LookUp(pattern, block, 0);
        if (found.correlation > best.correlation) {
            best = {found.correlation, at + found.lag};
        }
    }
    return best;
}

} // namespace

bool IsWindowRecorded(SampleView heard, std::int64_t start) {
    return start >= 0 && start + CompareWindowSamples <= static_cast<std::int64_t>(heard.GetSize());
}

std::optional<std::int64_t> FindLag(SampleView sent, SampleView heard, std::optional<LagRange> const& range) {
    auto const recorded = static_cast<std::int64_t>(heard.GetSize());
    auto const size = static_cast<std::int64_t>(sent.GetSize());
    FoundLag best;
    std::int64_t const step = std::max(PatternSamples, (size + PatternsTried - 1) / PatternsTried);
    for (std::int64_t part = 0; part < size && best.correlation < MatchCorrelation; part += step) {
        SampleView const within = sent.Cut(part, step);
        std::int64_t const length =
            std::min<std::int64_t>(PatternSamples, static_cast<std::int64_t>(within.GetSize()));
        std::int64_t const start = part + LoudestStart(within, length);
        std::int64_t const from = range ? std::clamp<std::int64_t>(start + range->min, 0, recorded) : 0;
        std::int64_t const end =
            range ? std::clamp<std::int64_t>(start + range->max + 1, from, recorded) : recorded;
        FoundLag const found = FindPattern(sent.Cut(start, length), heard, from, end);
        if (found.correlation > best.correlation) {
            best = {found.correlation, found.lag - start};
        }
    }
    if (best.correlation < MinFoundCorrelation) {
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
        window.hasSignal = LevelDecibel(pattern) > SignalLevelDecibel && IsWindowRecorded(heard, start + lag);
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

} // namespace Listening
