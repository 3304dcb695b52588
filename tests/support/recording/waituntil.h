#pragma once

#include <chrono>
#include <cstdint>
#include <thread>

#include "kovra/time.h"

namespace TestSupport {

/// Sleeps until `instant`; not at all when it has passed. Any thread. What is played to a real sound output
/// is paced by the machine's own clock: no simulated one could be heard.
inline void WaitUntil(Kovra::JiffyTime instant) {
    std::int64_t const ahead = instant.GetDiffSysTime(Kovra::JiffyTime::Now()).NanoSec();
    if (ahead > 0) {
        std::this_thread::sleep_for(std::chrono::nanoseconds(ahead));
    }
}

} // namespace TestSupport
