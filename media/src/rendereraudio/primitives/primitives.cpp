#include "primitives/primitives.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "primitives/processor.h"
#include "primitives/varianttable.h"

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

constexpr std::array<Variant const*, VariantCount> Variants = {
    &BaselineVariant, &BaselineVariant, &Ssse3Variant, &Ssse3Variant, &Sse41Variant, &AvxVariant,
};

/// What the processor decides, once, while the module is loaded. Before that, all of it is zero, which means
/// the baseline.
struct Choice {
    std::uint32_t index;
    std::size_t largestCacheBytes;
};

Choice Choose() {
    ThisProcessor const processor;
    // Its warnings are for those who tune the variants; the module goes on with the index.
    Selection const selection = SelectVariant(ReadFeatureMask(processor), ReadVendor(processor));
    return {selection.index, ReadLargestCacheBytes(processor)};
}

Choice const choice = Choose();

Variant const& ChosenVariant() {
    return *Variants[choice.index];
}

} // namespace

std::array<Variant const*, VariantCount> const& GetVariants() {
    return Variants;
}

std::uint32_t GetVariantIndex() {
    return choice.index;
}

int ZeroBytes(void* destination, std::int32_t lengthBytes) {
    if (destination == nullptr) {
        return NullPointer;
    }
    if (lengthBytes < 1) {
        return LengthBelowOne;
    }
    ChosenVariant().zeroBytes(static_cast<std::uint8_t*>(destination), static_cast<std::size_t>(lengthBytes),
                              choice.largestCacheBytes);
    return Success;
}

int CopyBytes(void const* source, void* destination, std::int32_t lengthBytes) {
    if (source == nullptr || destination == nullptr) {
        return NullPointer;
    }
    if (lengthBytes < 1) {
        return LengthBelowOne;
    }
    ChosenVariant().copyBytes(static_cast<std::uint8_t const*>(source),
                              static_cast<std::uint8_t*>(destination), static_cast<std::size_t>(lengthBytes),
                              choice.largestCacheBytes);
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
    ChosenVariant().minMaxS16(source, static_cast<std::size_t>(lengthSamples), minimum, maximum);
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
