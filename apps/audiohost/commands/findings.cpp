#include "commands/findings.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "arithmetic/levels.h"
#include "report/hearing.h"
#include "report/judgement.h"
#include "report/mixhearing.h"

namespace AudioHost {

namespace {

constexpr double CentreBalance = 0.5;
constexpr double HundredthsPerDecibel = 100.0;

double ToAmplitude(double hundredthsOfDecibel) {
    return std::pow(10.0, hundredthsOfDecibel / HundredthsPerDecibel / 20.0);
}

/// What the judge needs, without the sound itself.
PlaybackLog CopyFacts(PlaybackLog const& log) {
    PlaybackLog facts;
    facts.leadMilliSec = log.leadMilliSec;
    facts.output = log.output;
    for (SessionLog const& session : log.sessions) {
        SessionLog copy;
        copy.jobsSucceeded = session.jobsSucceeded;
        copy.events = session.events;
        facts.sessions.push_back(std::move(copy));
    }
    // Only who can be told in the sum: what is wrong with one of several sounds is judged by itself.
    facts.mix = log.mix;
    for (Listening::SoundInMix& sound : facts.mix) {
        using Hearing_t = Listening::SoundInMix::Hearing_t;
        Hearing_t const hearing = sound.hearing;
        sound = {};
        sound.hearing = hearing == Hearing_t::CannotTell ? hearing : Hearing_t::Heard;
    }
    return facts;
}

/// With every frame in time.
Outcome_t JudgeSoundAlone(PlaybackLog const& log) {
    PlaybackLog facts = CopyFacts(log);
    facts.comparison = log.comparison;
    for (std::size_t i = 0; i < log.sessions.size(); ++i) {
        facts.sessions[i].jobsFailed = log.sessions[i].jobsFailed;
    }
    return Judge(facts).outcome;
}

/// With every frame played, and nobody who listened.
Outcome_t JudgeTimeAlone(PlaybackLog const& log) {
    PlaybackLog facts = CopyFacts(log);
    bool hasPoints = false;
    for (std::size_t i = 0; i < log.sessions.size(); ++i) {
        facts.sessions[i].points = log.sessions[i].points;
        hasPoints = hasPoints || !log.sessions[i].points.empty();
    }
    return hasPoints ? Judge(facts).outcome : Outcome_t::Good;
}

} // namespace

Findings FindWhatFailed(PlaybackLog const& log) {
    std::vector<MixFault> const faults = FindMixFaults(log);
    return {std::max(JudgeSoundAlone(log), JudgeMix(faults, false)),
            std::max(JudgeTimeAlone(log), JudgeMix(faults, true)), JudgeLevel(log)};
}

double AskedGain(PlayOptions const& options) {
    auto const balance = static_cast<float>(options.balance.value_or(CentreBalance));
    double const volume = Media::Levels::AttenuationForVolume(options.volume.value_or(1.0F));
    // The pan makes one channel softer and leaves the other.
    double const pan = -std::abs(Media::Levels::PanForBalance(balance));
    return ToAmplitude(volume) * (1.0 + ToAmplitude(pan)) / 2.0;
}

ExitCode_t CodeOf(Outcome_t worst) {
    switch (worst) {
        case Outcome_t::Good:
            return ExitCode_t::Ok;
        case Outcome_t::OutputGlitch:
            return ExitCode_t::OutputGlitch;
        case Outcome_t::Bad:
            break;
    }
    return ExitCode_t::WentBadly;
}

ExitCode_t CodeOf(PlaybackLog const& log, Findings const& findings, FailOn const& failOn) {
    if (log.isInterrupted) {
        return ExitCode_t::Interrupted;
    }
    Outcome_t const good = Outcome_t::Good;
    return CodeOf(std::max({failOn.sound ? findings.sound : good, failOn.time ? findings.time : good,
                            failOn.level ? findings.level.value_or(good) : good}));
}

} // namespace AudioHost
