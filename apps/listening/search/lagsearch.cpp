#include "listening/search/lagsearch.h"

#include <algorithm>
#include <array>

#include "listening/search/correlation.h"
#include "listening/search/windowmatch.h"
#include "listening/soundlevel.h"

namespace Listening {

namespace {

/// Stretch by which the sound is first found, and how much of the recording one step looks through.
constexpr std::int64_t PatternSamples = 24000;
constexpr std::int64_t SearchBlockSamples = 107000;
/// From so many parts of the sound: the loudest may lie outside the recording.
constexpr std::int64_t PatternsTried = 4;
/// Below this likeness the window may have been played faster or slower: both are tried.
constexpr float TrySpeedsCorrelation = 0.97F;
/// Drift control's two other speeds.
constexpr std::array<double, 2> OtherSpeeds = {47960.0 / 48000.0, 48040.0 / 48000.0};

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

} // namespace Listening
