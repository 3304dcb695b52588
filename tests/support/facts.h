#pragma once

#include <cstdint>

/// The fixed numbers of the module's documented behaviour, stated once for all tests and independently of the
/// module: a constant of the module that is changed by mistake does not change them.
namespace Facts {

constexpr std::int64_t NanoSecPerMilliSec = 1'000'000;
constexpr std::int64_t NanoSecPerSec = 1'000'000'000;
constexpr std::int64_t NanoSecPerHour = 3'600 * NanoSecPerSec;

constexpr std::uint32_t FrequencyHz = 48000;
/// 1'000'000'000 / 48000 = 20833.33, truncated.
constexpr std::int64_t SampleNanoSec = 20833;

/// Five seconds of mono: the ring of a playback session, and that of the microphone.
constexpr std::uint32_t RingSamples = 240000;
constexpr std::uint32_t RingBytes = 480000;
constexpr std::int64_t RingNanoSec = 5 * NanoSecPerSec;

/// A block of the microphone, the period of the threads that read it, and a usual frame.
constexpr std::int64_t FrameMilliSec = 20;
constexpr std::int64_t FrameNanoSec = 20 * NanoSecPerMilliSec;
constexpr std::uint32_t FrameSamples = 960;
constexpr std::uint32_t FrameBytes = 1920;

} // namespace Facts
