#pragma once

#include <cstdint>

#include "harbour/export.h"

// What the simulated machine of the tests asks of a base library. The renderer's sources do not see it.
namespace Kovra {

class HARBOUR_API ClockSource {
public:
    virtual ~ClockSource() = default;
    virtual std::int64_t SystemNanoSec() const = 0;
    virtual std::int64_t MonotonicNanoSec() const = 0;
};

HARBOUR_API void SetClockSource(ClockSource const* source);
HARBOUR_API char const* GetThreadName();

} // namespace Kovra
