#include "listening/search/correlation.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "listening/search/fourier.h"

namespace Listening {

namespace {

/// A stretch whose samples are this small on average holds no signal to compare, only rounding.
constexpr double SilenceRmsLsb = 2.0;
constexpr float SampleScale = 1.0F / 32768.0F;

/// Both signals are real, so one transform carries both: the text as real, the pattern as imaginary part.
/// With Z its result, the text's spectrum is (Z[k] + conj Z[-k]) / 2, the pattern's (Z[k] - conj Z[-k]) / 2i.
template <typename AnyView>
ComplexSamples CrossSpectrum(AnyView pattern, AnyView text, std::size_t size) {
    ComplexSamples joined(size);
    for (std::size_t i = 0; i < text.GetSize(); ++i) {
        joined[i].real(SampleScale * static_cast<float>(text[i]));
    }
    for (std::size_t i = 0; i < pattern.GetSize(); ++i) {
        joined[i].imag(SampleScale * static_cast<float>(pattern[i]));
    }
    ComplexSamples const spectrum = Transform(joined, false);
    ComplexSamples product(size);
    for (std::size_t k = 0; k < size; ++k) {
        std::complex<float> const z = spectrum[k];
        std::complex<float> const mirrored = spectrum[(size - k) % size];
        float const textRe = 0.5F * (z.real() + mirrored.real());
        float const textIm = 0.5F * (z.imag() - mirrored.imag());
        float const patternRe = 0.5F * (z.imag() + mirrored.imag());
        float const patternIm = 0.5F * (mirrored.real() - z.real());
        // text times the pattern's conjugate
        product[k] = {textRe * patternRe + textIm * patternIm, textIm * patternRe - textRe * patternIm};
    }
    return product;
}

template <typename AnyView>
double Energy(AnyView samples) {
    double energy = 0.0;
    for (auto const sample : samples) {
        energy += static_cast<double>(sample) * static_cast<double>(sample);
    }
    return energy;
}

/// One transform's worth: `text` is at most `MaxTransformSize` long.
template <typename AnyView>
void AppendBlock(AnyView pattern, AnyView text, std::vector<float>& result) {
    // As long as the text is enough: what the cyclic sum wraps round lies behind the last whole place.
    std::size_t const size = TransformSizeFor(text.GetSize());
    ComplexSamples spectrum = CrossSpectrum(pattern, text, size);
    ComplexSamples const dots = Transform(spectrum, true);

    double const patternEnergy = Energy(pattern);
    double const length = static_cast<double>(pattern.GetSize());
    double const minEnergy = length * SilenceRmsLsb * SilenceRmsLsb;
    double energy = Energy(text.Cut(0, static_cast<std::int64_t>(pattern.GetSize())));
    // The inverse transform is not divided by its length, the samples were scaled.
    double const dotScale = 1.0 / (static_cast<double>(size) * SampleScale * SampleScale);
    for (std::size_t k = 0; k + pattern.GetSize() <= text.GetSize(); ++k) {
        double value = 0.0;
        if (energy > minEnergy && patternEnergy > minEnergy) {
            value = dots[k].real() * dotScale / std::sqrt(energy * patternEnergy);
        }
        result.push_back(static_cast<float>(std::clamp(value, -1.0, 1.0)));
        if (k + pattern.GetSize() < text.GetSize()) {
            auto const out = static_cast<double>(text[k]);
            auto const in = static_cast<double>(text[k + pattern.GetSize()]);
            energy += in * in - out * out;
        }
    }
}

template <typename AnyView>
std::vector<float> Correlate(AnyView pattern, AnyView text) {
    auto const length = static_cast<std::int64_t>(pattern.GetSize());
    auto const places = static_cast<std::int64_t>(text.GetSize()) - length + 1;
    std::vector<float> result;
    if (pattern.IsEmpty() || pattern.GetSize() > MaxPatternSamples || places <= 0) {
        return result;
    }
    result.reserve(static_cast<std::size_t>(places));
    // Blocks overlap, so that every place lies whole within one.
    constexpr auto BlockSamples = static_cast<std::int64_t>(MaxTransformSize);
    for (std::int64_t at = 0; at < places; at += BlockSamples - length + 1) {
        AppendBlock(pattern, text.Cut(at, BlockSamples), result);
    }
    return result;
}

/// Beyond the second of four samples by `share` of the way to the third.
float Between(float const* around, float share) {
    float const a = around[0];
    float const b = around[1];
    float const c = around[2];
    float const d = around[3];
    float const cubic = 3.0F * (b - c) + d - a;
    float const square = 2.0F * a - 5.0F * b + 4.0F * c - d;
    return b + 0.5F * share * (c - a + share * (square + share * cubic));
}

template <typename AnyView>
float Interpolate(AnyView signal, double place) {
    auto const below = static_cast<std::int64_t>(std::floor(place));
    auto const share = static_cast<float>(place - static_cast<double>(below));
    auto const size = static_cast<std::int64_t>(signal.GetSize());
    std::array<float, 4> around = {};
    if (below >= 1 && below + 2 < size) {
        std::copy_n(signal.begin() + below - 1, around.size(), around.begin());
    } else {
        for (std::int64_t i = 0; i < 4; ++i) {
            std::int64_t const at = below - 1 + i;
            around[static_cast<std::size_t>(i)] =
                at >= 0 && at < size ? static_cast<float>(signal[static_cast<std::size_t>(at)]) : 0.0F;
        }
    }
    return Between(around.data(), share);
}

/// Places computed together, which a processor does at the same time.
constexpr std::size_t PlacesTogether = 16;

/// Values from `place` on, `step` apart, between samples that follow each other from `from` on.
std::array<float, PlacesTogether> InterpolateTogether(float const* from, double share, double step) {
    std::array<float, PlacesTogether> values = {};
    for (std::size_t i = 0; i < PlacesTogether; ++i) {
        auto const moved =
            static_cast<float>(share + static_cast<double>(static_cast<int>(i)) * (step - 1.0));
        values[i] = Between(from + i, moved);
    }
    return values;
}

} // namespace

std::vector<float> NormalisedCorrelation(SampleView pattern, SampleView text) {
    return Correlate(pattern, text);
}

std::vector<float> NormalisedCorrelation(SignalView pattern, SignalView text) {
    return Correlate(pattern, text);
}

Samples ChangeSpeed(SampleView pattern, double speed) {
    Samples result(pattern.GetSize());
    double const middle = 0.5 * static_cast<double>(pattern.GetSize());
    for (std::size_t i = 0; i < result.size(); ++i) {
        double const place = std::clamp(middle + (static_cast<double>(i) - middle) * speed, 0.0,
                                        static_cast<double>(pattern.GetSize() - 1));
        auto const below = static_cast<std::size_t>(place);
        std::size_t const above = std::min(below + 1, pattern.GetSize() - 1);
        double const share = place - static_cast<double>(below);
        result[i] =
            static_cast<std::int16_t>(std::lround((1.0 - share) * pattern[below] + share * pattern[above]));
    }
    return result;
}

float ValueAt(SignalView signal, double place) {
    return Interpolate(signal, place);
}

float ValueAt(SampleView sound, double place) {
    return Interpolate(sound, place);
}

Signal ValuesAt(SignalView signal, double first, double step, std::size_t count) {
    constexpr auto Together = static_cast<std::int64_t>(PlacesTogether);
    auto const size = static_cast<std::int64_t>(signal.GetSize());
    Signal values(count);
    auto const placeOf = [&](std::size_t number) { return first + static_cast<double>(number) * step; };
    std::size_t done = 0;
    while (done < count) {
        double const floor = std::floor(placeOf(done));
        auto const below = static_cast<std::int64_t>(floor);
        std::size_t const last = done + PlacesTogether - 1;
        bool const isEven = last < count && below >= 1 && below + Together + 1 < size &&
                            std::floor(placeOf(last)) == floor + static_cast<double>(Together - 1);
        if (isEven) {
            auto const together =
                InterpolateTogether(signal.begin() + (below - 1), placeOf(done) - floor, step);
            std::copy(together.begin(), together.end(), values.begin() + static_cast<std::ptrdiff_t>(done));
        } else {
            values[done] = ValueAt(signal, placeOf(done));
        }
        done += isEven ? PlacesTogether : 1;
    }
    return values;
}

} // namespace Listening
