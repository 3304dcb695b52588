#pragma once

#include <cstdint>
#include <vector>

#include "listening/mix/mixcompare.h"
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
        /// Of several sounds that play at once: later than the others, from `place` on where that has a
        /// length.
        OutOfStep,
        /// Not like what was sent.
        PartChanged,
        /// Louder or fainter than the rest.
        PartLevel,
        CutOff,
    };

    Kind_t kind = Kind_t::NothingHeard;
    /// Where in what was sent, in samples.
    SoundSpan place;
    /// How much: samples for what concerns time (later above 0 where it is out of step), millionths for a
    /// drift (too slow above 0).
    double amount = 0.0;
};

/// What a listener may notice from here on, as a click or a stumble: 10 ms.
constexpr std::int64_t AudibleSamples = 480;
/// A speed that no player's crystal has.
constexpr double WrongSpeedPpm = 150.0;
/// Sounds that begin together are heard this close together: 20 ms, two steps of a play cursor.
constexpr double InStepSamples = 960.0;

/// All that is wrong but for the level, of which only the host knows what it should be. Empty also where
/// nobody can tell: see `isTooFaint` and `ambiguity`.
std::vector<Finding> ListFindings(SoundComparison const& comparison);
/// The same of one of several sounds that played at once. Empty also where it cannot be told from the others.
std::vector<Finding> ListFindings(SoundInMix const& sound);

} // namespace Listening
