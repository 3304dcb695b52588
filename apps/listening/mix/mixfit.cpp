#include "listening/mix/mixfit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include "listening/search/correlation.h"
#include "listening/search/windowmatch.h"

namespace Listening {

namespace {

/// Of each sound a window has three columns: the sound, how it changes where it is moved, and how it changes
/// where it is stretched about the window's middle.
constexpr std::size_t ColumnsPerTerm = 3;
/// Moved and stretched by one step, a sound is near enough to what its columns say.
constexpr int FitSteps = 3;
constexpr double MaxStepSamples = 3.0;
/// Faster than drift control plays nothing: 833 ppm, and what crystals add.
constexpr double MaxSlip = 0.0011;
/// What is so little of what is left tells nothing about its place.
constexpr double MinShareToMove = 0.05;
/// Columns that are the same leave it open how much of each there is: an even part, then.
constexpr double Ridge = 1e-4;
/// What is smoothed around a window, so that a sound may move in it, and what stretching and values between
/// samples need of that.
constexpr std::int64_t MarginSamples = 64;
constexpr std::int64_t NeededSamples = 12;
static_assert(static_cast<double>(NeededSamples) > 0.5 * CompareWindowSamples * MaxSlip + 4.0);

/// In lanes, which a processor adds at the same time: most of the work is done here. Both have a window's
/// length.
double SumOfProducts(Signal const& a, Signal const& b) {
    constexpr std::size_t Lanes = 16;
    static_assert(CompareWindowSamples % Lanes == 0);
    std::array<float, Lanes> sums = {};
    for (std::size_t i = 0; i < a.size(); i += Lanes) {
        for (std::size_t lane = 0; lane < Lanes; ++lane) {
            sums[lane] += a[i + lane] * b[i + lane];
        }
    }
    return std::accumulate(sums.begin(), sums.end(), 0.0);
}

/// A positive definite matrix as the product of a lower triangle and its mirror image.
class Triangle {
public:
    explicit Triangle(std::vector<double> matrix, std::size_t size) : cells_(std::move(matrix)), size_(size) {
        for (std::size_t row = 0; row < size_; ++row) {
            for (std::size_t column = 0; column <= row; ++column) {
                double sum = At(row, column);
                for (std::size_t k = 0; k < column; ++k) {
                    sum -= At(row, k) * At(column, k);
                }
                At(row, column) = row == column ? std::sqrt(sum) : sum / At(column, column);
            }
        }
    }

    /// The vector that the matrix makes `values` of.
    std::vector<double> Solve(std::vector<double> values) const {
        for (std::size_t row = 0; row < size_; ++row) {
            for (std::size_t k = 0; k < row; ++k) {
                values[row] -= At(row, k) * values[k];
            }
            values[row] /= At(row, row);
        }
        for (std::size_t row = size_; row-- > 0;) {
            for (std::size_t k = row + 1; k < size_; ++k) {
                values[row] -= At(k, row) * values[k];
            }
            values[row] /= At(row, row);
        }
        return values;
    }

private:
    double& At(std::size_t row, std::size_t column) { return cells_[row * size_ + column]; }
    double At(std::size_t row, std::size_t column) const { return cells_[row * size_ + column]; }

    std::vector<double> cells_;
    std::size_t size_;
};

} // namespace

/// How much of each column there is, and how unsure that is.
struct MixWindow::Solution {
    std::vector<double> amounts;
    std::vector<double> inflations;
    std::vector<double> energies;
    Signal rest;
};

MixWindow::MixWindow(std::vector<ComparedSound> const& sounds, ComparedSound const& heard, std::int64_t start)
    : sounds_(sounds),
      start_(start),
      heard_(heard.Cut(start, CompareWindowSamples)),
      energy_(SumOfProducts(heard_, heard_)),
      parts_(sounds.size()) {}

MixWindow::Part const& MixWindow::PartAround(std::size_t sound, double lag) const {
    Part& part = parts_[sound];
    std::int64_t const start = start_ - std::llround(lag);
    if (part.samples.empty() ||
        std::llabs(start - MarginSamples - part.from) > MarginSamples - NeededSamples) {
        part.from = start - MarginSamples;
        part.samples = sounds_[sound].Cut(part.from, CompareWindowSamples + 2 * MarginSamples);
    }
    return part;
}

std::vector<Signal> MixWindow::MakeColumns(std::vector<MixTerm> const& terms) const {
    constexpr double Half = 0.5 * static_cast<double>(CompareWindowSamples);
    std::vector<Signal> columns;
    for (MixTerm const& term : terms) {
        Part const& part = PartAround(term.sound, term.lag);
        double const first = static_cast<double>(start_ - part.from) - term.lag;
        Signal around;
        around.reserve(static_cast<std::size_t>(CompareWindowSamples) + 2);
        for (std::int64_t i = -1; i <= CompareWindowSamples; ++i) {
            double const at = static_cast<double>(i);
            around.push_back(ValueAt(part.samples, first + at - term.slip * (at - Half)));
        }
        Signal const sound(around.begin() + 1, around.end() - 1);
        Signal moved(sound.size());
        Signal stretched(sound.size());
        for (std::size_t i = 0; i < sound.size(); ++i) {
            moved[i] = 0.5F * (around[i + 2] - around[i]);
            stretched[i] = moved[i] * static_cast<float>(static_cast<double>(i) / Half - 1.0);
        }
        columns.push_back(sound);
        columns.push_back(std::move(moved));
        columns.push_back(std::move(stretched));
    }
    return columns;
}

MixWindow::Solution MixWindow::Solve(std::vector<Signal> const& columns) const {
    std::size_t const count = columns.size();
    Solution solution;
    std::vector<double> norms;
    for (Signal const& column : columns) {
        solution.energies.push_back(SumOfProducts(column, column));
        norms.push_back(std::sqrt(std::max(1.0, solution.energies.back())));
    }
    std::vector<double> matrix(count * count);
    std::vector<double> likeness(count);
    for (std::size_t row = 0; row < count; ++row) {
        likeness[row] = SumOfProducts(columns[row], heard_) / norms[row];
        for (std::size_t column = 0; column < row; ++column) {
            matrix[row * count + column] =
                SumOfProducts(columns[row], columns[column]) / (norms[row] * norms[column]);
        }
        matrix[row * count + row] = 1.0 + Ridge;
    }
    Triangle const triangle(std::move(matrix), count);
    solution.amounts = triangle.Solve(likeness);
    solution.rest = heard_;
    for (std::size_t k = 0; k < count; ++k) {
        solution.amounts[k] /= norms[k];
        auto const amount = static_cast<float>(solution.amounts[k]);
        std::transform(columns[k].begin(), columns[k].end(), solution.rest.begin(), solution.rest.begin(),
                       [amount](float part, float rest) { return rest - amount * part; });
    }
    for (std::size_t k = 0; k < count; ++k) {
        std::vector<double> unit(count);
        unit[k] = 1.0;
        solution.inflations.push_back(triangle.Solve(std::move(unit))[k]);
    }
    return solution;
}

void MixWindow::Move(std::vector<MixTerm>& terms) const {
    Solution const solution = Solve(MakeColumns(terms));
    double const left = SumOfProducts(solution.rest, solution.rest);
    for (std::size_t i = 0; i < terms.size(); ++i) {
        double const* const amounts = solution.amounts.data() + i * ColumnsPerTerm;
        double const gain = amounts[0];
        if (gain > 0.0 && gain * gain * solution.energies[i * ColumnsPerTerm] > MinShareToMove * left) {
            double const stretch = amounts[2] / gain / (0.5 * CompareWindowSamples);
            terms[i].lag -= std::clamp(amounts[1] / gain, -MaxStepSamples, MaxStepSamples);
            terms[i].slip = std::clamp(terms[i].slip - stretch, -MaxSlip, MaxSlip);
        }
    }
}

double MixWindow::Fit(std::vector<MixTerm>& terms) const {
    for (int step = 0; step < FitSteps; ++step) {
        Move(terms);
    }
    std::vector<Signal> columns = MakeColumns(terms);
    Solution const moving = Solve(columns);
    // A sound out of place is nearly the sum of its other columns: what counts is what it explains by itself.
    std::vector<Signal> sounds;
    for (std::size_t i = 0; i < terms.size(); ++i) {
        sounds.push_back(std::move(columns[i * ColumnsPerTerm]));
    }
    Solution const still = Solve(sounds);
    for (std::size_t i = 0; i < terms.size(); ++i) {
        terms[i].gain = still.amounts[i];
        terms[i].energy = still.energies[i];
        terms[i].inflation = moving.inflations[i * ColumnsPerTerm];
    }
    return SumOfProducts(still.rest, still.rest);
}

MixPlace MixWindow::Search(std::vector<MixTerm> const& terms, std::size_t number, double lag,
                           std::int64_t reach) const {
    std::vector<MixTerm> others = terms;
    others.erase(others.begin() + static_cast<std::ptrdiff_t>(number));
    Signal const rest = Solve(MakeColumns(others)).rest;
    std::int64_t const last = std::llround(lag) + reach;
    Signal const text = sounds_[terms[number].sound].Cut(start_ - last, CompareWindowSamples + 2 * reach);
    FoundPeak const peak = NearestPeak(NormalisedCorrelation(rest, text), reach);
    return {peak.height, static_cast<double>(last - peak.place)};
}

} // namespace Listening
