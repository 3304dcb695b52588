#include "simulation/manualclock.h"

#include "simulation/win32/fatal.h"

namespace Simulation {

ManualClock::ManualClock() {
    Kovra::SetClockSource(this);
}

ManualClock::~ManualClock() {
    Kovra::SetClockSource(nullptr);
}

void ManualClock::Advance(std::int64_t nanoSec) {
    if (nanoSec < 0) {
        Fatal("the monotonic clock never runs backwards");
    }
    std::int64_t const targetNanoSec = NowNanoSec() + nanoSec;
    if (driver_ == nullptr || targetNanoSec < quietUntil_.load(std::memory_order_acquire)) {
        MoveTo(targetNanoSec);
    } else {
        driver_->RunUntil(targetNanoSec);
    }
}

} // namespace Simulation
