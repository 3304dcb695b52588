#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Listening {

/// Rate at which the host keeps and compares sound: what the loudspeaker side runs at.
constexpr std::uint32_t SoundRateHz = 48000;

constexpr std::int64_t NanoSecPerMicroSec = 1'000;
constexpr std::int64_t NanoSecPerMilliSec = 1'000'000;
constexpr std::int64_t NanoSecPerSec = 1'000'000'000;
constexpr std::int64_t NanoSecPerHour = 3'600 * NanoSecPerSec;
constexpr std::int64_t MilliSecPerSec = 1'000;

/// For figures that a person reads.
inline double ToMilliSec(std::int64_t nanoSec) {
    return static_cast<double>(nanoSec) / NanoSecPerMilliSec;
}

inline double ToSec(std::int64_t nanoSec) {
    return static_cast<double>(nanoSec) / NanoSecPerSec;
}

/// Greatest magnitude of a sample.
constexpr double FullScaleLsb = 32768.0;

constexpr double Pi = 3.14159265358979323846;

/// Mono 16-bit PCM at `SoundRateHz`.
using Samples = std::vector<std::int16_t>;

/// A borrowed stretch of samples.
template <typename Sample>
class View {
public:
    View() = default;
    View(Sample const* data, std::size_t size) : data_(data), size_(size) {}
    View(std::vector<Sample> const& samples) : data_(samples.data()), size_(samples.size()) {}

    Sample const* begin() const { return data_; }
    Sample const* end() const { return data_ + size_; }
    std::size_t GetSize() const { return size_; }
    bool IsEmpty() const { return size_ == 0; }
    Sample operator[](std::size_t index) const { return data_[index]; }

    /// The part of `[start, start + count)` that lies within this view; empty when none does.
    View Cut(std::int64_t start, std::int64_t count) const {
        auto const size = static_cast<std::int64_t>(size_);
        std::int64_t const first = start < 0 ? 0 : start;
        std::int64_t const last = start + count > size ? size : start + count;
        if (first >= last) {
            return {};
        }
        return {data_ + first, static_cast<std::size_t>(last - first)};
    }

private:
    Sample const* data_ = nullptr;
    std::size_t size_ = 0;
};

using SampleView = View<std::int16_t>;

/// Sound that was computed with: in units of a 16-bit sample, but not rounded to them.
using Signal = std::vector<float>;
using SignalView = View<float>;

constexpr double SamplesToMilliSec(double samples) {
    return samples * MilliSecPerSec / SoundRateHz;
}
constexpr double SamplesToSec(double samples) {
    return samples / SoundRateHz;
}
constexpr std::int64_t MilliSecToSamples(std::int64_t milliSec) {
    return milliSec * SoundRateHz / MilliSecPerSec;
}

/// Index of the sample that sounds at `nanoSec` into a stream, rounded to the nearest; `nanoSec` from 0 to
/// two days, beyond which the product would overflow.
constexpr std::int64_t NanoSecToSamples(std::int64_t nanoSec) {
    return (nanoSec * (SoundRateHz / MilliSecPerSec) + NanoSecPerMilliSec / 2) / NanoSecPerMilliSec;
}
static_assert(NanoSecToSamples(20'000'000) == 960);
static_assert(NanoSecToSamples(NanoSecPerSec) == 48000);

} // namespace Listening
