#pragma once

#include <cmath>
#include <cstdint>

namespace Media {

/// The client's linear volume and balance in DirectSound's units, hundredths of a decibel.
namespace Levels {

/// DirectSound's silence, and the far left of its pan.
constexpr std::int32_t SilenceHundredthDb = -10000;
/// From silence to full level, and from far left to far right.
constexpr double VolumeSpanHundredthDb = -10000.0;
constexpr double PanSpanHundredthDb = -20000.0;

/// Bends the volume so that half of it is heard at about -21 dB instead of -50 dB.
constexpr float VolumeExponent = 0.34375F;

/// `value` clamped to [0, 1]. What is no number counts as 0, the lower bound.
/// Wanted: such a volume is silence, such a balance far left (docs/kept-behaviour.md).
constexpr double ClampToUnit(double value) {
    if (value > 0.0) {
        return value < 1.0 ? value : 1.0;
    }
    return 0.0;
}

/// Pan for a balance of 0.0 (left, -10000) over 0.5 (centre, 0) to 1.0 (right, 10000).
constexpr std::int32_t PanForBalance(float balance) {
    return SilenceHundredthDb - static_cast<std::int32_t>(ClampToUnit(balance) * PanSpanHundredthDb);
}
static_assert(PanForBalance(0.0F) == -10000 && PanForBalance(0.5F) == 0 && PanForBalance(1.0F) == 10000);

/// Attenuation for a volume of 0.0 (silent, -10000) to 1.0 (full, 0). The power is taken in single
/// precision, the mapping in double.
inline std::int32_t AttenuationForVolume(float volume) {
    double const gain = std::pow(volume, VolumeExponent);
    return SilenceHundredthDb - static_cast<std::int32_t>(ClampToUnit(gain) * VolumeSpanHundredthDb);
}

} // namespace Levels
} // namespace Media
