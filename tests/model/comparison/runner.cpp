#include "model/comparison/runner.h"

#include <algorithm>
#include <utility>

#include "model/comparison/capturepair.h"
#include "model/comparison/moduletrace.h"
#include "model/comparison/playbackpair.h"
#include "simulation/world.h"

namespace ModelTest {

namespace {

using Simulation::World;

/// The whole ring and the log records are compared every so many steps, and at the end.
constexpr std::size_t StepsPerFullCompare = 128;

/// Module and model, in step.
class Pair {
public:
    Pair(World& world, Rules const& rules)
        : world_(world),
          moduleTrace_(world),
          playback_(world, rules, trace_, moduleTrace_, difference_),
          capture_(world, rules, trace_, difference_) {}

    /// One step on both sides; false when they differ.
    bool Do(Step const& step) {
        Observe();
        trace_.BeginStep(moduleTrace_.Plan(step.faults));
        std::visit([this](auto const& action) { Act(action); }, step.action);
        if (!step.faults.empty()) {
            world_.Faults().Clear();
        }
        moduleTrace_.Compare(trace_, difference_);
        playback_.Compare();
        capture_.Compare();
        if (++steps_ % StepsPerFullCompare == 0) {
            playback_.CompareWholeRing();
            moduleTrace_.CompareLogs(difference_);
        }
        return difference_.IsNone();
    }

    /// The end of everything on both sides.
    bool End() {
        Observe();
        trace_.BeginStep({});
        capture_.End();
        playback_.End();
        moduleTrace_.Compare(trace_, difference_);
        moduleTrace_.CompareLogs(difference_);
        return difference_.IsNone();
    }

    std::string const& GetDifference() const { return difference_.Text(); }

private:
    void Observe() {
        playback_.Observe();
        capture_.Observe();
        moduleTrace_.Clear();
    }

    template <class Kind>
    auto Act(Kind const& action) -> decltype(std::declval<PlaybackPair&>().Do(action)) {
        playback_.Do(action);
    }
    template <class Kind>
    auto Act(Kind const& action) -> decltype(std::declval<CapturePair&>().Do(action)) {
        capture_.Do(action);
    }
    void Act(Advance const& action) {
        constexpr std::int64_t MaxIdleAdvanceNanoSec = INT64_MAX / 1024;
        bool const isBusy = playback_.IsPlaying() || capture_.HasSoundBuffer();
        world_.Clock().Advance(std::clamp<std::int64_t>(
            action.nanoSec, 0, isBusy ? MaxBusyAdvanceNanoSec : MaxIdleAdvanceNanoSec));
    }
    void Act(StepSystemClock const& action) {
        constexpr std::int64_t LongestNanoSec = 1'000'000'000'000'000;
        world_.Clock().StepSystem(std::clamp(action.nanoSec, -LongestNanoSec, LongestNanoSec));
    }

    World& world_;
    Difference difference_;
    Trace trace_;
    ModuleTrace moduleTrace_;
    PlaybackPair playback_;
    CapturePair capture_;
    std::size_t steps_ = 0;
};

} // namespace

Outcome RunInStep(Scenario const& scenario, Rules const& rules) {
    Outcome outcome;
    std::string complaint;
    {
        World world([&complaint](std::string const& text) { complaint += text + "; "; });
        Pair pair(world, rules);
        bool isAlike = true;
        while (isAlike && outcome.step < scenario.size()) {
            isAlike = pair.Do(scenario[outcome.step]) && complaint.empty();
            outcome.step += isAlike ? 1 : 0;
        }
        if (isAlike) {
            isAlike = pair.End();
        }
        outcome.difference = pair.GetDifference();
    }
    if (!complaint.empty()) {
        outcome.difference += "; the simulation complains: " + complaint;
    }
    outcome.isAlike = outcome.difference.empty();
    return outcome;
}

} // namespace ModelTest
