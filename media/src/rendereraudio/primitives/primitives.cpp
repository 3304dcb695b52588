#include "primitives/primitives.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace Media::Primitives {

namespace {

/// A processing state as it lies in memory.
struct ProcessingState {
    float head[9] = {1623.49121F, 32767.0F,       4.12524605F, 65.38F, 3.80188990F,
                     0.02F,       0.00333329989F, 200.0F,      0.01F};
    std::int16_t counters[4] = {200, 0, 0, 0};
    float table[17] = {0.0F, 0.0F, 0.0F, 0.0F,     65.38F, 65.38F, 32767.0F, 0.0F, 0.0F,
                       0.1F, 0.0F, 0.7F, 0.03125F, 0.0F,   0.0F,   1.0F,     0.0F};
    /// Working copies of table entries 9, 13 and 10, counted from 1.
    float working[3] = {0.0F, 0.03125F, 0.1F};
};
static_assert(sizeof(ProcessingState) == ProcessingStateSizeBytes);

} // namespace

int ZeroBytes(void* destination, std::int32_t lengthBytes) {
    if (destination == nullptr) {
        return NullPointer;
    }
    if (lengthBytes < 1) {
        return LengthBelowOne;
    }
    std::memset(destination, 0, static_cast<std::size_t>(lengthBytes));
    return Success;
}

int CopyBytes(void const* source, void* destination, std::int32_t lengthBytes) {
    if (source == nullptr || destination == nullptr) {
        return NullPointer;
    }
    if (lengthBytes < 1) {
        return LengthBelowOne;
    }
    std::memcpy(destination, source, static_cast<std::size_t>(lengthBytes));
    return Success;
}

int MinMaxS16(std::int16_t const* source, std::int32_t lengthSamples, std::int16_t* minimum,
              std::int16_t* maximum) {
    if (source == nullptr || minimum == nullptr || maximum == nullptr) {
        return NullPointer;
    }
    if (lengthSamples < 1) {
        return LengthBelowOne;
    }
    auto const [smallest, largest] = std::minmax_element(source, source + lengthSamples);
    *minimum = *smallest;
    *maximum = *largest;
    return Success;
}

int GetProcessingStateSize(std::int32_t* sizeBytes) {
    if (sizeBytes == nullptr) {
        return NullPointer;
    }
    *sizeBytes = ProcessingStateSizeBytes;
    return Success;
}

int InitProcessingState(void* state) {
    if (state == nullptr) {
        return NullPointer;
    }
    ProcessingState const initial;
    std::memcpy(state, &initial, sizeof(initial));
    return Success;
}

} // namespace Media::Primitives
