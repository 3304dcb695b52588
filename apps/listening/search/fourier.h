#pragma once

#include <complex>
#include <cstddef>
#include <vector>

namespace Listening {

using ComplexSamples = std::vector<std::complex<float>>;

/// Beyond this the library computes term by term, which takes minutes where this takes milliseconds.
constexpr std::size_t MaxTransformSize = 131072;

/// The least power of two that is not below `count`.
std::size_t TransformSizeFor(std::size_t count);

/// The Fourier transform of `input`, whose size is a power of two up to `MaxTransformSize`; not divided by
/// the size in either direction. From any thread. Throws `std::runtime_error` when the library cannot do it.
ComplexSamples Transform(ComplexSamples& input, bool isInverse);

} // namespace Listening
