#include "report/soundwords.h"

#include <algorithm>

#include "terminal/textformat.h"

namespace AudioHost {

namespace {

constexpr std::size_t MaxJumpsTold = 5;

} // namespace

std::string FormatMilliSec(double samples) {
    return FormatFixed(Listening::SamplesToMilliSec(samples), 1) + " ms";
}

std::string FormatPlace(std::int64_t sample) {
    return FormatClock(sample * Listening::NanoSecPerSec / Listening::SoundRateHz);
}

std::string DescribeJumps(std::vector<Listening::TimelineJump> const& jumps) {
    std::string text;
    for (std::size_t i = 0; i < std::min(jumps.size(), MaxJumpsTold); ++i) {
        Listening::TimelineJump const& jump = jumps[i];
        char const* const kind = jump.kind == Listening::TimelineJump::Kind_t::Missing ? " missing"
                                 : jump.kind == Listening::TimelineJump::Kind_t::Repeated
                                     ? " repeated"
                                     : " of silence put in";
        text += (text.empty() ? "" : "; ") + FormatMilliSec(static_cast<double>(jump.samples)) + kind +
                " at " + FormatPlace(jump.sentSample);
    }
    if (jumps.size() > MaxJumpsTold) {
        text += "; and " + std::to_string(jumps.size() - MaxJumpsTold) + " more";
    }
    return "Out of step: " + text + ".";
}

std::string DescribeLevels(Listening::SoundComparison const& comparison, std::string const& done) {
    double const difference = comparison.heardLevelDecibel - comparison.sentLevelDecibel;
    return "Level: sent " + FormatFixed(comparison.sentLevelDecibel, 1) + " dBFS, " + done + " " +
           FormatFixed(comparison.heardLevelDecibel, 1) + " dBFS, difference " + FormatSigned(difference, 1) +
           " dB.";
}

void AppendSentences(std::string& text, std::vector<std::string> const& sentences) {
    for (std::string const& sentence : sentences) {
        text += "  " + sentence + "\n";
    }
}

} // namespace AudioHost
