#pragma once

#include <cstdint>
#include <vector>

#include "listening/soundcompare.h"

namespace Listening {

/// Something that is not as it should be in what was heard.
struct Finding {
    enum class Kind_t {
        /// Nothing of what was sent, though it was loud enough.
        NothingHeard,
        /// Time: a part left out, heard twice, silence put in, silence in place of sound, the first sound not
        /// heard.
        PartMissing,
        PartRepeated,
        SilencePutIn,
        Hole,
        LateBegin,
        /// Played at a wrong speed throughout.
        Drift,
        /// Not like what was sent.
        PartChanged,
        /// Louder or fainter than the rest.
        PartLevel,
        CutOff,
    };

    Kind_t kind = Kind_t::NothingHeard;
    /// Where in what was sent, in samples.
    SoundSpan place;
    /// How much: samples for what concerns time, millionths for a drift (too slow above 0).
    double amount = 0.0;
};

/// What a listener may notice from here on, as a click or a stumble: 10 ms.
constexpr std::int64_t AudibleSamples = 480;
/// A speed that no player's crystal has.
constexpr double WrongSpeedPpm = 150.0;

/// All that is wrong but for the level, of which only the host knows what it should be. Empty also where
/// nobody can tell: see `isTooFaint` and `ambiguity`.
std::vector<Finding> ListFindings(SoundComparison const& comparison);

} // namespace Listening
