#include "listening/correlation.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/tx.h>
}

namespace Listening {

namespace {

/// A stretch whose samples are this small on average holds no signal to compare, only rounding.
constexpr double SilenceRmsLsb = 2.0;
/// Beyond this the library computes term by term, which takes minutes where this takes milliseconds.
constexpr std::int64_t MaxTransformSize = 131072;
constexpr float SampleScale = 1.0F / 32768.0F;

struct FreeMemory {
    void operator()(void* memory) const { av_free(memory); }
};

/// A vector of complex numbers, aligned as the transform wants it.
class ComplexVector {
public:
    explicit ComplexVector(std::size_t size)
        : values_(static_cast<AVComplexFloat*>(av_calloc(size, sizeof(AVComplexFloat)))), size_(size) {
        if (!values_) {
            throw std::bad_alloc();
        }
    }

    AVComplexFloat& operator[](std::size_t index) { return values_.get()[index]; }
    AVComplexFloat* GetData() { return values_.get(); }
    std::size_t GetSize() const { return size_; }

private:
    std::unique_ptr<AVComplexFloat, FreeMemory> values_;
    std::size_t size_;
};

ComplexVector Transform(ComplexVector& input, bool inverse) {
    AVTXContext* context = nullptr;
    av_tx_fn transform = nullptr;
    float const scale = 1.0F;
    if (av_tx_init(&context, &transform, AV_TX_FLOAT_FFT, inverse ? 1 : 0, static_cast<int>(input.GetSize()),
                   &scale, 0) < 0) {
        throw std::runtime_error("the Fourier transform cannot be set up");
    }
    ComplexVector output(input.GetSize());
    transform(context, output.GetData(), input.GetData(), sizeof(AVComplexFloat));
    av_tx_uninit(&context);
    return output;
}

/// Both signals are real, so one transform carries both: the text as real, the pattern as imaginary part.
/// With Z its result, the text's spectrum is (Z[k] + conj Z[-k]) / 2, the pattern's (Z[k] - conj Z[-k]) / 2i.
ComplexVector CrossSpectrum(SampleView pattern, SampleView text, std::size_t size) {
    ComplexVector joined(size);
    for (std::size_t i = 0; i < text.GetSize(); ++i) {
        joined[i].re = SampleScale * static_cast<float>(text[i]);
    }
    for (std::size_t i = 0; i < pattern.GetSize(); ++i) {
        joined[i].im = SampleScale * static_cast<float>(pattern[i]);
    }
    ComplexVector spectrum = Transform(joined, false);
    ComplexVector product(size);
    for (std::size_t k = 0; k < size; ++k) {
        AVComplexFloat const z = spectrum[k];
        AVComplexFloat const mirrored = spectrum[(size - k) % size];
        float const textRe = 0.5F * (z.re + mirrored.re);
        float const textIm = 0.5F * (z.im - mirrored.im);
        float const patternRe = 0.5F * (z.im + mirrored.im);
        float const patternIm = 0.5F * (mirrored.re - z.re);
        // text times the pattern's conjugate
        product[k].re = textRe * patternRe + textIm * patternIm;
        product[k].im = textIm * patternRe - textRe * patternIm;
    }
    return product;
}

double Energy(SampleView samples) {
    double energy = 0.0;
    for (std::int16_t const sample : samples) {
        energy += static_cast<double>(sample) * sample;
    }
    return energy;
}

/// One transform's worth: `text` is at most `MaxTransformSize` long.
void AppendBlock(SampleView pattern, SampleView text, std::vector<float>& result) {
    // As long as the text is enough: what the cyclic sum wraps round lies behind the last whole place.
    std::size_t size = 1;
    while (size < text.GetSize()) {
        size *= 2;
    }
    ComplexVector spectrum = CrossSpectrum(pattern, text, size);
    ComplexVector dots = Transform(spectrum, true);

    double const patternEnergy = Energy(pattern);
    double const length = static_cast<double>(pattern.GetSize());
    double const minEnergy = length * SilenceRmsLsb * SilenceRmsLsb;
    double energy = Energy(text.Cut(0, static_cast<std::int64_t>(pattern.GetSize())));
    // The inverse transform is not divided by its length, the samples were scaled.
    double const dotScale = 1.0 / (static_cast<double>(size) * SampleScale * SampleScale);
    for (std::size_t k = 0; k + pattern.GetSize() <= text.GetSize(); ++k) {
        double value = 0.0;
        if (energy > minEnergy && patternEnergy > minEnergy) {
            value = dots[k].re * dotScale / std::sqrt(energy * patternEnergy);
        }
        result.push_back(static_cast<float>(std::clamp(value, -1.0, 1.0)));
        if (k + pattern.GetSize() < text.GetSize()) {
            double const out = text[k];
            double const in = text[k + pattern.GetSize()];
            energy += in * in - out * out;
        }
    }
}

} // namespace

std::vector<float> NormalisedCorrelation(SampleView pattern, SampleView text) {
    auto const length = static_cast<std::int64_t>(pattern.GetSize());
    auto const places = static_cast<std::int64_t>(text.GetSize()) - length + 1;
    std::vector<float> result;
    if (pattern.IsEmpty() || pattern.GetSize() > MaxPatternSamples || places <= 0) {
        return result;
    }
    result.reserve(static_cast<std::size_t>(places));
    // Blocks overlap, so that every place lies whole within one.
    std::int64_t const step = MaxTransformSize - length + 1;
    for (std::int64_t at = 0; at < places; at += step) {
        AppendBlock(pattern, text.Cut(at, MaxTransformSize), result);
    }
    return result;
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

} // namespace Listening
