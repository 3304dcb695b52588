#pragma once

#include <cstdint>
#include <string>

#include "simulation/win32/dsoundheaders.h"

namespace Simulation {

/// What the buffers of a device ask of the machine around them.
///
/// **Threads:** the platform's mutex is held in every operation.
class Machine {
public:
    virtual std::int64_t NowNanoSec() const = 0;
    /// A buffer's next event has changed.
    virtual void Reschedule() = 0;
    virtual void ReportMisuse(std::string const& text) = 0;
    /// True when `event` may stand in a notification point.
    virtual bool MayBeNotified(HANDLE event) = 0;
    /// Signals `event`; false when it is closed.
    virtual bool Notify(HANDLE event) = 0;

protected:
    ~Machine() = default;
};

} // namespace Simulation
