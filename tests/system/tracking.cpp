#include "tracking.h"

#include <algorithm>
#include <cstdlib>

#include "correlation.h"

namespace SystemTest {

namespace {

using AudioHost::SampleView;

/// The sound's beginning is looked for by windows of this length: short enough to be alike at any playback
/// rate, long enough to stand out among other sounds.
constexpr std::int64_t StartWindowSamples = 4800;
constexpr std::int64_t StartWindows = 10;
constexpr float LeastStartCorrelation = 0.2F;

struct Peak {
    double correlation = 0.0;
    std::int64_t place = 0;
};

/// In blocks of what the library's fast Fourier transform can do at most; a longer one is not fast any more.
Peak FindPeak(SampleView pattern, SampleView text) {
    constexpr std::int64_t BlockSamples = 131072;
    std::int64_t const step = BlockSamples - static_cast<std::int64_t>(pattern.GetSize()) + 1;
    Peak best;
    for (std::int64_t at = 0; at < static_cast<std::int64_t>(text.GetSize()); at += step) {
        std::vector<float> const values =
            AudioHost::NormalisedCorrelation(pattern, text.Cut(at, BlockSamples));
        auto const highest = std::max_element(values.begin(), values.end());
        if (highest != values.end() && *highest > best.correlation) {
            best = {static_cast<double>(*highest), at + (highest - values.begin())};
        }
    }
    return best;
}

/// Looks near first: as good as always the window is there, for a tenth of the work.
Peak FindNear(SampleView pattern, SampleView heard, std::int64_t expected, TrackSettings const& settings) {
    constexpr std::int64_t NearSamples = 2 * ResamplerShiftSamples;
    Peak best;
    for (std::int64_t const reach : {NearSamples, settings.searchSamples}) {
        std::int64_t const from = std::max<std::int64_t>(0, expected - reach);
        std::int64_t const to = expected + reach + static_cast<std::int64_t>(pattern.GetSize());
        if (to <= from) {
            continue;
        }
        best = FindPeak(pattern, heard.Cut(from, to - from));
        best.place += from;
        if (best.correlation >= settings.leastCorrelation) {
            break;
        }
    }
    return best;
}

std::int64_t Median(std::vector<std::int64_t> values) {
    if (values.empty()) {
        return 0;
    }
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

std::optional<std::int64_t> FindStart(SampleView sent, SampleView heard) {
    Peak best;
    for (std::int64_t i = 0; i < StartWindows; ++i) {
        std::int64_t const start = i * StartWindowSamples;
        SampleView const pattern = sent.Cut(start, StartWindowSamples);
        if (pattern.IsEmpty()) {
            break;
        }
        Peak const peak = FindPeak(pattern, heard);
        if (peak.correlation > best.correlation) {
            best = {peak.correlation, peak.place - start};
        }
    }
    if (best.correlation < LeastStartCorrelation) {
        return std::nullopt;
    }
    return best.place;
}

std::vector<HeardWindow> TrackWindows(SampleView sent, SampleView heard, std::int64_t lag,
                                      TrackSettings const& settings) {
    std::vector<HeardWindow> windows;
    auto const size = static_cast<std::int64_t>(sent.GetSize());
    for (std::int64_t start = 0; start + settings.windowSamples <= size; start += settings.windowSamples) {
        Peak const peak = FindNear(sent.Cut(start, settings.windowSamples), heard, start + lag, settings);
        HeardWindow window;
        window.sentStart = start;
        window.samples = settings.windowSamples;
        window.correlation = peak.correlation;
        window.isHeard = peak.correlation >= settings.leastCorrelation;
        if (window.isHeard) {
            lag = peak.place - start;
        }
        window.lag = lag;
        windows.push_back(window);
    }
    return windows;
}

std::vector<HeardWindow> TakeMedian(std::vector<std::vector<HeardWindow>> const& tracks) {
    std::vector<HeardWindow> common;
    std::int64_t lag = 0;
    for (std::size_t k = 0; !tracks.empty() && k < tracks.front().size(); ++k) {
        HeardWindow window = tracks.front()[k];
        std::size_t heard = 0;
        std::vector<std::int64_t> changes;
        for (auto const& track : tracks) {
            heard += track[k].isHeard ? 1 : 0;
            if (k > 0) {
                changes.push_back(track[k].lag - track[k - 1].lag);
            }
        }
        window.isHeard = 2 * heard > tracks.size();
        lag += Median(changes);
        window.lag = lag;
        common.push_back(window);
    }
    return common;
}

Delivery SumUp(std::vector<HeardWindow> const& windows) {
    Delivery delivery;
    delivery.windows = static_cast<std::int64_t>(windows.size());
    std::optional<std::int64_t> before;
    for (HeardWindow const& window : windows) {
        if (!window.isHeard) {
            ++delivery.lost;
            continue;
        }
        delivery.jumps += before && std::llabs(window.lag - *before) > ResamplerShiftSamples ? 1 : 0;
        before = window.lag;
    }
    return delivery;
}

std::vector<double> HeardLags(std::vector<HeardWindow> const& windows) {
    std::vector<double> lags;
    for (HeardWindow const& window : windows) {
        if (window.isHeard) {
            lags.push_back(static_cast<double>(window.lag));
        }
    }
    return lags;
}

} // namespace SystemTest
