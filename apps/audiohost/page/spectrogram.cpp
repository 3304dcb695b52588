#include "page/spectrogram.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <new>

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/tx.h>
}

namespace AudioHost {

namespace {

/// 43 ms: tones a semitone apart from 400 Hz on.
constexpr std::size_t WindowSamples = 2048;
constexpr std::size_t Bins = WindowSamples / 2 + 1;
constexpr std::size_t MaxColumns = 600;
constexpr std::size_t Rows = 64;
constexpr double LowHz = 60.0;
constexpr double HighHz = 20'000.0;
constexpr double FloorDecibel = -100.0;
constexpr double StepsPerDecibel = 2.5;
constexpr double MaxLevel = 255.0;

struct FreeMemory {
    void operator()(float* memory) const { av_free(memory); }
};
using Floats = std::unique_ptr<float, FreeMemory>;

Floats Allocate(std::size_t count) {
    Floats memory(static_cast<float*>(av_malloc_array(count, sizeof(float))));
    if (!memory) {
        throw std::bad_alloc();
    }
    return memory;
}

/// Magnitudes of the frequencies in one window, 1.0 for a tone of full scale.
class Spectrum {
public:
    Spectrum() : input_(Allocate(WindowSamples)), output_(Allocate(2 * Bins)) {
        float const scale = 1.0F;
        if (av_tx_init(&context_, &transform_, AV_TX_FLOAT_RDFT, 0, WindowSamples, &scale, 0) < 0) {
            throw std::bad_alloc();
        }
        for (std::size_t i = 0; i < WindowSamples; ++i) {
            // Hann's, whose mean is a half.
            weights_[i] = static_cast<float>(
                0.5 * (1.0 - std::cos(2.0 * Listening::Pi * (static_cast<double>(i) + 0.5) / WindowSamples)) *
                4.0 / (WindowSamples * Listening::FullScaleLsb));
        }
    }
    ~Spectrum() { av_tx_uninit(&context_); }
    Spectrum(Spectrum const&) = delete;
    Spectrum& operator=(Spectrum const&) = delete;

    /// `window` may be shorter than a whole one.
    std::array<float, Bins> const& Measure(Listening::SampleView window) {
        for (std::size_t i = 0; i < WindowSamples; ++i) {
            input_.get()[i] = i < window.GetSize() ? weights_[i] * static_cast<float>(window[i]) : 0.0F;
        }
        transform_(context_, output_.get(), input_.get(), sizeof(float));
        for (std::size_t bin = 0; bin < Bins; ++bin) {
            magnitudes_[bin] = std::hypot(output_.get()[2 * bin], output_.get()[2 * bin + 1]);
        }
        return magnitudes_;
    }

private:
    AVTXContext* context_ = nullptr;
    av_tx_fn transform_ = nullptr;
    Floats input_;
    Floats output_;
    std::array<float, WindowSamples> weights_{};
    std::array<float, Bins> magnitudes_{};
};

/// The first bin of each row, and one behind the last row's last.
std::array<std::size_t, Rows + 1> MakeEdges() {
    std::array<std::size_t, Rows + 1> edges{};
    for (std::size_t row = 0; row <= Rows; ++row) {
        double const hz = LowHz * std::pow(HighHz / LowHz, static_cast<double>(row) / Rows);
        edges[row] = static_cast<std::size_t>(std::lround(hz * WindowSamples / Listening::SoundRateHz));
    }
    return edges;
}

std::uint8_t ToLevel(float magnitude) {
    double const decibel = 20.0 * std::log10(std::max(1e-9F, magnitude));
    return static_cast<std::uint8_t>(
        std::lround(std::clamp((decibel - FloorDecibel) * StepsPerDecibel, 0.0, MaxLevel)));
}

} // namespace

ReportSpectrogram MakeSpectrogram(Listening::SampleView sound) {
    ReportSpectrogram result;
    if (sound.GetSize() < WindowSamples) {
        return result;
    }
    auto const size = static_cast<std::int64_t>(sound.GetSize());
    // A column is no shorter than an eighth of a window: more would show nothing new.
    std::int64_t const columnSamples = std::max<std::int64_t>(
        (size + static_cast<std::int64_t>(MaxColumns) - 1) / static_cast<std::int64_t>(MaxColumns),
        WindowSamples / 8);
    std::array<std::size_t, Rows + 1> const edges = MakeEdges();
    Spectrum spectrum;
    for (std::int64_t start = 0; start < size; start += columnSamples) {
        std::array<float, Rows> loudest{};
        // Half a window apart, around the column's own samples.
        for (std::int64_t at = start; at < std::min(size, start + columnSamples);
             at += static_cast<std::int64_t>(WindowSamples) / 2) {
            std::int64_t const middle = at + std::min<std::int64_t>(columnSamples, WindowSamples / 2) / 2;
            std::int64_t const from =
                std::clamp<std::int64_t>(middle - static_cast<std::int64_t>(WindowSamples) / 2, 0,
                                         size - static_cast<std::int64_t>(WindowSamples));
            auto const& magnitudes = spectrum.Measure(sound.Cut(from, WindowSamples));
            for (std::size_t row = 0; row < Rows; ++row) {
                // Low rows are narrower than a bin.
                std::size_t const end = std::max(edges[row] + 1, edges[row + 1]);
                for (std::size_t bin = edges[row]; bin < end; ++bin) {
                    loudest[row] = std::max(loudest[row], magnitudes[bin]);
                }
            }
        }
        for (float const magnitude : loudest) {
            result.levels.push_back(ToLevel(magnitude));
        }
    }
    result.columnMicroSec = columnSamples * 1'000'000 / Listening::SoundRateHz;
    result.rows = Rows;
    result.lowHz = LowHz;
    result.highHz = HighHz;
    return result;
}

} // namespace AudioHost
