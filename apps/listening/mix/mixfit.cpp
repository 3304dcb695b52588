#include "listening/mix/mixfit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <optional>
#include <utility>

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

/// Sums that a processor makes at the same time, of four products each from one step to the next: most of the
/// work is done here, and compilers make as much of it as the processor can do in this shape.
constexpr std::size_t Lanes = 20;
constexpr std::size_t StepSamples = 4 * Lanes;
/// Of six columns so much stays next to the processor while each is multiplied with others.
constexpr std::size_t StretchSamples = 1200;
static_assert(StretchSamples % StepSamples == 0 && CompareWindowSamples % StretchSamples == 0);

double SumOfProducts(float const* a, float const* b) {
    std::array<float, Lanes> sums = {};
    for (std::size_t i = 0; i < StretchSamples; i += StepSamples) {
        for (std::size_t lane = 0; lane < Lanes; ++lane) {
            std::size_t const first = i + lane;
            std::size_t const second = first + Lanes;
            std::size_t const third = second + Lanes;
            std::size_t const fourth = third + Lanes;
            sums[lane] +=
                (a[first] * b[first] + a[second] * b[second]) + (a[third] * b[third] + a[fourth] * b[fourth]);
        }
    }
    return std::accumulate(sums.begin(), sums.end(), 0.0);
}

/// Both have a window's length.
double SumOfProducts(Signal const& a, Signal const& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < a.size(); i += StretchSamples) {
        sum += SumOfProducts(a.data() + i, b.data() + i);
    }
    return sum;
}

/// Takes so much of a column out of what is left of a window.
void TakeOut(Signal const& column, float amount, Signal& rest) {
    for (std::size_t i = 0; i < rest.size(); i += Lanes) {
        std::array<float, Lanes> left = {};
        for (std::size_t lane = 0; lane < Lanes; ++lane) {
            left[lane] = rest[i + lane] - amount * column[i + lane];
        }
        std::copy(left.begin(), left.end(), rest.begin() + static_cast<std::ptrdiff_t>(i));
    }
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

/// A sound where a term has it.
struct MixColumns {
    double lag = 0.0;
    double slip = 0.0;
    std::array<Signal, ColumnsPerTerm> signals;
    /// Sums of products with what was heard.
    std::array<double, ColumnsPerTerm> likeness = {};
};

namespace {

/// A place in a window's samples against its middle: -1 at the beginning, 1 behind the end.
Signal const& Ramp() {
    static Signal const ramp = [] {
        Signal places;
        for (std::int64_t i = 0; i < CompareWindowSamples; ++i) {
            places.push_back(static_cast<float>(static_cast<double>(i) / (0.5 * CompareWindowSamples) - 1.0));
        }
        return places;
    }();
    return ramp;
}

using TermProducts = std::array<std::array<double, ColumnsPerTerm>, ColumnsPerTerm>;

/// Sums of products of each column of one term with each of another.
TermProducts Multiply(MixColumns const& one, MixColumns const& other) {
    TermProducts products = {};
    for (std::size_t i = 0; i < static_cast<std::size_t>(CompareWindowSamples); i += StretchSamples) {
        for (std::size_t row = 0; row < ColumnsPerTerm; ++row) {
            for (std::size_t column = 0; column < ColumnsPerTerm; ++column) {
                products[row][column] +=
                    SumOfProducts(one.signals[row].data() + i, other.signals[column].data() + i);
            }
        }
    }
    return products;
}

/// The least squares of some columns of a fit.
class Solution {
public:
    Solution(MixFit const& fit, std::vector<std::size_t> const& chosen)
        : norms_(NormsOf(fit, chosen)), triangle_(MatrixOf(fit, chosen, norms_), chosen.size()) {
        for (std::size_t k = 0; k < chosen.size(); ++k) {
            MixColumns const& columns = *fit.columns[chosen[k] / ColumnsPerTerm];
            amounts_.push_back(columns.likeness[chosen[k] % ColumnsPerTerm] / norms_[k]);
        }
        amounts_ = triangle_.Solve(std::move(amounts_));
        for (std::size_t k = 0; k < chosen.size(); ++k) {
            amounts_[k] /= norms_[k];
        }
    }

    /// How much of each column there is.
    std::vector<double> const& GetAmounts() const { return amounts_; }

    /// How unsure that is of one.
    double InflationOf(std::size_t number) const {
        std::vector<double> unit(norms_.size());
        unit[number] = 1.0;
        return triangle_.Solve(std::move(unit))[number];
    }

private:
    static double ProductIn(MixFit const& fit, std::size_t row, std::size_t column) {
        return fit.products[row * fit.columns.size() * ColumnsPerTerm + column];
    }

    static std::vector<double> NormsOf(MixFit const& fit, std::vector<std::size_t> const& chosen) {
        std::vector<double> norms;
        norms.reserve(chosen.size());
        for (std::size_t const column : chosen) {
            norms.push_back(std::sqrt(std::max(1.0, ProductIn(fit, column, column))));
        }
        return norms;
    }

    static std::vector<double> MatrixOf(MixFit const& fit, std::vector<std::size_t> const& chosen,
                                        std::vector<double> const& norms) {
        std::size_t const count = chosen.size();
        std::vector<double> matrix(count * count);
        for (std::size_t row = 0; row < count; ++row) {
            for (std::size_t column = 0; column < row; ++column) {
                matrix[row * count + column] =
                    ProductIn(fit, chosen[row], chosen[column]) / (norms[row] * norms[column]);
            }
            matrix[row * count + row] = 1.0 + Ridge;
        }
        return matrix;
    }

    std::vector<double> norms_;
    Triangle triangle_;
    std::vector<double> amounts_;
};

/// The numbers of every `step`th column of all terms but those of the term `without`.
std::vector<std::size_t> ChooseColumns(MixFit const& fit, std::size_t step = 1,
                                       std::optional<std::size_t> without = std::nullopt) {
    std::vector<std::size_t> chosen;
    for (std::size_t k = 0; k < fit.columns.size() * ColumnsPerTerm; k += step) {
        if (k / ColumnsPerTerm != without) {
            chosen.push_back(k);
        }
    }
    return chosen;
}

} // namespace

MixWindow::MixWindow(std::vector<KeptSound> const& sounds, KeptSound const& heard, std::int64_t start)
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

std::shared_ptr<MixColumns const> MixWindow::MakeColumns(MixTerm const& term) const {
    constexpr auto Size = static_cast<std::size_t>(CompareWindowSamples);
    constexpr double Half = 0.5 * static_cast<double>(CompareWindowSamples);
    Part const& part = PartAround(term.sound, term.lag);
    double const first = static_cast<double>(start_ - part.from) - term.lag + term.slip * Half;
    double const speed = 1.0 - term.slip;
    // With a sample more at each end.
    Signal const around = ValuesAt(part.samples, first - speed, speed, Size + 2);
    Signal const& ramp = Ramp();
    auto columns = std::make_shared<MixColumns>();
    columns->lag = term.lag;
    columns->slip = term.slip;
    auto& [sound, moved, stretched] = columns->signals;
    sound.assign(around.begin() + 1, around.end() - 1);
    moved.resize(Size);
    stretched.resize(Size);
    for (std::size_t i = 0; i < Size; ++i) {
        moved[i] = 0.5F * (around[i + 2] - around[i]);
        stretched[i] = moved[i] * ramp[i];
    }
    for (std::size_t k = 0; k < ColumnsPerTerm; ++k) {
        columns->likeness[k] = SumOfProducts(columns->signals[k], heard_);
    }
    return columns;
}

void MixWindow::Update(MixFit& fit) const {
    std::size_t const terms = fit.terms.size();
    std::size_t const width = terms * ColumnsPerTerm;
    fit.columns.resize(terms);
    fit.products.resize(width * width);
    std::vector<bool> isNew(terms);
    for (std::size_t i = 0; i < terms; ++i) {
        std::shared_ptr<MixColumns const>& columns = fit.columns[i];
        isNew[i] = !columns || columns->lag != fit.terms[i].lag || columns->slip != fit.terms[i].slip;
        columns = isNew[i] ? MakeColumns(fit.terms[i]) : columns;
    }
    for (std::size_t i = 0; i < terms; ++i) {
        for (std::size_t k = 0; k <= i; ++k) {
            if (!isNew[i] && !isNew[k]) {
                continue;
            }
            TermProducts const products = Multiply(*fit.columns[i], *fit.columns[k]);
            for (std::size_t row = 0; row < ColumnsPerTerm; ++row) {
                std::copy(
                    products[row].begin(), products[row].end(),
                    fit.products.begin() +
                        static_cast<std::ptrdiff_t>((i * ColumnsPerTerm + row) * width + k * ColumnsPerTerm));
            }
        }
    }
}

Signal MixWindow::RestOf(MixFit const& fit, std::vector<std::size_t> const& chosen,
                         std::vector<double> const& amounts) const {
    Signal rest = heard_;
    for (std::size_t k = 0; k < chosen.size(); ++k) {
        Signal const& column = fit.columns[chosen[k] / ColumnsPerTerm]->signals[chosen[k] % ColumnsPerTerm];
        TakeOut(column, static_cast<float>(amounts[k]), rest);
    }
    return rest;
}

void MixWindow::Move(MixFit& fit) const {
    Update(fit);
    std::vector<std::size_t> const all = ChooseColumns(fit);
    std::vector<double> const amounts = Solution(fit, all).GetAmounts();
    Signal const rest = RestOf(fit, all, amounts);
    double const left = SumOfProducts(rest, rest);
    for (std::size_t i = 0; i < fit.terms.size(); ++i) {
        MixTerm& term = fit.terms[i];
        std::size_t const first = i * ColumnsPerTerm;
        double const gain = amounts[first];
        double const energy = fit.products[first * all.size() + first];
        if (gain > 0.0 && gain * gain * energy > MinShareToMove * left) {
            double const stretch = amounts[first + 2] / gain / (0.5 * CompareWindowSamples);
            term.lag -= std::clamp(amounts[first + 1] / gain, -MaxStepSamples, MaxStepSamples);
            term.slip = std::clamp(term.slip - stretch, -MaxSlip, MaxSlip);
        }
    }
}

MixFit MixWindow::Fit(MixFit fit) const {
    for (int step = 0; step < FitSteps; ++step) {
        Move(fit);
    }
    Update(fit);
    std::vector<std::size_t> const all = ChooseColumns(fit);
    Solution const moving(fit, all);
    // A sound out of place is nearly the sum of its other columns: what counts is what it explains by itself.
    std::vector<std::size_t> const themselves = ChooseColumns(fit, ColumnsPerTerm);
    Solution const still(fit, themselves);
    for (std::size_t i = 0; i < fit.terms.size(); ++i) {
        std::size_t const first = i * ColumnsPerTerm;
        fit.terms[i].gain = still.GetAmounts()[i];
        fit.terms[i].energy = fit.products[first * all.size() + first];
        fit.terms[i].inflation = moving.InflationOf(first);
    }
    Signal const rest = RestOf(fit, themselves, still.GetAmounts());
    fit.rest = SumOfProducts(rest, rest);
    return fit;
}

MixPlace MixWindow::Search(MixFit const& fit, std::size_t number, double lag, std::int64_t reach) const {
    std::vector<std::size_t> const others = ChooseColumns(fit, 1, number);
    Signal const rest = RestOf(fit, others, Solution(fit, others).GetAmounts());
    std::int64_t const last = std::llround(lag) + reach;
    Signal const text = sounds_[fit.terms[number].sound].Cut(start_ - last, CompareWindowSamples + 2 * reach);
    FoundPeak const peak = NearestPeak(NormalisedCorrelation(rest, text), reach);
    return {peak.height, static_cast<double>(last - peak.place)};
}

} // namespace Listening
