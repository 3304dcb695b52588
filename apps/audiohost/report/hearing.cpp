#include "report/hearing.h"

#include <algorithm>
#include <cmath>

#include "listening/findings.h"
#include "report/mixhearing.h"
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

struct LevelError {
    double decibel = 0.0;
    /// Whose; empty of a sound alone.
    std::string name;
};

/// Of several sounds the one that is furthest off; of a mix in which none can be told, of all.
LevelError FindLevelError(PlaybackLog const& log) {
    constexpr double MinAmplitude = 1e-6;
    std::optional<LevelError> worst;
    for (std::size_t i = 0; i < log.mix.size(); ++i) {
        std::optional<double> const decibel = MixLevelErrorDecibel(log, i);
        if (decibel && (!worst || std::fabs(*decibel) > std::fabs(worst->decibel))) {
            worst = LevelError{*decibel, log.sessions[i].name};
        }
    }
    double const all = std::max(MinAmplitude, log.comparison->gain) / std::max(MinAmplitude, log.askedGain);
    return worst.value_or(LevelError{20.0 * std::log10(all), ""});
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
    bool const isRight = std::fabs(FindLevelError(log).decibel) <= LevelToleranceDecibel;
    return isRight ? Outcome_t::Good : Outcome_t::Bad;
}

std::string TellLevelFault(PlaybackLog const& log) {
    if (JudgeLevel(log) != Outcome_t::Bad) {
        return "";
    }
    LevelError const error = FindLevelError(log);
    return (error.name.empty() ? "" : error.name + " ") + FormatLevelError(error.decibel);
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
    std::vector<std::string> sentences = DescribeMix(log);
    if (sentences.empty() && JudgeLevel(log)) {
        sentences.push_back("It was " + FormatLevelError(FindLevelError(log).decibel) + ".");
    }
    if (std::string doubt = TellDoubt(log); !doubt.empty()) {
        doubt.front() = 'T';
        sentences.push_back(doubt + ".");
    }
    return sentences;
}

} // namespace AudioHost
