#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "listening/samples.h"
#include "listening/search/lagsearch.h"
#include "listening/soundcompare.h"

namespace Listening {

/// More sounds than this are not told from each other: each covers the others, and the work grows with the
/// square of their number.
constexpr std::size_t MaxMixSounds = 16;

/// What became of one of several sounds that were heard at once. Samples are at `SoundRateHz`.
struct SoundInMix {
    enum class Hearing_t {
        Heard,
        NotHeard,
        /// Another one sounds the same, others cover it, it is too faint or was not recorded.
        CannotTell,
    };
    /// From here on it was heard later than before by so much, earlier below 0.
    struct Step {
        /// Where in what was sent; exactly where within is not known.
        SoundSpan within;
        double samples = 0.0;
    };

    Hearing_t hearing = Hearing_t::CannotTell;
    /// Amplitude heard against amplitude sent, as most of the sound has it.
    double gain = 0.0;
    /// How much later than the others it began, earlier below 0; nothing where nobody can tell. Of two the
    /// earlier one is in time, of more the middle one: what is held up comes late.
    std::optional<double> lateSamples;
    /// Stretches that were not heard, and how much within them.
    std::vector<SoundSpan> missing;
    std::vector<Step> steps;
};

/// What became of several sounds that were heard at once.
struct MixComparison {
    /// In the order given.
    std::vector<SoundInMix> sounds;
    /// The sum as it should have been heard: all of each sound, as far beside the others as it was heard.
    /// What they did all together is not in it. Its first sample is that of the earliest sound.
    Samples mix;
};

/// Follows each of `sounds`, which begin together, in the recording; their beginning lies within `range` if
/// given. Where nothing can be told of any of them, their plain sum is the mix.
MixComparison CompareMix(std::vector<SampleView> const& sounds, SampleView heard,
                         std::optional<LagRange> const& range = std::nullopt);

} // namespace Listening
