#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
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

struct MixColumns;

/// Terms as they lie in a window, with what was computed of them: a fit that begins near by has less to do.
/// Copies share most of it.
struct MixFit {
    std::vector<MixTerm> terms;
    /// What the terms leave of the window's energy.
    double rest = 0.0;
    /// One for each term.
    std::vector<std::shared_ptr<MixColumns const>> columns;
    /// Sums of products of each column of each term with each, a row for each; of two terms in the later
    /// one's rows.
    std::vector<double> products;
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
    MixWindow(std::vector<KeptSound> const& sounds, KeptSound const& heard, std::int64_t start);

    /// The window's own energy.
    double GetEnergy() const { return energy_; }
    /// Moves all of `fit.terms` by some samples to where they fit best, together, and sets all else. Computes
    /// anew only of which terms the place was changed; all of them where nothing was computed.
    MixFit Fit(MixFit fit) const;
    /// Looks a term's sound up within `reach` of `lag`, in what the other terms leave, after `Fit`: of
    /// places as good as the best the one nearest to `lag`.
    MixPlace Search(MixFit const& fit, std::size_t number, double lag, std::int64_t reach) const;

private:
    /// A part of a sound as it is compared, from `from` on.
    struct Part {
        std::int64_t from = 0;
        Signal samples;
    };

    Part const& PartAround(std::size_t sound, double lag) const;
    std::shared_ptr<MixColumns const> MakeColumns(MixTerm const& term) const;
    /// Brings what was computed to where the terms are.
    void Update(MixFit& fit) const;
    void Move(MixFit& fit) const;
    /// What is left of the window without so much of the chosen columns.
    Signal RestOf(MixFit const& fit, std::vector<std::size_t> const& chosen,
                  std::vector<double> const& amounts) const;

    std::vector<KeptSound> const& sounds_;
    std::int64_t const start_;
    Signal const heard_;
    double energy_ = 0.0;
    /// Of each sound the part used last.
    mutable std::vector<Part> parts_;
};

} // namespace Listening
