#include "sources/testsignal.h"

#include <cmath>
#include <random>

#include "terminal/textformat.h"

namespace AudioHost {

namespace {

constexpr std::size_t PieceSamples = 960;
constexpr double TonePeakLsb = Listening::FullScaleLsb / 2.0;
/// A sixteen-bit number divided by this.
constexpr int NoiseDivisor = 4;
constexpr double TwoPi = 6.283185307179586;

class ToneStream : public PcmStream {
public:
    explicit ToneStream(std::vector<double> frequenciesHz) : frequenciesHz_(std::move(frequenciesHz)) {}

    bool Read(Listening::Samples& sound) override {
        for (std::size_t i = 0; i < PieceSamples; ++i) {
            sound.push_back(Next());
        }
        return true;
    }

private:
    std::int16_t Next() {
        double sum = 0.0;
        // By the sample's number: steps added up would drift.
        double const seconds = static_cast<double>(count_++) / Listening::SoundRateHz;
        for (double const hz : frequenciesHz_) {
            sum += std::sin(TwoPi * std::fmod(hz * seconds, 1.0));
        }
        double const peak = TonePeakLsb / static_cast<double>(frequenciesHz_.size());
        return static_cast<std::int16_t>(std::lround(peak * sum));
    }

    std::vector<double> const frequenciesHz_;
    std::int64_t count_ = 0;
};

class NoiseStream : public PcmStream {
public:
    bool Read(Listening::Samples& sound) override {
        for (std::size_t i = 0; i < PieceSamples; ++i) {
            // Its upper half, moved from 0..65535 to -32768..32767.
            int const value = static_cast<int>(random_() >> 16U) + INT16_MIN;
            sound.push_back(static_cast<std::int16_t>(value / NoiseDivisor));
        }
        return true;
    }

private:
    std::mt19937 random_;
};

std::string FormatHz(double hz) {
    return hz == std::floor(hz) ? FormatFixed(hz, 0) : FormatFixed(hz, 1);
}

} // namespace

std::unique_ptr<PcmStream> MakeTone(std::vector<double> frequenciesHz) {
    return std::make_unique<ToneStream>(std::move(frequenciesHz));
}

std::unique_ptr<PcmStream> MakeNoise() {
    return std::make_unique<NoiseStream>();
}

std::string NameTone(std::vector<double> const& frequenciesHz) {
    std::string name;
    for (double const hz : frequenciesHz) {
        name += (name.empty() ? "" : " + ") + FormatHz(hz);
    }
    return name + " Hz";
}

bool TestSignal::ReadFrame(MediaFrame& next) {
    return frames_.Next(*sound_, next) && (durationNanoSec_ == 0 || next.positionNanoSec < durationNanoSec_);
}

} // namespace AudioHost
