#include "report/mixhearing.h"

#include <algorithm>
#include <cmath>

#include "listening/findings.h"
#include "report/judgement.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

using MixKind_t = Listening::Finding::Kind_t;
using Hearing_t = Listening::SoundInMix::Hearing_t;

constexpr std::size_t MaxNamesTold = 3;

std::string TellMixFinding(Listening::Finding const& finding) {
    std::string const amount =
        FormatFixed(std::fabs(Listening::SamplesToMilliSec(finding.amount)), 0) + " ms";
    std::string const at = " at " + FormatPlace(finding.place.start);
    switch (finding.kind) {
        case MixKind_t::NothingHeard:
            return "was not heard";
        case MixKind_t::Hole:
            // As exactly as a window tells.
            return "was not heard for about " + amount + at;
        case MixKind_t::PartMissing:
            return "lacks " + amount + at;
        case MixKind_t::OutOfStep:
            break;
        default:
            return "was not heard as sent";
    }
    if (finding.place.samples > 0) {
        return "was held up for " + amount + at;
    }
    return "came " + amount + (finding.amount > 0.0 ? " later" : " earlier") + " than the others";
}

/// What the output must have done to explain it. Where the output makes all sounds jump, the window with the
/// jump in it may tell nothing of some of them: a hole is as much too long at the most.
double LeastSizeMilliSec(Listening::Finding const& finding) {
    double const blur =
        finding.kind == MixKind_t::Hole ? static_cast<double>(Listening::CompareWindowSamples) : 0.0;
    return Listening::SamplesToMilliSec(std::max(0.0, std::fabs(finding.amount) - blur));
}

Outcome_t JudgeFinding(PlaybackLog const& log, Listening::Finding const& finding) {
    bool const isOutputs = finding.kind != MixKind_t::NothingHeard &&
                           IsOutputsDoing(log, finding.place, LeastSizeMilliSec(finding));
    return isOutputs ? Outcome_t::OutputGlitch : Outcome_t::Bad;
}

std::string DescribeSoundInMix(PlaybackLog const& log, std::size_t session) {
    Listening::SoundInMix const& sound = log.mix[session];
    std::string const& name = log.sessions[session].name;
    if (sound.hearing == Hearing_t::CannotTell) {
        return name + ": cannot be told from the other sounds.";
    }
    std::string text;
    if (std::optional<double> const error = MixLevelErrorDecibel(log, session)) {
        text = "was " + FormatLevelError(*error);
        text += sound.lateSamples ? "" : "; whether it was heard when the others were cannot be told";
    }
    for (Listening::Finding const& finding : Listening::ListFindings(sound)) {
        text += (text.empty() ? "" : "; ") + TellMixFinding(finding);
    }
    return name + ": " + text + ".";
}

} // namespace

std::vector<MixFault> FindMixFaults(PlaybackLog const& log) {
    std::vector<MixFault> faults;
    for (std::size_t i = 0; i < log.mix.size(); ++i) {
        for (Listening::Finding const& finding : Listening::ListFindings(log.mix[i])) {
            faults.push_back({i, JudgeFinding(log, finding),
                              finding.kind == MixKind_t::OutOfStep && finding.place.samples == 0,
                              log.sessions[i].name + " " + TellMixFinding(finding)});
        }
    }
    return faults;
}

Outcome_t JudgeMix(std::vector<MixFault> const& faults, bool isOfTime) {
    Outcome_t worst = Outcome_t::Good;
    for (MixFault const& fault : faults) {
        worst = fault.isOfTime == isOfTime ? std::max(worst, fault.outcome) : worst;
    }
    return worst;
}

std::optional<double> MixLevelErrorDecibel(PlaybackLog const& log, std::size_t session) {
    constexpr double MinAmplitude = 1e-6;
    Listening::SoundInMix const& sound = log.mix[session];
    if (sound.hearing != Hearing_t::Heard) {
        return std::nullopt;
    }
    return 20.0 * std::log10(std::max(MinAmplitude, sound.gain) / std::max(MinAmplitude, log.askedGain));
}

std::string FormatLevelError(double decibel) {
    std::string const amount = FormatFixed(std::fabs(decibel), 1);
    return amount == "0.0" ? "as loud as asked for"
                           : amount + " dB " + (decibel < 0.0 ? "fainter" : "louder") + " than asked for";
}

std::string TellMixDoubt(PlaybackLog const& log) {
    std::string names;
    std::size_t count = 0;
    for (std::size_t i = 0; i < log.mix.size(); ++i) {
        if (log.mix[i].hearing == Hearing_t::CannotTell) {
            names += (count == 0 ? "" : " and ") + log.sessions[i].name;
            ++count;
        }
    }
    names = count > MaxNamesTold ? FormatCount(count, "sound") : names;
    return count == 0 ? "" : "nobody can tell what became of " + names;
}

std::vector<std::string> DescribeMix(PlaybackLog const& log) {
    std::vector<std::string> sentences;
    for (std::size_t i = 0; i < log.mix.size(); ++i) {
        sentences.push_back(DescribeSoundInMix(log, i));
    }
    return sentences;
}

} // namespace AudioHost
