#include "listening/search/windowmatch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "listening/search/correlation.h"
#include "listening/soundlevel.h"
#include "listening/stats.h"

namespace Listening {

namespace {

/// Peaks this close to the highest one are as good: a periodic sound has many.
constexpr float EqualPeakShare = 0.98F;
constexpr std::int64_t PieceSamples = 1200;
constexpr std::int64_t PiecesPerWindow = CompareWindowSamples / PieceSamples;
/// What a place between samples, and at another speed, needs around a piece.
constexpr std::int64_t BetweenSamples = 4;
/// Speeds and parts of a sample by which a piece may be off that is not quite found.
constexpr std::array<double, 5> PieceSpeeds = {0.0, -417e-6, 417e-6, -833e-6, 833e-6};
constexpr std::array<double, 3> PieceShifts = {0.0, -0.33, 0.33};

/// Sums of products of a stretch that was sent and one that was heard.
struct Sums {
    double both = 0.0;
    double sent = 0.0;
    double heard = 0.0;

    void Add(float sentSample, float heardSample) {
        auto const a = static_cast<double>(sentSample);
        auto const b = static_cast<double>(heardSample);
        both += a * b;
        sent += a * a;
        heard += b * b;
    }

    float Likeness() const {
        return sent > 0.0 && heard > 0.0 ? static_cast<float>(both / std::sqrt(sent * heard)) : 0.0F;
    }
};

Sums Multiply(SignalView sent, SignalView heard) {
    Sums sums;
    for (std::size_t i = 0; i < sent.GetSize(); ++i) {
        sums.Add(sent[i], heard[i]);
    }
    return sums;
}

/// `sent` beside `heard` from `place` on, played `slip` faster.
Sums Multiply(SignalView sent, SignalView heard, double place, double slip) {
    Sums sums;
    double const middle = 0.5 * static_cast<double>(sent.GetSize());
    for (std::size_t i = 0; i < sent.GetSize(); ++i) {
        double const at = static_cast<double>(i);
        sums.Add(sent[i], ValueAt(heard, place + at + (at - middle) * slip));
    }
    return sums;
}

/// A piece about where it was found, to a part of a sample and at the speed that fits.
Sums Refine(SignalView piece, SignalView heard, std::int64_t place) {
    Sums best = Multiply(piece, heard, static_cast<double>(place), 0.0);
    for (double const slip : PieceSpeeds) {
        for (double const shift : PieceShifts) {
            Sums const sums = Multiply(piece, heard, static_cast<double>(place) + shift, slip);
            best = sums.Likeness() > best.Likeness() ? sums : best;
            if (best.Likeness() > SureCorrelation) {
                return best;
            }
        }
    }
    return best;
}

} // namespace

bool IsWindowRecorded(SampleView heard, std::int64_t start) {
    return start >= 0 && start + CompareWindowSamples <= static_cast<std::int64_t>(heard.GetSize());
}

std::int64_t NextLag(std::vector<WindowMatch> const& windows, std::size_t number) {
    auto const from = windows.begin() + static_cast<std::ptrdiff_t>(number);
    auto const next = std::find_if(from, windows.end(), [](WindowMatch const& one) { return one.IsMatch(); });
    return next == windows.end() ? from->lag : next->lag;
}

FoundPeak NearestPeak(std::vector<float> const& values, std::int64_t expected) {
    FoundPeak best;
    if (values.empty()) {
        return best;
    }
    float const highest = *std::max_element(values.begin(), values.end());
    float const min = highest > 0.0F ? highest * EqualPeakShare : highest;
    for (std::size_t i = 0; i < values.size(); ++i) {
        bool const isPeak = values[i] >= min && (i == 0 || values[i] >= values[i - 1]) &&
                            (i + 1 == values.size() || values[i] >= values[i + 1]);
        auto const place = static_cast<std::int64_t>(i);
        bool const isNearer =
            best.height < -0.5F || std::llabs(place - expected) < std::llabs(best.place - expected);
        if (isPeak && isNearer) {
            best = {values[i], place};
        }
    }
    return best;
}

bool WindowMatcher::IsLoud(std::int64_t start) const {
    return LevelDecibel(samples_.Cut(start, CompareWindowSamples)) > SignalLevelDecibel;
}

bool WindowMatcher::IsRecorded(std::int64_t start, std::int64_t lag) const {
    return start + lag >= 0 && start + lag + CompareWindowSamples <= heard_.GetSize();
}

std::vector<float> WindowMatcher::Likeness(std::int64_t start, std::int64_t minLag,
                                           std::int64_t maxLag) const {
    std::vector<float> likeness(static_cast<std::size_t>(std::max<std::int64_t>(0, maxLag - minLag + 1)));
    std::int64_t const first = std::max(minLag, -start);
    std::int64_t const last = std::min(maxLag, heard_.GetSize() - start - CompareWindowSamples);
    if (first > last) {
        return likeness;
    }
    std::vector<float> const found =
        NormalisedCorrelation(sent_.Cut(start, CompareWindowSamples),
                              heard_.Cut(start + first, last - first + CompareWindowSamples));
    std::copy(found.begin(), found.end(), likeness.begin() + (first - minLag));
    return likeness;
}

WindowMatch WindowMatcher::At(std::int64_t start, std::int64_t lag) const {
    WindowMatch match;
    match.sentStart = start;
    match.lag = lag;
    match.hasSignal = IsRecorded(start, lag) && IsLoud(start);
    return match;
}

WindowMatch WindowMatcher::Best(std::int64_t start, std::int64_t lag, std::int64_t reach) const {
    WindowMatch match = At(start, lag);
    if (match.hasSignal) {
        std::int64_t const first = std::max(lag - reach, -start);
        std::int64_t const last = std::min(lag + reach, heard_.GetSize() - start - CompareWindowSamples);
        Signal const pattern = sent_.Cut(start, CompareWindowSamples);
        Signal const text = heard_.Cut(start + first, last - first + CompareWindowSamples);
        FoundPeak const peak = NearestPeak(NormalisedCorrelation(pattern, text), lag - first);
        match.correlation = std::max(0.0F, peak.height);
        match.lag = match.IsMatch() ? first + peak.place : lag;
        Sums const sums = Multiply(pattern, SignalView(text).Cut(match.lag - first, CompareWindowSamples));
        match.gain = sums.sent > 0.0 ? sums.both / sums.sent : 0.0;
    }
    return match;
}

WindowMatch WindowMatcher::MatchWhole(std::int64_t start, std::int64_t lag) const {
    return Best(start, lag, NearSamples);
}

WindowMatch WindowMatcher::MatchNear(std::int64_t start, std::int64_t lag) const {
    WindowMatch const whole = MatchWhole(start, lag);
    bool const isSure = !whole.hasSignal || whole.correlation > SureCorrelation;
    return isSure ? whole : MatchPieces(whole, {whole.lag});
}

WindowMatch WindowMatcher::MatchFar(std::int64_t start, std::int64_t lag) const {
    return Best(start, lag, CompareSearchSamples);
}

WindowMatch WindowMatcher::MatchPieces(WindowMatch const& match, std::vector<std::int64_t> lags) const {
    Sums all;
    double likeness = 0.0;
    std::vector<double> found;
    for (std::int64_t i = 0; i < PiecesPerWindow; ++i) {
        std::int64_t const start = match.sentStart + i * PieceSamples;
        if (start < 0 || start + PieceSamples > sent_.GetSize()) {
            continue;
        }
        Signal const piece = sent_.Cut(start, PieceSamples);
        Sums best;
        std::int64_t bestLag = lags.front();
        for (std::int64_t const lag : lags) {
            std::int64_t const from = start + lag - NearSamples - BetweenSamples;
            Signal const text = heard_.Cut(from, PieceSamples + 2 * (NearSamples + BetweenSamples));
            FoundPeak const peak = NearestPeak(NormalisedCorrelation(piece, text), start + lag - from);
            Sums const sums = Refine(piece, text, peak.place);
            if (best.sent == 0.0 || sums.Likeness() > best.Likeness()) {
                best = sums;
                bestLag = from + peak.place - start;
            }
        }
        all.sent += best.sent;
        all.both += best.both;
        likeness += best.sent * static_cast<double>(std::max(0.0F, best.Likeness()));
        if (best.Likeness() > MatchCorrelation) {
            lags.front() = bestLag;
            found.push_back(static_cast<double>(bestLag));
        }
    }
    auto const mean = all.sent > 0.0 ? static_cast<float>(likeness / all.sent) : 0.0F;
    if (mean <= match.correlation || found.empty()) {
        return match;
    }
    WindowMatch pieces = match;
    pieces.correlation = mean;
    pieces.gain = all.both / all.sent;
    bool const isGliding = std::fabs(found.front() - found.back()) < NearSamples;
    pieces.lag = std::llround(isGliding ? Median(found) : found.back());
    return pieces;
}

} // namespace Listening
