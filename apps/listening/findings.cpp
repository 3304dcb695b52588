#include "listening/findings.h"

#include <algorithm>
#include <cmath>

namespace Listening {

namespace {

using Kind_t = Finding::Kind_t;

/// Of the sound this much has to be heard as sent: a few windows may be covered by noise, or coded beyond
/// likeness.
constexpr double MinMatchedShare = 0.95;

Kind_t KindOf(TimelineJump::Kind_t kind) {
    switch (kind) {
        case TimelineJump::Kind_t::Missing:
            return Kind_t::PartMissing;
        case TimelineJump::Kind_t::Repeated:
            return Kind_t::PartRepeated;
        case TimelineJump::Kind_t::SilenceInserted:
            break;
    }
    return Kind_t::SilencePutIn;
}

void AddSpan(Kind_t kind, SoundSpan const& span, std::vector<Finding>& findings) {
    findings.push_back({kind, span, static_cast<double>(span.samples)});
}

/// What is not heard as sent where time departs from what was sent is told by that jump: some of it is
/// missing, or was heard in two parts.
bool IsOfAJump(SoundComparison const& sound, SoundSpan const& span) {
    constexpr std::int64_t PartWindows = 2;
    return std::any_of(sound.jumps.begin(), sound.jumps.end(), [&](TimelineJump const& jump) {
        return span.start >= jump.within.start &&
               span.start + span.samples <= jump.within.start + jump.within.samples &&
               span.samples < jump.samples + PartWindows * CompareWindowSamples;
    });
}

void AddOfTime(SoundComparison const& sound, std::vector<Finding>& findings) {
    for (SoundSpan const& hole : sound.holes) {
        if (hole.samples >= AudibleSamples && !IsOfAJump(sound, hole)) {
            AddSpan(Kind_t::Hole, hole, findings);
        }
    }
    if (sound.silentStartSamples > AudibleSamples) {
        AddSpan(Kind_t::LateBegin, {0, sound.silentStartSamples}, findings);
    }
    for (TimelineJump const& jump : sound.jumps) {
        if (jump.samples >= AudibleSamples) {
            findings.push_back({KindOf(jump.kind), jump.within, static_cast<double>(jump.samples)});
        }
    }
    if (sound.steadyDriftPpm && std::fabs(*sound.steadyDriftPpm) > WrongSpeedPpm) {
        findings.push_back({Kind_t::Drift, {}, *sound.steadyDriftPpm});
    }
}

void AddOfLikeness(SoundComparison const& sound, std::vector<Finding>& findings) {
    if (sound.GetMatchedShare() < MinMatchedShare) {
        for (SoundSpan const& lost : sound.lost) {
            if (!IsOfAJump(sound, lost)) {
                AddSpan(Kind_t::PartChanged, lost, findings);
            }
        }
    }
    if (sound.isCutOff) {
        // Which makes loud parts fainter than the rest.
        findings.push_back({Kind_t::CutOff, {}, 0.0});
        return;
    }
    for (SoundSpan const& uneven : sound.uneven) {
        AddSpan(Kind_t::PartLevel, uneven, findings);
    }
}

} // namespace

std::vector<Finding> ListFindings(SoundComparison const& comparison) {
    if (!comparison.isFound) {
        return comparison.isTooFaint ? std::vector<Finding>()
                                     : std::vector<Finding>{{Kind_t::NothingHeard, {}, 0.0}};
    }
    std::vector<Finding> findings;
    AddOfTime(comparison, findings);
    AddOfLikeness(comparison, findings);
    return findings;
}

std::vector<Finding> ListFindings(SoundInMix const& sound) {
    if (sound.hearing == SoundInMix::Hearing_t::NotHeard) {
        return {{Kind_t::NothingHeard, {}, 0.0}};
    }
    std::vector<Finding> findings;
    for (SoundSpan const& missing : sound.missing) {
        AddSpan(Kind_t::Hole, missing, findings);
    }
    if (std::fabs(sound.lateSamples.value_or(0.0)) > InStepSamples) {
        findings.push_back({Kind_t::OutOfStep, {}, *sound.lateSamples});
    }
    for (SoundInMix::Step const& step : sound.steps) {
        bool const isLater = step.samples > 0.0;
        findings.push_back({isLater ? Kind_t::OutOfStep : Kind_t::PartMissing, step.within,
                            isLater ? step.samples : -step.samples});
    }
    return findings;
}

} // namespace Listening
