#pragma once

#include <functional>
#include <thread>
#include <vector>

#include "scheduler.h"

namespace Schedules {

/// For the body: runs all of `works` at the same time, on threads of their own, beside those that are ready
/// already; points count until all of these have ended or are blocked. Then joins them.
inline void RunTogether(std::vector<std::function<void()>> const& works) {
    std::vector<std::thread> threads;
    for (auto const& work : works) {
        threads.emplace_back(work);
    }
    Scheduler::Get().Explore(true);
    Scheduler::Get().Settle();
    Scheduler::Get().Explore(false);
    for (auto& thread : threads) {
        thread.join();
    }
}

/// For the body: `isTrue` must be true in every schedule.
inline void Expect(bool isTrue, char const* what) {
    if (!isTrue) {
        Scheduler::Get().Report(std::string("expected: ") + what);
    }
}

} // namespace Schedules
