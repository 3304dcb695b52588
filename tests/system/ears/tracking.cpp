#include "ears/tracking.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "listening/search/correlation.h"

namespace SystemTest {

namespace {

using Listening::SampleView;

/// The sound's beginning is looked for by windows of this length: short enough to be alike at any playback
/// rate, long enough to stand out among other sounds.
constexpr std::int64_t StartWindowSamples = 4800;
constexpr std::int64_t StartWindows = 10;
constexpr float MinStartCorrelation = 0.2F;

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
            Listening::NormalisedCorrelation(pattern, text.Cut(at, BlockSamples));
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
        if (best.correlation >= settings.minCorrelation) {
            break;
        }
    }
    return best;
}

bool IsElsewhere(HeardWindow const& window, std::int64_t lagBefore) {
    return std::llabs(window.lag - lagBefore) > ResamplerShiftSamples;
}

double Likeness(SampleView a, SampleView b) {
    double product = 0.0;
    double energyOfA = 0.0;
    double energyOfB = 0.0;
    for (std::size_t i = 0; i < std::min(a.GetSize(), b.GetSize()); ++i) {
        auto const x = static_cast<double>(a[i]);
        auto const y = static_cast<double>(b[i]);
        product += x * y;
        energyOfA += x * x;
        energyOfB += y * y;
    }
    return product / std::sqrt(std::max(1.0, energyOfA * energyOfB));
}

/// The best likeness of a window whose first part is heard where the window before was and the rest where the
/// one after is.
double LikenessOfParts(SampleView sent, SampleView heard, HeardWindow const& window, std::int64_t lagBefore,
                       std::int64_t lagAfter) {
    constexpr std::int64_t StepSamples = 48;
    SampleView const pattern = sent.Cut(window.sentStart, window.samples);
    double best = 0.0;
    for (std::int64_t first = 0; first <= window.samples; first += StepSamples) {
        SampleView const before = heard.Cut(window.sentStart + lagBefore, first);
        SampleView const after = heard.Cut(window.sentStart + first + lagAfter, window.samples - first);
        Listening::Samples parts(before.begin(), before.end());
        parts.insert(parts.end(), after.begin(), after.end());
        best = std::max(best, Likeness(pattern, parts));
    }
    return best;
}

/// What the resampler's filter, while it comes in or goes, takes of a window's likeness: seen once, 0.54
/// beside another sound. With a frame missing it stays at 0.41 or below.
constexpr double SettlingLikeness = 0.08;

/// The resampler's coming or going splits a window, which is then alike to nothing in one piece.
void JoinSplitWindows(SampleView sent, SampleView heard, TrackSettings const& settings,
                      std::vector<HeardWindow>& windows) {
    for (std::size_t k = 1; k + 1 < windows.size(); ++k) {
        HeardWindow const& before = windows[k - 1];
        HeardWindow const& after = windows[k + 1];
        if (windows[k].isHeard || !before.isHeard || !after.isHeard || IsElsewhere(after, before.lag)) {
            continue;
        }
        double const likeness = LikenessOfParts(sent, heard, windows[k], before.lag, after.lag);
        windows[k].correlation = std::max(windows[k].correlation, likeness);
        bool const isShifted = std::llabs(after.lag - before.lag) > ResamplerShiftSamples / 2;
        windows[k].isHeard = likeness >= settings.minCorrelation - (isShifted ? SettlingLikeness : 0.0);
    }
}

/// Alone a whole window is alike to 0.9 and more; with one of its two frames missing to 0.71.
constexpr double MinAloneCorrelation = 0.85;
/// What drift control moves a lag by from one window to the next, and to spare.
constexpr std::int64_t LagReachSamples = 4;

/// What the sound gave to the recording from `place` on.
Listening::Samples PartOf(TrackedSound const& sound, std::int64_t place, std::int64_t count) {
    Listening::Samples part(static_cast<std::size_t>(count), 0);
    for (HeardWindow const& window : sound.windows) {
        std::int64_t const begin = window.sentStart + window.lag;
        std::int64_t const end = std::min(place + count, begin + window.samples);
        for (std::int64_t at = std::max(place, begin); at < end; ++at) {
            part[static_cast<std::size_t>(at - place)] =
                sound.sent[static_cast<std::size_t>(at - window.lag)];
        }
    }
    return part;
}

/// Takes `part` out of `mix`, as loud as it is in there.
void TakeOut(SampleView part, Listening::Samples& mix) {
    double product = 0.0;
    double energy = 1.0;
    for (std::size_t i = 0; i < mix.size(); ++i) {
        product += static_cast<double>(mix[i]) * part[i];
        energy += static_cast<double>(part[i]) * part[i];
    }
    for (std::size_t i = 0; i < mix.size(); ++i) {
        double const rest = mix[i] - product / energy * part[i];
        mix[i] = static_cast<std::int16_t>(std::lround(std::clamp(rest, -32768.0, 32767.0)));
    }
}

} // namespace

void LookAgainWithout(std::vector<TrackedSound> const& others, SampleView heard, TrackedSound& sound) {
    for (HeardWindow& window : sound.windows) {
        std::int64_t const place = window.sentStart + window.lag - LagReachSamples;
        std::int64_t const count = window.samples + 2 * LagReachSamples;
        SampleView const mix = heard.Cut(place, count);
        if (window.isHeard || place < 0 || static_cast<std::int64_t>(mix.GetSize()) < count) {
            continue;
        }
        Listening::Samples rest(mix.begin(), mix.end());
        for (TrackedSound const& other : others) {
            TakeOut(PartOf(other, place, count), rest);
        }
        SampleView const pattern = sound.sent.Cut(window.sentStart, window.samples);
        for (std::int64_t shift = 0; shift <= 2 * LagReachSamples; ++shift) {
            double const likeness = Likeness(pattern, SampleView(rest).Cut(shift, window.samples));
            window.isHeard = window.isHeard || likeness >= MinAloneCorrelation;
        }
    }
}

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
    if (best.correlation < MinStartCorrelation) {
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
        window.isHeard = peak.correlation >= settings.minCorrelation;
        if (window.isHeard) {
            lag = peak.place - start;
        }
        window.lag = lag;
        windows.push_back(window);
    }
    JoinSplitWindows(sent, heard, settings, windows);
    return windows;
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
        delivery.jumps += before && IsElsewhere(window, *before) ? 1 : 0;
        before = window.lag;
    }
    return delivery;
}

std::vector<WindowVerdict_t> JudgeWindows(std::vector<HeardWindow> const& windows, std::size_t session,
                                          std::vector<TestSupport::Disturbance> const& disturbances) {
    std::vector<WindowVerdict_t> verdicts;
    for (std::size_t k = 0; k < windows.size(); ++k) {
        HeardWindow const& window = windows[k];
        HeardWindow const& before = windows[k == 0 ? 0 : k - 1];
        std::int64_t const place = window.sentStart + window.lag;
        std::int64_t const from = std::min(place, window.sentStart + before.lag);
        if (TestSupport::IsDisturbed(disturbances, session, from, place + window.samples)) {
            verdicts.push_back(WindowVerdict_t::Disturbed);
        } else if (!window.isHeard) {
            verdicts.push_back(WindowVerdict_t::Lost);
        } else {
            verdicts.push_back(IsElsewhere(window, before.lag) ? WindowVerdict_t::Jumped
                                                               : WindowVerdict_t::Heard);
        }
    }
    return verdicts;
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
