#include "report/hearing.h"

#include <algorithm>
#include <cmath>

#include "listening/findings.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

using Kind_t = Listening::Finding::Kind_t;

/// Recorders and mixers round, and treble may get lost on the way; twice the loudness is 6 dB.
constexpr double LevelToleranceDecibel = 3.0;

/// Drift control's doing: it is there to make time good.
bool HasDriftControl(PlaybackLog const& log) {
    return std::any_of(log.sessions.begin(), log.sessions.end(), [](SessionLog const& session) {
        return CountEvents(session, EventKind_t::FrequencyChange) > 0;
    });
}

/// Empty for what is judged elsewhere. What an output that stood still or leapt does to a sound is not told.
std::string TellFault(PlaybackLog const& log, Listening::Finding const& finding) {
    bool const isDisplaced = !log.output.glitches.empty();
    switch (finding.kind) {
        case Kind_t::Drift:
            return isDisplaced || HasDriftControl(log)
                       ? ""
                       : "Played " + FormatFixed(std::fabs(finding.amount), 0) + " ppm too " +
                             (finding.amount > 0.0 ? "slowly" : "fast");
        case Kind_t::CutOff:
            return "The loudest parts were cut off";
        case Kind_t::PartLevel:
            return isDisplaced ? "" : "Parts of the sound were louder or fainter than the rest";
        default:
            return "";
    }
}

double LevelErrorDecibel(PlaybackLog const& log) {
    constexpr double Least = 1e-6;
    return 20.0 * std::log10(std::max(Least, log.comparison->gain) / std::max(Least, log.askedGain));
}

std::string FormatLevelError(double decibel) {
    std::string const amount = FormatFixed(std::fabs(decibel), 1);
    return amount == "0.0" ? "as loud as asked for"
                           : amount + " dB " + (decibel < 0.0 ? "fainter" : "louder") + " than asked for";
}

} // namespace

std::string TellSoundFault(PlaybackLog const& log) {
    if (!log.comparison) {
        return "";
    }
    for (Listening::Finding const& finding : Listening::ListFindings(*log.comparison)) {
        if (std::string const text = TellFault(log, finding); !text.empty()) {
            return text;
        }
    }
    return "";
}

std::optional<Outcome_t> JudgeLevel(PlaybackLog const& log) {
    if (!log.comparison || !log.comparison->isFound) {
        return std::nullopt;
    }
    bool const isRight = std::fabs(LevelErrorDecibel(log)) <= LevelToleranceDecibel;
    return isRight ? Outcome_t::Good : Outcome_t::Bad;
}

std::string TellLevelFault(PlaybackLog const& log) {
    return JudgeLevel(log) == Outcome_t::Bad ? FormatLevelError(LevelErrorDecibel(log)) : "";
}

std::string TellDoubt(PlaybackLog const& log) {
    if (!log.comparison) {
        return "";
    }
    if (!log.comparison->isFound) {
        return log.comparison->isTooFaint ? "the sound is too faint to be compared" : "";
    }
    if (!log.comparison->ambiguity) {
        return "";
    }
    return "the sound repeats itself every " +
           FormatMilliSec(static_cast<double>(log.comparison->ambiguity->periodSamples)) +
           ", so nobody can tell whether whole repetitions are missing or came twice";
}

std::vector<std::string> DescribeHearing(PlaybackLog const& log) {
    std::vector<std::string> sentences;
    if (JudgeLevel(log)) {
        sentences.push_back("It was " + FormatLevelError(LevelErrorDecibel(log)) + ".");
    }
    if (std::string doubt = TellDoubt(log); !doubt.empty()) {
        doubt.front() = 'T';
        sentences.push_back(doubt + ".");
    }
    return sentences;
}

} // namespace AudioHost
