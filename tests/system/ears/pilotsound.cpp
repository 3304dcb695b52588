#include "ears/pilotsound.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "support/recording/tonetrack.h"

namespace SystemTest {

namespace {

using TestSupport::ToneBlockSamples;

/// Whole numbers of periods in a second. 10 ms, the output's step, have 130.06, 145.10 and 160.25: a slip by
/// any multiple of that below a second puts at least one of them out by 0.2 periods or more, and 98 of 100
/// other slips of a millisecond and more put one out by 0.14.
constexpr std::array<double, 3> TonesHz = {13006.0, 14510.0, 16025.0};
/// Together a third of one quiet test sound: they take no room from them.
constexpr double ToneLsb = 400.0;

/// The module hears of a late cursor at the next frame, 20 ms later at most; the blocks at a break's edges.
constexpr std::int64_t BeforeBlocks = 5;
/// A session that the module moves is heard from there on after the output's delay, and measured over two
/// frames.
constexpr std::int64_t AfterBlocks = TestSupport::AftermathBlocks;

double AngleOf(double toneHz) {
    return 2.0 * Listening::Pi * toneHz / Listening::SoundRateHz;
}

} // namespace

Listening::Samples MakePilotSound() {
    Listening::Samples sound(Listening::SoundRateHz);
    for (std::size_t i = 0; i < sound.size(); ++i) {
        double value = 0.0;
        for (double const toneHz : TonesHz) {
            value += ToneLsb * std::sin(AngleOf(toneHz) * static_cast<double>(i));
        }
        sound[i] = static_cast<std::int16_t>(std::lround(value));
    }
    return sound;
}

std::vector<TestSupport::Disturbance> FindOutages(Listening::SampleView heard) {
    std::vector<TestSupport::Disturbance> outages;
    for (double const toneHz : TonesHz) {
        auto const tone = TestSupport::MeasureTone(heard, toneHz);
        for (auto const& fault :
             TestSupport::FindToneFaults(0, tone, toneHz, 0, static_cast<std::int64_t>(tone.size()))) {
            outages.push_back({std::nullopt, (fault.firstBlock - BeforeBlocks) * ToneBlockSamples,
                               (fault.firstBlock + fault.blocks + AfterBlocks) * ToneBlockSamples});
        }
    }
    return outages;
}

Listening::Samples WithoutPilot(Listening::SampleView sound) {
    std::vector<double> values(sound.begin(), sound.end());
    for (double const toneHz : TonesHz) {
        // Three samples whose weighted sum is zero for this pitch, and one for a constant.
        double const middle = -2.0 * std::cos(AngleOf(toneHz));
        for (std::size_t i = 0; i + 2 < values.size(); ++i) {
            values[i] = (values[i] + middle * values[i + 1] + values[i + 2]) / (2.0 + middle);
        }
        values.resize(values.size() - std::min<std::size_t>(2, values.size()));
    }
    Listening::Samples rest(values.size());
    std::transform(values.begin(), values.end(), rest.begin(), [](double value) {
        return static_cast<std::int16_t>(std::lround(std::clamp(value, -32768.0, 32767.0)));
    });
    return rest;
}

} // namespace SystemTest
