#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "listening/soundcompare.h"

namespace AudioHost {

/// Below this a sound is noise at most.
constexpr double SilentLevelDecibel = -80.0;
/// Sound of which this much is found again was heard: codecs and the ends of a sound take their share.
constexpr double GoodMatchedShare = 0.95;

/// From good to bad.
enum class Outcome_t {
    Good,
    /// Not as it should be, but for nothing that the renderer did.
    OutputGlitch,
    Bad,
};

/// How well it went, in a few words.
struct Verdict {
    Outcome_t outcome = Outcome_t::Bad;
    std::string text;
};

/// "12.3 ms".
std::string FormatMilliSec(double samples);
/// "1:02.3", where the sample lies in the sound.
std::string FormatPlace(std::int64_t sample);

/// "Out of step: 20.0 ms missing at 0:01.0; ...". `jumps` is not empty.
std::string DescribeJumps(std::vector<Listening::TimelineJump> const& jumps);

/// `done` says what became of the sound: "heard", "recorded".
std::string DescribeLevels(Listening::SoundComparison const& comparison, std::string const& done);

/// As indented lines.
void AppendSentences(std::string& text, std::vector<std::string> const& sentences);

} // namespace AudioHost
