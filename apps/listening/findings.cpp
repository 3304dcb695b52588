#include "listening/findings.h"

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

void AddOfTime(SoundComparison const& sound, std::vector<Finding>& findings) {
    for (SoundSpan const& hole : sound.holes) {
        if (hole.samples >= AudibleSamples) {
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
            AddSpan(Kind_t::PartChanged, lost, findings);
        }
    }
    for (SoundSpan const& uneven : sound.uneven) {
        AddSpan(Kind_t::PartLevel, uneven, findings);
    }
    if (sound.isCutOff) {
        findings.push_back({Kind_t::CutOff, {}, 0.0});
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

} // namespace Listening
