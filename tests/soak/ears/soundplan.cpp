#include "ears/soundplan.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

#include "support/recording/noise.h"

namespace Soak {

namespace {

/// Tones repeat after this: 0.05 Hz is one period in it.
constexpr std::int64_t TableSeconds = 20;
constexpr std::int64_t TableSamples = TableSeconds * Listening::SoundRateHz;

/// 1015.05 Hz: 20 ms are 20.301 periods and the ring's 5 s are 5075.25, so that what is repeated, left out or
/// heard again a lap later breaks the tone.
constexpr std::int64_t LowestTonePeriods = 20301;
static_assert(LowestTonePeriods == static_cast<std::int64_t>(MicrophoneToneHz * TableSeconds));

/// Tones lie from 1 to 9 kHz, a multiple of 50 Hz apart: a whole number of periods in a frame.
constexpr std::int64_t ToneBandHz = 8000;
constexpr std::int64_t ToneGridHz = 50;
constexpr std::int64_t MaxToneSpacingHz = 400;

/// Sum of all tones' amplitudes; with a burst on top (peak about 8000) the mix stays below full scale.
constexpr double TonesLsb = 16000.0;
constexpr double MaxToneLsb = 1000.0;

constexpr TestSupport::Band BurstBand = {11000.0, 17000.0};
constexpr double BurstRmsLsb = 2000.0;

/// A burst and two frames of silence between it and the next session's: room for a session that is out of
/// time.
constexpr std::int64_t SlotFrames = 3;
/// A second.
constexpr std::int64_t MinPeriodFrames = 50;

constexpr std::uint32_t FirstSeed = 1000;
constexpr double MicrophoneLsb = 8000.0;

Listening::Samples MakeBurst(std::size_t session) {
    Listening::Samples burst = TestSupport::MakeNoise(FirstSeed + static_cast<std::uint32_t>(session),
                                                      static_cast<std::size_t>(FrameSamples), BurstBand);
    for (std::int16_t& sample : burst) {
        sample = static_cast<std::int16_t>(std::lround(sample * BurstRmsLsb / TestSupport::NoiseRmsLsb));
    }
    return burst;
}

} // namespace

SoundPlan::SoundPlan(std::size_t sessions) {
    if (sessions == 0 || sessions > MaxSessions) {
        throw std::invalid_argument("the number of sessions must be from 1 to " +
                                    std::to_string(MaxSessions));
    }
    auto const count = static_cast<std::int64_t>(sessions);
    toneSpacingHz_ = std::min(MaxToneSpacingHz, ToneBandHz / count / ToneGridHz * ToneGridHz);
    toneLsb_ = std::min(MaxToneLsb, TonesLsb / static_cast<double>(count));
    periodFrames_ = std::max(MinPeriodFrames, SlotFrames * count);
    sine_.resize(static_cast<std::size_t>(TableSamples));
    for (std::size_t i = 0; i < sine_.size(); ++i) {
        sine_[i] = static_cast<float>(toneLsb_ * std::sin(2.0 * Listening::Pi * static_cast<double>(i) /
                                                          static_cast<double>(TableSamples)));
    }
    for (std::size_t session = 0; session < sessions; ++session) {
        bursts_.push_back(MakeBurst(session));
    }
}

std::int64_t SoundPlan::GetToneStep(std::size_t session) const {
    return LowestTonePeriods + static_cast<std::int64_t>(session) * toneSpacingHz_ * TableSeconds;
}

double SoundPlan::GetToneHz(std::size_t session) const {
    return static_cast<double>(GetToneStep(session)) / static_cast<double>(TableSeconds);
}

std::int64_t SoundPlan::GetBurstFrame(std::size_t session, std::int64_t index) const {
    return (index + 1) * periodFrames_ + static_cast<std::int64_t>(session) * SlotFrames;
}

std::int64_t SoundPlan::CountBursts(std::size_t session, std::int64_t frames) const {
    std::int64_t const afterFirst = frames - 1 - GetBurstFrame(session, 0);
    return afterFirst < 0 ? 0 : afterFirst / periodFrames_ + 1;
}

Listening::Samples SoundPlan::MakeFrame(std::size_t session, std::int64_t number) const {
    Listening::Samples frame(static_cast<std::size_t>(FrameSamples));
    std::int64_t const slot = static_cast<std::int64_t>(session) * SlotFrames;
    bool const isBurst = number >= periodFrames_ && number % periodFrames_ == slot;
    std::int64_t const step = GetToneStep(session);
    // The tables are short enough that no product comes near 64 bits.
    std::int64_t at = number * FrameSamples % TableSamples * step % TableSamples;
    for (std::size_t i = 0; i < frame.size(); ++i) {
        double const tone = static_cast<double>(sine_[static_cast<std::size_t>(at)]);
        frame[i] = static_cast<std::int16_t>(std::lround(tone) + (isBurst ? bursts_[session][i] : 0));
        at = (at + step) % TableSamples;
    }
    return frame;
}

std::int16_t MicrophoneSample(std::int64_t number) {
    auto const at = static_cast<double>(number % TableSamples * LowestTonePeriods % TableSamples);
    return static_cast<std::int16_t>(
        std::lround(MicrophoneLsb * std::sin(2.0 * Listening::Pi * at / static_cast<double>(TableSamples))));
}

} // namespace Soak
