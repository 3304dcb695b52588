#include "simulation/shaker.h"

#include <chrono>
#include <thread>
#include <type_traits>

#include "simulation/win32/fatal.h"

namespace Simulation {

namespace {

/// Of this many shaken places one yields, and one naps. Both together leave most places alone, so that
/// threads also run into each other at full speed.
constexpr std::uint64_t YieldOneOf = 4;
constexpr std::uint64_t NapOneOf = 32;
/// A nap is shorter than this. Nothing waits for its end or relies on its length: it only lets other threads
/// of the machine go first, which no simulated clock can.
constexpr std::uint64_t NapLimitMicroSec = 20;

/// Splitmix64: every state, also a small one, gives numbers that look random.
std::uint64_t NextRandom(std::uint64_t& state) {
    state += 0x9E3779B97F4A7C15U;
    std::uint64_t value = state;
    value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31U);
}

struct ThreadState {
    /// What the thread was seeded for; 0 for nothing yet.
    std::uint64_t seed = 0;
    std::uint64_t random = 0;
};

thread_local ThreadState threadState;
static_assert(std::is_trivially_destructible_v<decltype(threadState)>);

} // namespace

void Shaker::Start(std::uint64_t seed) {
    if (seed == 0) {
        Fatal("a shaker's seed is not 0");
    }
    threads_.store(0, std::memory_order_relaxed);
    seed_.store(seed, std::memory_order_relaxed);
}

void Shaker::ShakeNow() {
    std::uint64_t const seed = seed_.load(std::memory_order_relaxed);
    if (threadState.seed != seed) {
        threadState.seed = seed;
        threadState.random = seed + (threads_.fetch_add(1, std::memory_order_relaxed) << 32U);
    }
    std::uint64_t const random = NextRandom(threadState.random);
    if (random % NapOneOf == 0) {
        count_.fetch_add(1, std::memory_order_relaxed);
        std::this_thread::sleep_for(std::chrono::microseconds((random >> 32U) % NapLimitMicroSec));
    } else if (random % YieldOneOf == 0) {
        count_.fetch_add(1, std::memory_order_relaxed);
        std::this_thread::yield();
    }
}

} // namespace Simulation
