// The scheduler on programs of a few lines, whose mistakes and numbers of schedules are known.

#include <gtest/gtest.h>
#include <sanitizer/asan_interface.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "explorer.h"
#include "together.h"

namespace Schedules {
namespace {

using Work = std::function<void()>;

/// A place at which the thread may be preempted.
void Point() {
    Scheduler::Get().Point();
}

/// `threads` threads that pass `points` points each and do nothing.
Work Idlers(std::size_t threads, int points) {
    return [=] {
        RunTogether(std::vector<Work>(threads, [points] {
            for (int i = 0; i < points; ++i) {
                Point();
            }
        }));
    };
}

std::uint64_t CountRuns(Work const& toy, int preemptions) {
    return Explorer(toy).RunAll(preemptions).runs;
}

/// So many preemptions, and no fewer, lead to the toy's mistake; its schedule leads there again.
void ExpectFoundWith(int preemptions, char const* finding, Work const& toy) {
    if (preemptions > 0) {
        EXPECT_EQ(Explorer(toy).RunAll(preemptions - 1).finding, "");
    }
    Exploration const found = Explorer(toy).RunAll(preemptions);
    EXPECT_EQ(found.finding.substr(0, std::string(finding).size()), finding);
    auto const replayed = Scheduler::Get().Execute(Schedule::Parse(found.schedule.ToText()), toy);
    EXPECT_EQ(replayed.finding, found.finding);
}

// --- what is run

TEST(Explorer_RunAll, TwoThreadsOfOnePointWithoutAPreemptionRunInBothOrders) {
    // The first choice, which of the two begins, is free: the body has made them and waits.
    EXPECT_EQ(CountRuns(Idlers(2, 1), 0), 2U);
}

TEST(Explorer_RunAll, OnePreemptionIsTriedAtEveryPointButThoseOfTheLastThread) {
    // In each of the two orders the thread that begins can be preempted at each of its three points.
    EXPECT_EQ(CountRuns(Idlers(2, 3), 1), 2U + 2U * 3U);
}

TEST(Explorer_RunAll, TwoPreemptionsAreTriedAtEveryPairOfPoints) {
    // Back from the second thread at one of its three points, at a place of the first one's.
    EXPECT_EQ(CountRuns(Idlers(2, 3), 2), 2U + 2U * 3U + 2U * 3U * 3U);
}

TEST(Explorer_RunAll, AllPreemptionsGiveAllInterleavings) {
    // Each thread has four stretches, cut by three points: 8! / (4! 4!).
    EXPECT_EQ(CountRuns(Idlers(2, 3), 6), 70U);
    // Three of two stretches: 6! / (2! 2! 2!).
    EXPECT_EQ(CountRuns(Idlers(3, 1), 3), 90U);
}

TEST(Explorer_RunAll, ABoundBeyondTheLimitIsNotComplete) {
    auto const limited = Explorer(Idlers(2, 3)).RunAll(2, 2, 17);
    EXPECT_EQ(limited.completeBound, 1);
    EXPECT_EQ(Explorer(Idlers(2, 3)).RunAll(2, 2, 18).completeBound, 2);
}

TEST(Explorer_RunPriorities, EveryOrderMeetsEveryPairOfChanges) {
    EXPECT_EQ(Explorer(Idlers(2, 3)).RunPriorities(6, 6).runs, 2U * 15U);
}

TEST(Scheduler_Execute, TheSameScheduleTakesTheSameWay) {
    auto const toy = Idlers(3, 4);
    for (char const* const text : {"", "0:2 3:1", "order 2 1 3 changes 2 5", "order 3 1 2 changes 1 9"}) {
        auto const schedule = Schedule::Parse(text);
        EXPECT_EQ(schedule.ToText(), text);
        auto const first = Scheduler::Get().Execute(schedule, toy);
        auto const second = Scheduler::Get().Execute(schedule, toy);
        EXPECT_EQ(first.trace, second.trace);
        EXPECT_EQ(first.steps, 12U);
        EXPECT_EQ(first.threads, 14U);
    }
    auto const one = Scheduler::Get().Execute(Schedule::Parse("0:2"), toy);
    EXPECT_NE(one.trace, Scheduler::Get().Execute(Schedule::Parse("0:3"), toy).trace);
}

TEST(Scheduler_Execute, AScheduleOfAnotherProgramIsToldFromItsOwn) {
    auto const run = Scheduler::Get().Execute(Schedule::Parse("0:7"), Idlers(2, 1));
    EXPECT_EQ(run.finding.substr(0, 44), "the schedule names a thread that cannot go o");
}

// --- what is found

TEST(Explorer_Finding, ALostUpdateNeedsOnePreemption) {
    ExpectFoundWith(1, "expected: 2", [] {
        int count = 0;
        Work const add = [&count] {
            int const old = count;
            Point();
            count = old + 1;
        };
        RunTogether({add, add});
        Expect(count == 2, "2");
    });
}

/// A thread passes stages 1, 3, 5 of a count, the other one 2, 4, 6: each only when the one before was
/// passed.
Work Ladder(int rungs) {
    return [rungs] {
        int passed = 0;
        Work const odd = [&] {
            for (int rung = 1; rung <= rungs; rung += 2) {
                passed += passed == rung - 1 ? 1 : 0;
                Point();
            }
        };
        Work const even = [&] {
            for (int rung = 2; rung <= rungs; rung += 2) {
                passed += passed == rung - 1 ? 1 : 0;
                Point();
            }
        };
        RunTogether({odd, even});
        Expect(passed != rungs, "no climber");
    };
}

TEST(Explorer_Finding, AMistakeOfTwoPreemptionsIsFoundWithTwo) {
    ExpectFoundWith(2, "expected: no climber", Ladder(4));
}

TEST(Explorer_Finding, AMistakeOfThreePreemptionsIsFoundWithThree) {
    ExpectFoundWith(3, "expected: no climber", Ladder(5));
}

TEST(Explorer_Finding, PrioritiesFindAMistakeOfTwoPreemptions) {
    Exploration const found = Explorer(Ladder(4)).RunPriorities(6, 4);
    EXPECT_EQ(found.finding, "expected: no climber");
    auto const replayed = Scheduler::Get().Execute(Schedule::Parse(found.schedule.ToText()), Ladder(4));
    EXPECT_EQ(replayed.finding, "expected: no climber");
}

TEST(Explorer_Finding, TwoLocksTakenInBothOrdersStopBothThreads) {
    ExpectFoundWith(1, "no thread can go on", [] {
        auto* const first = new std::mutex;
        auto* const second = new std::mutex;
        RunTogether({[=] {
                         std::lock_guard<std::mutex> const outer(*first);
                         std::lock_guard<std::mutex> const inner(*second);
                     },
                     [=] {
                         std::lock_guard<std::mutex> const outer(*second);
                         std::lock_guard<std::mutex> const inner(*first);
                     }});
        delete first;
        delete second;
    });
}

TEST(Explorer_Finding, ASignalBeforeTheWaitIsLost) {
    struct Box {
        std::mutex lock;
        std::condition_variable filled;
        bool isFull = false;
    };
    ExpectFoundWith(1, "no thread can go on", [] {
        auto* const box = new Box;
        RunTogether({[box] {
                         // Looks, and waits without looking again.
                         bool const isEmpty = !box->isFull;
                         std::unique_lock<std::mutex> guard(box->lock);
                         if (isEmpty) {
                             box->filled.wait(guard);
                         }
                     },
                     [box] {
                         Point();
                         std::lock_guard<std::mutex> const guard(box->lock);
                         box->isFull = true;
                         box->filled.notify_one();
                     }});
        delete box;
    });
}

// --- what an exchange that fails does

/// As the compiler calls them for std::atomic; its numbers of the memory orders.
extern "C" std::uint32_t __tsan_atomic32_compare_exchange_val(std::uint32_t volatile*, std::uint32_t,
                                                              std::uint32_t, int, int);
extern "C" void __tsan_atomic32_store(std::uint32_t volatile*, std::uint32_t, int);
enum Order_t { Relaxed = 0, Acquire = 2, Release = 3, AcquireRelease = 4 };

/// What is found when the first thread has written a field and done `publish`, before the second one does
/// `look` and reads the field. Both use the same atomic, which is 0.
std::string FindingOf(std::function<void(std::uint32_t&)> const& publish,
                      std::function<void(std::uint32_t&)> const& look) {
    auto const run = Scheduler::Get().Execute({}, [&] {
        std::uint32_t atomic = 0;
        int field = 0;
        RunTogether({[&] {
                         Scheduler::Get().Write(&field, nullptr);
                         publish(atomic);
                     },
                     [&] {
                         look(atomic);
                         Scheduler::Get().Read(&field, nullptr);
                     }});
    });
    return run.finding.substr(0, 15);
}

auto Exchange(std::uint32_t expected, int order, int orderOfFailure) {
    return [=](std::uint32_t& atomic) {
        __tsan_atomic32_compare_exchange_val(&atomic, expected, 1, order, orderOfFailure);
    };
}

void StoreReleasing(std::uint32_t& atomic) {
    __tsan_atomic32_store(&atomic, 1, Release);
}

TEST(Scheduler_CompareExchange, OrdersWhatCameBeforeItOnlyWhenItSucceeds) {
    auto const look = Exchange(7, AcquireRelease, Acquire);
    EXPECT_EQ(FindingOf(Exchange(0, AcquireRelease, Relaxed), look), "");
    EXPECT_EQ(FindingOf(Exchange(7, AcquireRelease, Acquire), look), "nothing orders ");
}

TEST(Scheduler_CompareExchange, ThatFailsAcquiresByItsOwnOrderForThat) {
    EXPECT_EQ(FindingOf(StoreReleasing, Exchange(7, Relaxed, Acquire)), "");
    EXPECT_EQ(FindingOf(StoreReleasing, Exchange(7, Acquire, Relaxed)), "nothing orders ");
    EXPECT_EQ(FindingOf(StoreReleasing, Exchange(1, Acquire, Relaxed)), "");
}

TEST(Scheduler_CompareExchange, ThatFailsAgainAndAgainWaitsForAChange) {
    Work const toy = [] {
        std::uint32_t atomic = 0;
        Work const spin = [&atomic] {
            while (__tsan_atomic32_compare_exchange_val(&atomic, 1, 2, AcquireRelease, Acquire) != 1) {
            }
        };
        RunTogether({spin, [&atomic] { StoreReleasing(atomic); }});
        Expect(atomic == 2, "2");
    };
    EXPECT_EQ(Explorer(toy).RunAll(1).finding, "");
}

// --- memory that is used again

bool IsPoisoned(char const* memory, std::size_t bytes) {
    return __asan_region_is_poisoned(const_cast<char*>(memory), bytes) != nullptr;
}

TEST(BigBlocks_Allocation, WhatLiesBehindABlockAndWhatWasGivenBackMayNotBeUsed) {
    constexpr std::size_t RingBytes = 480000;
    auto block = std::make_unique<std::vector<char>>(RingBytes);
    char const* const memory = block->data();
    EXPECT_FALSE(IsPoisoned(memory, RingBytes));
    EXPECT_TRUE(IsPoisoned(memory + RingBytes, 1));
    block.reset();
    EXPECT_TRUE(IsPoisoned(memory, 1));
    // The next ones get others.
    for (int times = 0; times < 4; ++times) {
        std::vector<char> const next(RingBytes);
        EXPECT_TRUE(IsPoisoned(memory, 1));
    }
}

} // namespace
} // namespace Schedules
