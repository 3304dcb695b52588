#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "schedule.h"
#include "scheduler.h"

namespace Schedules {

/// What an exploration has seen.
struct Exploration {
    std::uint64_t runs = 0;
    /// The largest numbers of any run.
    std::uint32_t choices = 0;
    std::uint32_t steps = 0;
    /// One bit for each thread that took part in any.
    std::uint32_t threads = 0;
    /// Preemptions up to which all schedules were run; -1 for none.
    int completeBound = -1;
    /// The first finding and the schedule that leads to it; empty for none.
    std::string finding;
    Schedule schedule;

    void Add(Run const& run);
};

/// Runs a body on many schedules, one after the other; ends at the first finding.
///
/// **Threads:** one, not managed.
class Explorer {
public:
    using Body = std::function<void()>;

    explicit Explorer(Body body) : body_(std::move(body)) {}

    /// Every schedule with up to `maxPreemptions` preemptions, those with fewer first: no preemption, then
    /// every place for one, and so on. Each is run once. From the bound `limitedFrom` on a bound is left out,
    /// as one that is not complete, when it takes more than `runLimit` runs.
    Exploration RunAll(int maxPreemptions, int limitedFrom = INT32_MAX, std::uint64_t runLimit = UINT64_MAX);

    /// Every schedule of priorities with two changes among `steps` steps of the threads whose bits are set in
    /// `threads`; of these one in `oneOf`, spread evenly.
    ///
    /// A bug of depth 3 is found when the order of the threads and the two places of change are right (PCT:
    /// one run in n * k^2 by chance). All of them are run: with `oneOf` 1 none is left to chance.
    Exploration RunPriorities(std::uint32_t threads, std::uint32_t steps, std::uint64_t oneOf = 1);

private:
    Run RunOne(Schedule const& schedule, Exploration& exploration);

    Body const body_;
};

} // namespace Schedules
