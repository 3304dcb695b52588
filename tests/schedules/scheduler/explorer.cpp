#include "explorer.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace Schedules {

namespace {

/// Schedules that are still to be run, by their number of preemptions.
using Pending = std::vector<std::vector<std::vector<Schedule::Decision>>>;

/// Adds each schedule that does as `run` did up to a choice behind the last decision, and there otherwise.
void AddDeviations(std::vector<Schedule::Decision> const& decisions, Run const& run, std::size_t preemptions,
                   Pending& pending) {
    auto const first = decisions.empty() ? 0U : decisions.back().choice + 1U;
    for (auto at = first; at < run.choices.size(); ++at) {
        Choice const& choice = run.choices[at];
        std::size_t const cost = preemptions + (choice.isFree ? 0U : 1U);
        for (ThreadId thread = 0; cost < pending.size() && thread < MaxThreads; ++thread) {
            if (thread != choice.chosen && (choice.ready >> thread & 1U) != 0) {
                auto deviation = decisions;
                deviation.push_back({at, thread});
                pending[cost].push_back(std::move(deviation));
            }
        }
    }
}

} // namespace

void Exploration::Add(Run const& run) {
    ++runs;
    choices = std::max(choices, static_cast<std::uint32_t>(run.choices.size()));
    steps = std::max(steps, run.steps);
    threads |= run.threads;
}

Run Explorer::RunOne(Schedule const& schedule, Exploration& exploration) {
    Run run = Scheduler::Get().Execute(schedule, body_);
    exploration.Add(run);
    if (!run.finding.empty()) {
        exploration.finding = run.finding;
        exploration.schedule = schedule;
    }
    return run;
}

Exploration Explorer::RunAll(int maxPreemptions, int limitedFrom, std::uint64_t runLimit) {
    Exploration exploration;
    Pending pending(static_cast<std::size_t>(maxPreemptions) + 1);
    pending[0].emplace_back();
    for (int bound = 0; bound <= maxPreemptions; ++bound) {
        auto& todo = pending[static_cast<std::size_t>(bound)];
        std::uint64_t const before = exploration.runs;
        while (!todo.empty()) {
            if (bound >= limitedFrom && exploration.runs - before + todo.size() > runLimit) {
                return exploration;
            }
            Schedule schedule;
            schedule.decisions = std::move(todo.back());
            todo.pop_back();
            Run const run = RunOne(schedule, exploration);
            if (!exploration.finding.empty()) {
                return exploration;
            }
            AddDeviations(schedule.decisions, run, static_cast<std::size_t>(bound), pending);
        }
        todo.shrink_to_fit();
        exploration.completeBound = bound;
    }
    return exploration;
}

Exploration Explorer::RunPriorities(std::uint32_t threads, std::uint32_t steps, std::uint64_t oneOf) {
    Exploration exploration;
    Schedule schedule;
    for (ThreadId thread = 0; thread < MaxThreads; ++thread) {
        if ((threads >> thread & 1U) != 0) {
            schedule.order.push_back(thread);
        }
    }
    std::uint64_t number = 0;
    do {
        for (std::uint32_t first = 1; first < steps; ++first) {
            for (std::uint32_t second = first + 1; second <= steps; ++second) {
                // Spread over all places, not on a lattice of them.
                std::uint64_t const mixed = number++ * 0x9E3779B97F4A7C15U >> 20U;
                if (mixed % oneOf != 0) {
                    continue;
                }
                schedule.changes = {first, second};
                RunOne(schedule, exploration);
                if (!exploration.finding.empty()) {
                    return exploration;
                }
            }
        }
    } while (std::next_permutation(schedule.order.begin(), schedule.order.end()));
    return exploration;
}

} // namespace Schedules
