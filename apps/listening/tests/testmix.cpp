#include "listening/tests/testmix.h"

#include <algorithm>
#include <cmath>

#include "listening/soundcompare.h"

namespace Listening {

namespace {

/// The same numbers on every system.
class Chance {
public:
    explicit Chance(std::uint32_t seed) : state_(seed * 2654435761U + 12345U) {
        Next();
        Next();
    }
    /// From 0.0 to 1.0.
    double Next() {
        state_ = state_ * 1664525U + 1013904223U;
        return static_cast<double>(state_ >> 8) / 16777216.0;
    }
    double Between(double min, double max) { return min + (max - min) * Next(); }

private:
    std::uint32_t state_;
};

std::int16_t Round(double value) {
    return static_cast<std::int16_t>(std::lround(std::clamp(value, -32768.0, 32767.0)));
}

double SecondsOf(std::int64_t sample) {
    return static_cast<double>(sample) / SoundRateHz;
}

/// A note that is struck and fades.
void AddNote(Samples& sound, std::int64_t start, std::int64_t count, double hz, double amplitude) {
    for (std::int64_t i = 0; i < count && start + i < static_cast<std::int64_t>(sound.size()); ++i) {
        double const t = SecondsOf(i);
        double const envelope = std::min(1.0, t / 0.005) * std::exp(-3.0 * t);
        double value = 0.0;
        for (int partial = 1; partial <= 4; ++partial) {
            value += std::sin(2.0 * Pi * hz * partial * t) / partial;
        }
        std::int16_t& sample = sound[static_cast<std::size_t>(start + i)];
        sample = Round(sample + amplitude * envelope * value);
    }
}

} // namespace

Samples MakeTones(std::int64_t count, std::vector<double> const& hz, double amplitude) {
    Samples sound;
    for (std::int64_t i = 0; i < count; ++i) {
        double value = 0.0;
        for (double const one : hz) {
            value += amplitude * std::sin(2.0 * Pi * one * SecondsOf(i));
        }
        sound.push_back(Round(value));
    }
    return sound;
}

Samples MakeClicks(std::int64_t count) {
    Samples sound(static_cast<std::size_t>(count));
    for (std::int64_t at = 4800; at < count; at += SoundRateHz) {
        for (std::int64_t i = 0; i < 240 && at + i < count; ++i) {
            sound[static_cast<std::size_t>(at + i)] =
                Round(20000.0 * std::exp(-static_cast<double>(i) / 40.0) *
                      std::sin(2.0 * Pi * 1500.0 * SecondsOf(i)));
        }
    }
    return sound;
}

Samples MakeSweep(std::int64_t count, double fromHz, double toHz) {
    Samples sound;
    double phase = 0.0;
    for (std::int64_t i = 0; i < count; ++i) {
        double const share = static_cast<double>(i) / static_cast<double>(count);
        phase += 2.0 * Pi * fromHz * std::pow(toHz / fromHz, share) / SoundRateHz;
        sound.push_back(Round(6000.0 * std::sin(phase)));
    }
    return sound;
}

Samples MakeNoise(std::int64_t count, std::uint32_t seed, double amplitude) {
    Chance chance(seed);
    Samples sound;
    for (std::int64_t i = 0; i < count; ++i) {
        sound.push_back(Round(amplitude * chance.Between(-1.0, 1.0)));
    }
    return sound;
}

Samples MakeSpeech(std::int64_t count, std::uint32_t seed) {
    Chance chance(seed);
    Samples sound;
    double phase = 0.0;
    double first = 0.0;
    double second = 0.0;
    while (static_cast<std::int64_t>(sound.size()) < count) {
        bool const isPause = chance.Next() < 0.15;
        auto const length = static_cast<std::int64_t>(chance.Between(4000.0, 12000.0));
        double const hz = chance.Between(90.0, 180.0);
        double const glide = chance.Between(-40.0, 40.0);
        double const formant = 2.0 * Pi * chance.Between(300.0, 1800.0) / SoundRateHz;
        double const loudness = isPause ? 0.0 : chance.Between(0.4, 1.0);
        double const breath = chance.Between(0.02, 0.4);
        for (std::int64_t i = 0; i < length && static_cast<std::int64_t>(sound.size()) < count; ++i) {
            double const share = static_cast<double>(i) / static_cast<double>(length);
            phase += (hz + glide * share) / SoundRateHz;
            double pulse = breath * chance.Between(-1.0, 1.0);
            if (phase >= 1.0) {
                phase -= 1.0;
                pulse += 8.0;
            }
            double const value = pulse + 1.94 * std::cos(formant) * first - 0.94 * second;
            second = first;
            first = value;
            sound.push_back(Round(900.0 * loudness * std::sin(Pi * share) * value));
        }
    }
    return sound;
}

Samples MakeMusic(std::int64_t count, std::uint32_t seed) {
    Chance chance(seed);
    Samples sound(static_cast<std::size_t>(count));
    for (std::int64_t at = 0; at < count; at += 12000) {
        double const root = 110.0 * std::pow(2.0, std::floor(chance.Between(0.0, 7.0)) / 12.0);
        if (at % 24000 == 0) {
            AddNote(sound, at, 24000, root, 2500.0);
            AddNote(sound, at, 24000, root * 2.52, 1500.0);
            AddNote(sound, at, 24000, root * 3.0, 1500.0);
        }
        AddNote(sound, at, 12000, 440.0 * std::pow(2.0, std::floor(chance.Between(0.0, 13.0)) / 12.0),
                2500.0);
    }
    return sound;
}

Samples MakeAnything(std::int64_t count, std::uint32_t seed) {
    Chance chance(seed);
    double const hz = std::exp(chance.Between(std::log(60.0), std::log(3000.0)));
    double const vibratoHz = chance.Between(0.5, 7.0);
    double const vibrato = chance.Next() < 0.5 ? 0.0 : chance.Between(0.0, 0.03);
    double const tremoloHz = chance.Between(0.3, 9.0);
    double const tremolo = chance.Next() < 0.5 ? 0.0 : chance.Between(0.0, 0.9);
    double const stretch = chance.Next() < 0.5 ? 1.0 : chance.Between(0.9, 1.1);
    double const hiss = chance.Next() < 0.5 ? 0.0 : chance.Between(0.0, 800.0);
    auto const partials = static_cast<int>(chance.Between(1.0, 8.0));
    std::vector<double> phases(static_cast<std::size_t>(partials));
    Samples sound;
    for (std::int64_t i = 0; i < count; ++i) {
        double const t = SecondsOf(i);
        double const now = hz * (1.0 + vibrato * std::sin(2.0 * Pi * vibratoHz * t));
        double value = 0.0;
        for (std::size_t k = 0; k < phases.size(); ++k) {
            double const partial = now * std::pow(static_cast<double>(k + 1), stretch);
            phases[k] += 2.0 * Pi * partial / SoundRateHz;
            value += partial < 20000.0 ? std::sin(phases[k]) / static_cast<double>(k + 1) : 0.0;
        }
        double const loudness = 1.0 - tremolo * 0.5 * (1.0 + std::sin(2.0 * Pi * tremoloHz * t));
        sound.push_back(Round(4000.0 * loudness * value + hiss * chance.Between(-1.0, 1.0)));
    }
    return sound;
}

Samples LeaveOut(Samples const& sound, std::int64_t at, std::int64_t count) {
    Samples result(sound.begin(), sound.begin() + at);
    result.insert(result.end(), sound.begin() + at + count, sound.end());
    return result;
}

Samples Repeat(Samples const& sound, std::int64_t at, std::int64_t count) {
    Samples result(sound.begin(), sound.begin() + at);
    result.insert(result.end(), sound.begin() + at - count, sound.end());
    return result;
}

Samples Scale(Samples const& sound, double gain) {
    Samples result;
    for (std::int16_t const sample : sound) {
        result.push_back(Round(gain * sample));
    }
    return result;
}

Samples CutOff(Samples const& sound, int peak) {
    Samples result;
    for (std::int16_t const sample : sound) {
        result.push_back(static_cast<std::int16_t>(std::clamp<int>(sample, -peak, peak)));
    }
    return result;
}

Samples PlayAtSpeeds(Samples const& sound, std::vector<double> const& speeds, std::int64_t stepSamples) {
    constexpr int Taps = 12;
    auto const size = static_cast<std::int64_t>(sound.size());
    Samples result;
    double place = 0.0;
    while (place < static_cast<double>(size)) {
        auto const below = static_cast<std::int64_t>(place);
        double const share = place - static_cast<double>(below);
        double value = 0.0;
        for (int k = 1 - Taps; k <= Taps && share > 0.0; ++k) {
            double const x = Pi * (static_cast<double>(k) - share);
            double const window = 0.5 * (1.0 + std::cos(x / (Taps + 1)));
            std::int64_t const at = below + k;
            value +=
                at >= 0 && at < size ? sound[static_cast<std::size_t>(at)] * window * std::sin(x) / x : 0.0;
        }
        result.push_back(share > 0.0 ? Round(value) : sound[static_cast<std::size_t>(below)]);
        auto const step = static_cast<std::size_t>(static_cast<std::int64_t>(place) / stepSamples);
        place += speeds[std::min(step, speeds.size() - 1)];
    }
    return result;
}

Samples RecordMix(std::vector<Samples> const& sounds, std::int64_t head, std::int64_t tail,
                  double noiseAmplitude) {
    Samples const mixed = MixSounds({sounds.begin(), sounds.end()});
    Samples heard(static_cast<std::size_t>(head));
    heard.insert(heard.end(), mixed.begin(), mixed.end());
    heard.insert(heard.end(), static_cast<std::size_t>(tail), std::int16_t(0));
    Samples const noise = MakeNoise(static_cast<std::int64_t>(heard.size()), 77, noiseAmplitude);
    return MixSounds({heard, noise});
}

} // namespace Listening
