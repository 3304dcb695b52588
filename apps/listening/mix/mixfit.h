#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "listening/samples.h"
#include "listening/search/smoothing.h"

namespace Listening {

/// One sound's part of a window of a recording.
struct MixTerm {
    /// Which of the sounds.
    std::size_t sound = 0;
    /// Sample number in the recording minus that in what was sent, in the middle of the window, and by how
    /// much that grows a sample.
    double lag = 0.0;
    double slip = 0.0;
    /// Amplitude in the recording against that in what was sent.
    double gain = 0.0;
    /// Sum of the squares of what was sent.
    double energy = 0.0;
    /// By how much the other sounds make the gain less sure: 1 where none is like this one, without limit
    /// where they can take its place.
    double inflation = 1.0;
};

/// Where a sound is most alike to a window, and how much.
struct MixPlace {
    float likeness = 0.0F;
    double lag = 0.0;
};

/// A window of a recording of several sounds, each of which lies somewhere in it: the sum of them, each at
/// its gain, that is nearest. `CompareWindowSamples` long. The sounds have to outlive it. For one thread.
class MixWindow {
public:
    MixWindow(std::vector<ComparedSound> const& sounds, ComparedSound const& heard, std::int64_t start);

    /// The window's own energy.
    double GetEnergy() const { return energy_; }
    /// Moves all of `terms` by some samples to where they fit best, together, and sets their other members.
    /// What they leave of the energy.
    double Fit(std::vector<MixTerm>& terms) const;
    /// Looks a term's sound up within `reach` of `lag`, in what the other terms leave: of
    /// places as good as the best the one nearest to `lag`.
    MixPlace Search(std::vector<MixTerm> const& terms, std::size_t number, double lag,
                    std::int64_t reach) const;

private:
    struct Solution;
    /// A part of a sound as it is compared, from `from` on.
    struct Part {
        std::int64_t from = 0;
        Signal samples;
    };

    Part const& PartAround(std::size_t sound, double lag) const;
    std::vector<Signal> MakeColumns(std::vector<MixTerm> const& terms) const;
    void Move(std::vector<MixTerm>& terms) const;
    Solution Solve(std::vector<Signal> const& columns) const;

    std::vector<ComparedSound> const& sounds_;
    std::int64_t const start_;
    Signal const heard_;
    double energy_ = 0.0;
    /// Of each sound the part used last: smoothing it takes longer than all else that is done with it.
    mutable std::vector<Part> parts_;
};

} // namespace Listening
