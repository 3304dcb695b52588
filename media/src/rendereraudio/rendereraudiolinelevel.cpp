#include "rendereraudiolinelevel.h"

#include <cmath>
#include <cstdlib>

#include "primitives/primitives.h"

namespace Media {

namespace {

/// The largest sum of differences: from 0 to 255 in every block.
constexpr float FullScaleSum = 255.0F * RendererAudioLineLevel::RingLengthBlocks;

/// Lifts the level of quiet speech: half the peak-to-peak range shows as 0.63.
constexpr float LevelExponent = 21.0F / 32.0F;

/// The upper eight bits of a sample, moved from -128..127 to 0..255.
std::uint8_t ReduceTo8Bits(std::int16_t sample) {
    return static_cast<std::uint8_t>((sample - INT16_MIN) >> 8);
}

} // namespace

RendererAudioLineLevel::RendererAudioLineLevel() {
    Primitives::ZeroBytes(levelStore_->GetData(), static_cast<std::int32_t>(levelStore_->GetSize()));
}

void RendererAudioLineLevel::MeterBlock(std::int16_t const* samples, std::uint32_t count) {
    std::int16_t minimum = 0;
    std::int16_t maximum = 0;
    Primitives::MinMaxS16(samples, static_cast<std::int32_t>(count), &minimum, &maximum);
    minRing_[ringIndex_] = ReduceTo8Bits(minimum);
    maxRing_[ringIndex_] = ReduceTo8Bits(maximum);
    levelStale_ = true;
    ringIndex_ = static_cast<std::uint8_t>((ringIndex_ + 1U) % RingLengthBlocks);
}

float RendererAudioLineLevel::GetLevel() {
    if (levelStale_) {
        int sum = 0;
        for (std::size_t i = 0; i < RingLengthBlocks; ++i) {
            sum += std::abs(maxRing_[i] - minRing_[i]);
        }
        level_ = std::pow(static_cast<float>(sum) / FullScaleSum, LevelExponent);
        levelStale_ = false;
    }
    return level_;
}

} // namespace Media
