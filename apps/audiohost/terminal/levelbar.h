#pragma once

#include <cstdint>
#include <string>

namespace AudioHost {

/// What a level bar begins with; below it a line level's finest steps are far apart.
constexpr double MinBarDecibel = -48.0;

/// The renderer's line level, 0.0 to 1.0, as the sound's peak-to-peak range in decibels against full scale;
/// at least `MinBarDecibel`. What lies outside counts as the end that it lies beyond.
double LineLevelDecibel(float level);

/// "-12.3 dBFS"; "under -48 dBFS" for `MinBarDecibel`.
std::string FormatLevel(double decibel);

/// "[################|.......] -12.3 dBFS": a bar of 24 places from `MinBarDecibel` to 0, with a mark at the
/// peak unless the bar reaches it.
std::string FormatLevelBar(double decibel, double peakDecibel);
/// Without a peak.
std::string FormatLevelBar(double decibel);

/// The highest level of the last two seconds.
///
/// **Threads:** one at a time.
class PeakHold {
public:
    /// `nanoSec` is of any clock that does not go back.
    double Add(double decibel, std::int64_t nanoSec);

private:
    double peakDecibel_ = MinBarDecibel;
    std::int64_t sinceNanoSec_ = 0;
};

} // namespace AudioHost
