#pragma once

#include <optional>
#include <string>
#include <vector>

#include "play/playbacklog.h"
#include "report/soundwords.h"

namespace AudioHost {

/// What became of the sound, apart from its holes and jumps: a wrong speed, peaks cut off, parts louder or
/// fainter than the rest. A few words; empty when nothing is wrong.
std::string TellSoundFault(PlaybackLog const& log);

/// Level against what volume and balance ask for; nothing when it cannot be told.
std::optional<Outcome_t> JudgeLevel(PlaybackLog const& log);
/// "6.0 dB fainter than asked for", of several sounds with the name of the one that is furthest off. Only
/// where that is wrong.
std::string TellLevelFault(PlaybackLog const& log);

/// What nobody can tell of this sound, as a clause; empty when all can be told.
std::string TellDoubt(PlaybackLog const& log);

/// The level against what was asked for, or of several sounds what became of each, and the doubt: a sentence
/// an element.
std::vector<std::string> DescribeHearing(PlaybackLog const& log);

} // namespace AudioHost
