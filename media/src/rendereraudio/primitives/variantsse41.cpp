// For processors with SSE4.1: 128-bit registers. Compiled for them alone.

#include "primitives/extremesbysearch.h"
#include "primitives/vectorkernels.h"
#include "primitives/wide128.h"

namespace Media::Primitives {

namespace {

struct Wide : Wide128<Wide>, ExtremesBySearch<Wide> {};

constexpr Variant Implementations = MakeVariant<Wide>();

} // namespace

Variant const Sse41Variant = Implementations;

} // namespace Media::Primitives
