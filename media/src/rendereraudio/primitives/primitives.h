#pragma once

#include <cstdint>

namespace Media {

/// Byte and sample primitives: each checks its pointers (-8 for a null one), then its length (-6 below 1),
/// and writes nothing when a check fails; else it does its work and returns 0.
///
/// **Threads:** all may run on any thread at once. None allocates or locks.
namespace Primitives {

constexpr int Success = 0;
constexpr int LengthBelowOne = -6;
constexpr int NullPointer = -8;

/// Length of a processing state.
constexpr std::int32_t ProcessingStateSizeBytes = 124;

/// Sets `lengthBytes` bytes at `destination` to 0.
int ZeroBytes(void* destination, std::int32_t lengthBytes);

/// Copies `lengthBytes` bytes. The regions must not overlap.
int CopyBytes(void const* source, void* destination, std::int32_t lengthBytes);

/// Stores the smallest and the largest of `lengthSamples` signed 16-bit samples.
int MinMaxS16(std::int16_t const* source, std::int32_t lengthSamples, std::int16_t* minimum,
              std::int16_t* maximum);

/// Stores the size of a processing state.
int GetProcessingStateSize(std::int32_t* sizeBytes);

/// Fills a processing state of `ProcessingStateSizeBytes` bytes with its initial values.
int InitProcessingState(void* state);

} // namespace Primitives
} // namespace Media
