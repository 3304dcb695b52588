#pragma once

#include <atomic>
#include <cstdint>

#include "kovra/time.h"
#include "simulation/shaker.h"
#include "support/facts.h"

namespace Simulation {

/// The clock of a test: both clocks of the base library stand still until the test moves them.
///
/// Within a `World` (which owns one: `world.Clock()`) an advance passes through every due event in order of
/// time: sound buffers' notification points and the ends of waits and sleeps. At each of them the threads
/// that it releases run, and time stands still until each of them waits again or has ended. At the same
/// instant notification points come before the ends of waits, and these in the order in which the waits
/// began. Where nothing is due an advance costs a few nanoseconds.
///
/// **Threads:** read from any thread; moved by one thread at a time.
/// **Units:** nanoseconds unless the name says milliseconds.
class ManualClock final : public Kovra::ClockSource {
public:
    /// Neither clock starts at zero, which code may take for "not set".
    static constexpr std::int64_t StartMonotonicNanoSec = 1'000'000'000'000;
    static constexpr std::int64_t StartSystemNanoSec = 1'700'000'000'000'000'000;

    /// Who acts when time comes to something due. The `World` is one.
    class Driver {
    public:
        /// Moves the clock to `targetNanoSec` with `MoveTo`, stopping at each due event.
        virtual void RunUntil(std::int64_t targetNanoSec) = 0;

    protected:
        ~Driver() = default;
    };

    /// Installs itself as the process-wide clock source.
    ManualClock();
    /// Brings the machine's own clocks back.
    ~ManualClock() override;
    ManualClock(ManualClock const&) = delete;
    ManualClock& operator=(ManualClock const&) = delete;

    /// Moves both clocks on. `nanoSec` is not negative. Zero lets released threads run and come to a wait.
    void Advance(std::int64_t nanoSec);
    void AdvanceMilliSec(std::int64_t milliSec) { Advance(milliSec * Facts::NanoSecPerMilliSec); }
    /// Moves both clocks on until the monotonic one shows `monotonicNanoSec`, which is not in the past.
    void AdvanceTo(std::int64_t monotonicNanoSec) { Advance(monotonicNanoSec - NowNanoSec()); }

    /// Sets the system clock on by `nanoSec`, back when negative, as a user does. The monotonic clock stays.
    void StepSystem(std::int64_t nanoSec) { systemOffset_.fetch_add(nanoSec); }

    std::int64_t SystemNanoSec() const override { return MonotonicNanoSec() + systemOffset_.load(); }
    std::int64_t MonotonicNanoSec() const override {
        if (shaker_ != nullptr) {
            shaker_->Shake();
        }
        return NowNanoSec();
    }
    /// Monotonic time passed since the clock was made.
    std::int64_t ElapsedNanoSec() const { return NowNanoSec() - StartMonotonicNanoSec; }

    /// For the platform: what the monotonic clock shows, read without shaking.
    std::int64_t NowNanoSec() const { return now_.load(std::memory_order_acquire); }
    /// For the driver: readings of the clock are shaken by it; null for none.
    void SetShaker(Shaker* shaker) { shaker_ = shaker; }
    /// For the driver: null ends its part.
    void SetDriver(Driver* driver) { driver_ = driver; }
    /// For the driver: the clock moves by itself while it stays before `nanoSec`.
    void SetQuietUntil(std::int64_t nanoSec) { quietUntil_.store(nanoSec, std::memory_order_release); }
    /// For the driver: moves both clocks, and nothing else.
    void MoveTo(std::int64_t nanoSec) { now_.store(nanoSec, std::memory_order_release); }

private:
    std::atomic<std::int64_t> now_{StartMonotonicNanoSec};
    std::atomic<std::int64_t> systemOffset_{StartSystemNanoSec - StartMonotonicNanoSec};
    std::atomic<std::int64_t> quietUntil_{INT64_MAX};
    Driver* driver_ = nullptr;
    Shaker* shaker_ = nullptr;
};

} // namespace Simulation
