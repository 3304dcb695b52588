#pragma once

#include <array>
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

/// A compared sound of which one stretch after the other is cut that overlap: keeps the parts used last, as
/// smoothing them takes longer than most of what is done with them. For one thread.
class KeptSound {
public:
    /// As that of `ComparedSound`.
    KeptSound(SampleView sound, bool isTreble) : sound_(sound, isTreble) {}

    Signal Cut(std::int64_t start, std::int64_t count) const;

private:
    /// Parts of one length, in a row.
    struct Part {
        std::int64_t number = 0;
        Signal samples;
    };
    static constexpr std::int64_t PartSamples = 12000;
    static constexpr std::int64_t PartsKept = 8;

    Signal const& PartAt(std::int64_t number) const;

    ComparedSound sound_;
    /// Each where its number, divided by how many there are, leaves its rest.
    mutable std::array<Part, PartsKept> parts_;
};

} // namespace Listening
