#pragma once

#include <cstdint>
#include <vector>

#include "listening/samples.h"
#include "listening/search/smoothing.h"

namespace Listening {

/// Sound below this level is not looked for: noise and coding change it too much to be recognised.
constexpr double SignalLevelDecibel = -55.0;
/// Length of the windows that are looked up one by one. A quarter of a second is long enough to be found in
/// speech and short enough that a playback speed 833 ppm off, the most that drift control uses, shifts its
/// ends by five samples only.
constexpr std::int64_t CompareWindowSamples = 12000;
/// A window that is not where the one before was may have moved this far: beyond the longest jump of the play
/// cursor (312.5 ms).
constexpr std::int64_t CompareSearchSamples = 19200;
/// A window whose lag changed by less was only played a little faster or slower.
constexpr std::int64_t NearSamples = 48;
/// A window counts as heard from this likeness on.
constexpr float MatchCorrelation = 0.9F;
/// Below this likeness a window may have been played faster or slower, or a jump be in it.
constexpr float SureCorrelation = 0.97F;

/// One window of what was sent and where it was heard.
struct WindowMatch {
    std::int64_t sentStart = 0;
    /// Loud enough to be looked for, and within the recording; the rest says nothing otherwise.
    bool hasSignal = false;
    /// Highest likeness found, -1.0 to 1.0.
    float correlation = 0.0F;
    /// Sample number in the recording minus sample number in what was sent.
    std::int64_t lag = 0;
    /// Amplitude of the sound in the recording against that in what was sent.
    double gain = 0.0;

    bool IsMatch() const { return hasSignal && correlation > MatchCorrelation; }
};

/// True when the window that starts at `start` of the recording lies within it.
bool IsWindowRecorded(SampleView heard, std::int64_t start);

/// The lag of the first window heard from `number` on; that of `number` when none is.
std::int64_t NextLag(std::vector<WindowMatch> const& windows, std::size_t number);

/// The peak of some values: how high, and where.
struct FoundPeak {
    float height = -1.0F;
    std::int64_t place = 0;
};

/// The peak nearest to `expected` among those as good as the highest.
FoundPeak NearestPeak(std::vector<float> const& values, std::int64_t expected);

/// Compares windows of a sound with a recording. Windows may lie half outside of the sound, whose ends then
/// count as silence. Both sounds have to outlive it.
class WindowMatcher {
public:
    /// Where `isTreble` says so of `sent`, both are compared as they are.
    WindowMatcher(SampleView sent, SampleView heard, bool isTreble)
        : samples_(sent), sent_(sent, isTreble), heard_(heard, isTreble) {}

    /// The window at `start` where it was heard near `lag`, as a whole.
    WindowMatch MatchWhole(std::int64_t start, std::int64_t lag) const;
    /// The same as a whole or in pieces that slipped a little.
    WindowMatch MatchNear(std::int64_t start, std::int64_t lag) const;
    /// The same as a whole within `CompareSearchSamples`: of places as good as the best the one nearest to
    /// `lag`.
    WindowMatch MatchFar(std::int64_t start, std::int64_t lag) const;
    /// The same piece by piece, each near one of `lags`; better than `match` or that itself.
    WindowMatch MatchPieces(WindowMatch const& match, std::vector<std::int64_t> lags) const;

    /// How alike the window at `start` and the recording are at the lags from `minLag` to `maxLag`. 0 where
    /// it would not lie within the recording.
    std::vector<float> Likeness(std::int64_t start, std::int64_t minLag, std::int64_t maxLag) const;
    bool IsLoud(std::int64_t start) const;
    bool IsRecorded(std::int64_t start, std::int64_t lag) const;

private:
    WindowMatch At(std::int64_t start, std::int64_t lag) const;
    WindowMatch Best(std::int64_t start, std::int64_t lag, std::int64_t reach) const;

    SampleView const samples_;
    ComparedSound const sent_;
    ComparedSound const heard_;
};

} // namespace Listening
