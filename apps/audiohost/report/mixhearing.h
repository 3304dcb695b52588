#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "play/playbacklog.h"
#include "report/soundwords.h"

namespace AudioHost {

/// What is wrong with one of several sounds that were heard at once, but for its level.
struct MixFault {
    std::size_t session = 0;
    Outcome_t outcome = Outcome_t::Bad;
    /// All of it was heard, but not when the others were.
    bool isOfTime = false;
    /// "two.wav was not heard".
    std::string text;
};

/// In the order of the sessions; empty where one sound played alone, or nobody listened. What the output's
/// own cursor explains is its doing.
std::vector<MixFault> FindMixFaults(PlaybackLog const& log);
/// The worst of those that are of time, or of those that are not.
Outcome_t JudgeMix(std::vector<MixFault> const& faults, bool isOfTime);

/// Level of a session's sound against what volume and balance ask for; nothing where it was not heard.
std::optional<double> MixLevelErrorDecibel(PlaybackLog const& log, std::size_t session);
/// "6.0 dB fainter than asked for", or "as loud as asked for".
std::string FormatLevelError(double decibel);

/// Whom nobody can tell from the others, as a clause; empty when all can be told.
std::string TellMixDoubt(PlaybackLog const& log);
/// A sentence a session.
std::vector<std::string> DescribeMix(PlaybackLog const& log);

} // namespace AudioHost
