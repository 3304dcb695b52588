// For every processor: what the C++ library offers.

#include <algorithm>
#include <cstring>

#include "primitives/varianttable.h"

namespace Media::Primitives {

namespace {

void ZeroBytes(std::uint8_t* destination, std::size_t lengthBytes, std::size_t /*largestCacheBytes*/) {
    std::memset(destination, 0, lengthBytes);
}

void CopyBytes(std::uint8_t const* source, std::uint8_t* destination, std::size_t lengthBytes,
               std::size_t /*largestCacheBytes*/) {
    std::memcpy(destination, source, lengthBytes);
}

void MinMaxS16(std::int16_t const* source, std::size_t lengthSamples, std::int16_t* minimum,
               std::int16_t* maximum) {
    auto const [smallest, largest] = std::minmax_element(source, source + lengthSamples);
    *minimum = *smallest;
    *maximum = *largest;
}

} // namespace

Variant const BaselineVariant{ZeroBytes, CopyBytes, MinMaxS16};

} // namespace Media::Primitives
