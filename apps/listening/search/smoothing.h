#pragma once

#include <cstdint>

#include "listening/samples.h"

namespace Listening {

/// Nearly all of `sound` is above 5 kHz.
bool IsTreble(SampleView sound);

/// A sound as it is compared: without what is above 5 kHz, which says little that the rest does not and which
/// a quarter of a sample of delay changes. Computed for the stretch at hand, as all of it would take twice
/// what its samples take.
class ComparedSound {
public:
    /// `sound` has to outlive it. With `isTreble` all of it is compared.
    ComparedSound(SampleView sound, bool isTreble) : sound_(sound), isTreble_(isTreble) {}

    std::int64_t GetSize() const { return static_cast<std::int64_t>(sound_.GetSize()); }
    /// `count` samples from `start` on. Before the sound and behind it there is silence.
    Signal Cut(std::int64_t start, std::int64_t count) const;

private:
    SampleView sound_;
    bool isTreble_;
};

} // namespace Listening
