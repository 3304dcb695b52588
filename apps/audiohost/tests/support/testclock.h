#pragma once

#include <atomic>
#include <cstdint>

#include "kovra/time.h"

namespace AudioHost {

/// The process's time for as long as it lives: stands still unless it is moved.
class TestClock : public Kovra::ClockSource {
public:
    TestClock() { Kovra::SetClockSource(this); }
    ~TestClock() override { Kovra::SetClockSource(nullptr); }
    TestClock(TestClock const&) = delete;
    TestClock& operator=(TestClock const&) = delete;

    std::int64_t SystemNanoSec() const override { return nanoSec; }
    std::int64_t MonotonicNanoSec() const override { return nanoSec; }

    std::atomic<std::int64_t> nanoSec{1'000'000'000'000};
};

} // namespace AudioHost
