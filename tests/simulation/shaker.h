#pragma once

#include <atomic>
#include <cstdint>

namespace Simulation {

/// Lets threads meet at random: while it is on, each thread that comes to a shaken place goes on, yields, or
/// naps for some microseconds, by a generator of its own. The platform shakes before and behind each of its
/// calls and at each reading of the clock, never while it holds its own mutex. Off at first.
///
///     world.Shaking().Start(seed);
///
/// A seed does not repeat a run: the machine has its say in which thread runs. Different seeds shake
/// differently.
///
/// **Threads:** all operations from any thread. No two threads are ordered by it, so that a thread sanitizer
/// sees what it would see without.
class Shaker {
public:
    Shaker() = default;
    Shaker(Shaker const&) = delete;
    Shaker& operator=(Shaker const&) = delete;

    /// `seed` is not 0.
    void Start(std::uint64_t seed);
    void Stop() { seed_.store(0, std::memory_order_relaxed); }

    /// A shaken place. Costs nothing to speak of while it is off.
    void Shake() {
        if (seed_.load(std::memory_order_relaxed) != 0) {
            ShakeNow();
        }
    }

    /// Yields and naps so far.
    std::uint64_t GetCount() const { return count_.load(std::memory_order_relaxed); }

private:
    void ShakeNow();

    /// 0 while off.
    std::atomic<std::uint64_t> seed_{0};
    /// Threads that have come by since the start.
    std::atomic<std::uint64_t> threads_{0};
    std::atomic<std::uint64_t> count_{0};
};

/// Shakes where it begins and where it ends.
class Shaken {
public:
    explicit Shaken(Shaker& shaker) : shaker_(shaker) { shaker_.Shake(); }
    ~Shaken() { shaker_.Shake(); }
    Shaken(Shaken const&) = delete;
    Shaken& operator=(Shaken const&) = delete;

private:
    Shaker& shaker_;
};

} // namespace Simulation
