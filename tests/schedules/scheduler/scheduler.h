#pragma once

#include <semaphore.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "accesses.h"
#include "order.h"
#include "schedule.h"

namespace Schedules {

/// A point at which several threads could go on.
struct Choice {
    ThreadId chosen;
    /// One bit a thread.
    std::uint32_t ready;
    /// The running thread could not go on: choosing another one is no preemption.
    bool isFree;
};

/// What one run was like.
struct Run {
    std::vector<Choice> choices;
    /// Points passed while exploring, one bit for each thread that came to one.
    std::uint32_t steps = 0;
    std::uint32_t threads = 0;
    /// Tells two runs apart that took different ways.
    std::uint64_t trace = 0;
    /// The first thing found wrong; empty for nothing.
    std::string finding;
};

/// Runs real threads, exactly one at a time: what a thread does between two points is one step, and a
/// `Schedule` says at each point which thread takes the next. Points stand before every operation with which
/// threads of the module reach each other: locking, atomics, calls into the platform. The operations
/// themselves come here from compilercalls.cpp and threadcalls.cpp, which stand in the places of the thread
/// sanitizer's runtime and of the system's thread functions.
///
/// Memory is seen in one order by all threads: weak memory orders are ThreadSanitizer's business. But an
/// order that the code did not ask for is not taken for one: see `Accesses`.
///
/// **Threads:** `Execute` from any one that is not managed; everything else by the managed thread that runs.
class Scheduler {
public:
    static Scheduler& Get();

    /// Runs `body` as thread 0 and returns when all threads made by it have ended, or none can go on any
    /// more. Those are left where they are, for ever.
    Run Execute(Schedule const& schedule, std::function<void()> const& body);

    /// Of the run that is going on, or was last.
    Schedule const& GetSchedule() const { return schedule_; }

    // --- for the body

    /// From here on points count and the schedule chooses; before, and after `false`, threads run until they
    /// block.
    void Explore(bool isExploring) { isExploring_ = isExploring; }
    /// Lets all others run until each is blocked or has ended.
    void Settle();
    /// Something is wrong; the first such thing is kept.
    void Report(std::string const& finding);

    // --- for the operations

    /// True on a thread that is scheduled here.
    static bool IsManaged();
    /// The running thread is about to do something that others can tell.
    void Point();
    /// Points are left out until `false`: what the running thread does meanwhile is one step.
    void SetAtomic(bool isAtomic) { isAtomic_ = isAtomic; }

    void Lock(void const* mutex, bool isRecursive, bool isOrdering = true);
    bool TryLock(void const* mutex, bool isRecursive);
    void Unlock(void const* mutex, bool isOrdering = true);
    /// Gives up `mutex` until the condition is signalled.
    void Wait(void const* condition, void const* mutex, bool isOrdering);
    void Signal(void const* condition, bool isForAll);

    /// What a thread waits on for its turn.
    using Turn = std::atomic<std::uint32_t>;

    ThreadId AddThread();
    Turn& TurnOf(ThreadId thread) { return *turns_[thread]; }
    /// The calling thread, a new one, becomes `thread`; returns when it may go on. `turn` is what `TurnOf`
    /// gave in the run that has made it.
    static void BeginThread(ThreadId thread, Turn& turn);
    void EndThread();
    void Join(ThreadId thread);
    /// An atomic was read or written, with these orders.
    void Acquire(void const* atomic);
    void Release(void const* atomic, bool doesReplace);
    /// A relaxed store takes away what was released.
    void Forget(void const* atomic);
    /// The running thread has read `value`; when it does nothing else any more it waits for a change.
    void Loaded(void const* atomic, std::uint64_t value);
    void Stored(void const* atomic);

    void Read(void const* field, void const* place);
    void Write(void const* field, void const* place);

private:
    enum class State_t { Ready, Blocked, Ended };

    struct Thread {
        State_t state = State_t::Ended;
        void const* waitsFor = nullptr;
        /// The order in which waits on a condition began.
        std::uint64_t ticket = 0;
        Clock clock;
        void const* lastLoaded = nullptr;
        std::uint64_t lastValue = 0;
        std::uint32_t loads = 0;
    };

    struct Object {
        static constexpr ThreadId NoOwner = MaxThreads;
        ThreadId owner = NoOwner;
        std::uint32_t depth = 0;
        Clock clock;
    };

    Scheduler();

    static void* RunRoot(void* scheduler);
    void StartRoot();
    Thread& Running() { return threads_[running_]; }
    std::uint32_t ReadyMask() const;
    void Block(void const* object);
    void Wake(void const* object);
    void MakeReady(Thread& thread);
    /// Hands on to the thread that is to go on. `isForced` when the running one cannot.
    void HandOn(bool isForced);
    ThreadId Decide(std::uint32_t ready, bool isForced);
    ThreadId DecideByPriority(std::uint32_t ready) const;
    void LowerPriority();
    void SwitchTo(ThreadId next);
    static void GiveTurn(Turn& turn);
    static void TakeTurn(Turn& turn);
    [[noreturn]] void Abandon(std::string const& finding);
    void CountStep();
    void Tick() { ++Running().clock.known[running_]; }
    std::string DescribeThreads() const;

    std::array<Thread, MaxThreads> threads_;
    std::array<Turn*, MaxThreads> turns_{};
    /// With those left to the threads of runs that were abandoned, which wait on them for ever.
    std::deque<Turn> allTurns_;
    ThreadId running_ = 0;
    ThreadId threadCount_ = 0;
    bool isExploring_ = false;
    bool isAtomic_ = false;
    std::uint64_t lastTicket_ = 0;
    AddressTable<Object, std::size_t{1} << 14U> objects_;
    Accesses accesses_;

    Schedule schedule_;
    std::size_t nextDecision_ = 0;
    std::size_t nextChange_ = 0;
    /// Of a schedule of priorities: the higher goes first.
    std::array<int, MaxThreads> priorities_{};
    int lowestPriority_ = 0;
    Run run_;

    std::function<void()> const* body_ = nullptr;
    bool hasRoot_ = false;
    sem_t hasBody_;
    sem_t isOver_;
};

} // namespace Schedules
