#pragma once

#include <cstdint>

#include "support/facts.h"

namespace ClosedLoop {

/// How much the suite does. Set by the program before the tests are registered, then only read.
struct Extent {
    /// `--all-cases`: every combination of conditions instead of one of eight.
    bool hasAllCases = false;
    /// Virtual time that a case lasts once it is settled; with `--long` twelve hours.
    std::int64_t settledNanoSec = SettledNanoSec;
    /// Random starts, and random sessions that end.
    std::int64_t starts = Starts;
    std::int64_t silences = Silences;

    static Extent& Get();

    /// `--long`.
    void MakeLong() { settledNanoSec = LongSettledNanoSec; }

private:
    static constexpr std::int64_t LongSettledNanoSec = 12 * Facts::NanoSecPerHour;

    // Sanitizers and unoptimised code are slow: minutes show the same faults of memory and threads, and
    // the optimised build shows those of time.
#ifdef LOOP_IS_SLOW
    static constexpr std::int64_t SettledNanoSec = 600'000'000'000;
    static constexpr std::int64_t Starts = 5'000;
    static constexpr std::int64_t Silences = 10;
#else
    static constexpr std::int64_t SettledNanoSec = 3 * Facts::NanoSecPerHour;
    static constexpr std::int64_t Starts = 120'000;
    static constexpr std::int64_t Silences = 500;
#endif
};

} // namespace ClosedLoop
