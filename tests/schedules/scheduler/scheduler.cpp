#include "scheduler.h"

#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <type_traits>
#include <utility>

#include "realcalls.h"

namespace Schedules {

namespace {

/// Many times what any scenario needs.
constexpr std::uint32_t StepLimit = 20000;

/// So many equal reads of one atomic, with nothing else between them, are a wait for its change.
constexpr std::uint32_t SpinLoads = 4;

constexpr ThreadId NotManaged = UINT32_MAX;
thread_local ThreadId self = NotManaged;
static_assert(std::is_trivially_destructible_v<decltype(self)>);

} // namespace

Scheduler& Scheduler::Get() {
    static auto* const scheduler = new Scheduler;
    return *scheduler;
}

Scheduler::Scheduler() {
    sem_init(&hasBody_, 0, 0);
    sem_init(&isOver_, 0, 0);
}

bool Scheduler::IsManaged() {
    return self != NotManaged;
}

// --- a run

Run Scheduler::Execute(Schedule const& schedule, std::function<void()> const& body) {
    objects_.Clear();
    accesses_.Clear();
    threadCount_ = 0;
    for (Thread& thread : threads_) {
        thread.state = State_t::Ended;
    }
    isExploring_ = false;
    isAtomic_ = false;
    schedule_ = schedule;
    nextDecision_ = 0;
    nextChange_ = 0;
    lowestPriority_ = 0;
    priorities_.fill(-INT_MAX);
    for (std::size_t i = 0; i < schedule.order.size(); ++i) {
        priorities_.at(schedule.order[i]) = static_cast<int>(schedule.order.size() - i);
    }
    // Kept as large as they were.
    std::vector<Choice> choices = std::move(run_.choices);
    choices.clear();
    run_ = Run();
    run_.choices = std::move(choices);

    if (!std::exchange(hasRoot_, true)) {
        for (Turn*& turn : turns_) {
            turn = &allTurns_.emplace_back(0U);
        }
        StartRoot();
    }
    body_ = &body;
    running_ = AddThread();
    sem_post(&hasBody_);
    while (sem_wait(&isOver_) != 0) {
    }
    return run_;
}

void Scheduler::StartRoot() {
    pthread_t root;
    RealCreate(&root, nullptr, RunRoot, this);
    pthread_detach(root);
}

void* Scheduler::RunRoot(void* scheduler) {
    auto& that = *static_cast<Scheduler*>(scheduler);
    for (;;) {
        while (sem_wait(&that.hasBody_) != 0) {
        }
        self = 0;
        (*that.body_)();
        that.Settle();
        if (that.ReadyMask() != 1U || std::any_of(that.threads_.begin() + 1, that.threads_.end(),
                                                  [](auto& t) { return t.state == State_t::Blocked; })) {
            that.Abandon("the body has ended, and not all threads: " + that.DescribeThreads());
        }
        self = NotManaged;
        sem_post(&that.isOver_);
    }
}

void Scheduler::Abandon(std::string const& finding) {
    Report(finding);
    // This thread and all others stay where they are, the one that runs bodies among them.
    hasRoot_ = false;
    sem_post(&isOver_);
    for (;;) {
        pause();
    }
}

void Scheduler::Report(std::string const& finding) {
    if (run_.finding.empty()) {
        run_.finding = finding;
    }
}

std::string Scheduler::DescribeThreads() const {
    std::string text;
    for (ThreadId thread = 0; thread < threadCount_; ++thread) {
        char const* const state = threads_[thread].state == State_t::Ended     ? "ended"
                                  : threads_[thread].state == State_t::Blocked ? "blocked"
                                                                               : "ready";
        text += (thread == 0 ? "" : ", ") + std::to_string(thread) + " " + state;
    }
    return text;
}

// --- points and choices

void Scheduler::Point() {
    if (!isExploring_ || isAtomic_) {
        return;
    }
    CountStep();
    HandOn(false);
}

void Scheduler::CountStep() {
    run_.trace = (run_.trace ^ (running_ + 1U)) * 0x100000001B3U;
    run_.threads |= 1U << running_;
    if (++run_.steps > StepLimit) {
        Abandon("it does not end: " + DescribeThreads());
    }
    if (nextChange_ < schedule_.changes.size() && schedule_.changes[nextChange_] == run_.steps) {
        ++nextChange_;
        LowerPriority();
    }
}

void Scheduler::LowerPriority() {
    priorities_[running_] = --lowestPriority_;
}

std::uint32_t Scheduler::ReadyMask() const {
    std::uint32_t mask = 0;
    for (ThreadId thread = 0; thread < threadCount_; ++thread) {
        mask |= static_cast<std::uint32_t>(threads_[thread].state == State_t::Ready) << thread;
    }
    return mask;
}

void Scheduler::HandOn(bool isForced) {
    std::uint32_t ready = ReadyMask();
    if (ready == 0) {
        // Whoever waits for the others to settle goes on; else nobody ever will.
        Wake(this);
        ready = ReadyMask();
        if (ready == 0) {
            Abandon("no thread can go on: " + DescribeThreads());
        }
    }
    SwitchTo(Decide(ready, isForced));
}

ThreadId Scheduler::Decide(std::uint32_t ready, bool isForced) {
    auto const first = static_cast<ThreadId>(__builtin_ctz(ready));
    ThreadId const byDefault = isForced ? first : running_;
    bool const isOnly = (ready & (ready - 1)) == 0;
    if (!isExploring_ || isOnly) {
        return isOnly ? first : byDefault;
    }
    if (!schedule_.order.empty()) {
        return DecideByPriority(ready);
    }
    ThreadId chosen = byDefault;
    if (nextDecision_ < schedule_.decisions.size() &&
        schedule_.decisions[nextDecision_].choice == run_.choices.size()) {
        chosen = schedule_.decisions[nextDecision_++].thread;
        if ((ready >> chosen & 1U) == 0) {
            Abandon(
                "the schedule names a thread that cannot go on: the run is not the one that it was made for");
        }
    }
    run_.choices.push_back({chosen, ready, isForced});
    return chosen;
}

ThreadId Scheduler::DecideByPriority(std::uint32_t ready) const {
    ThreadId best = NotManaged;
    for (ThreadId thread = 0; thread < threadCount_; ++thread) {
        bool const isReady = (ready >> thread & 1U) != 0;
        if (isReady && (best == NotManaged || priorities_[thread] > priorities_[best])) {
            best = thread;
        }
    }
    return best;
}

void Scheduler::SwitchTo(ThreadId next) {
    if (next == running_) {
        return;
    }
    bool const goesOn = Running().state != State_t::Ended;
    // In a run that is abandoned another one begins meanwhile.
    Turn& mine = *turns_[running_];
    running_ = next;
    GiveTurn(*turns_[next]);
    if (goesOn) {
        TakeTurn(mine);
    }
}

void Scheduler::GiveTurn(Turn& turn) {
    turn.store(1, std::memory_order_release);
    syscall(SYS_futex, &turn, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

void Scheduler::TakeTurn(Turn& turn) {
    while (turn.exchange(0, std::memory_order_acquire) == 0) {
        syscall(SYS_futex, &turn, FUTEX_WAIT_PRIVATE, 0, nullptr, nullptr, 0);
    }
}

// --- blocking

void Scheduler::Block(void const* object) {
    Thread& mine = Running();
    mine.state = State_t::Blocked;
    mine.waitsFor = object;
    mine.ticket = ++lastTicket_;
    HandOn(true);
}

void Scheduler::MakeReady(Thread& thread) {
    thread.state = State_t::Ready;
    thread.waitsFor = nullptr;
}

void Scheduler::Wake(void const* object) {
    for (Thread& thread : threads_) {
        if (thread.state == State_t::Blocked && thread.waitsFor == object) {
            MakeReady(thread);
        }
    }
}

void Scheduler::Settle() {
    if (ReadyMask() != 1U << running_) {
        Block(this);
    }
}

void Scheduler::Lock(void const* mutex, bool isRecursive, bool isOrdering) {
    Object& object = objects_[mutex];
    while (object.owner != Object::NoOwner && !(isRecursive && object.owner == running_)) {
        Block(mutex);
    }
    object.owner = running_;
    ++object.depth;
    Running().loads = 0;
    if (isOrdering) {
        Running().clock.Join(object.clock);
    }
}

bool Scheduler::TryLock(void const* mutex, bool isRecursive) {
    Object const& object = objects_[mutex];
    if (object.owner != Object::NoOwner && !(isRecursive && object.owner == running_)) {
        return false;
    }
    Lock(mutex, isRecursive);
    return true;
}

void Scheduler::Unlock(void const* mutex, bool isOrdering) {
    Object& object = objects_[mutex];
    if (object.owner != running_) {
        Report("a mutex is unlocked that the thread does not hold");
        return;
    }
    if (isOrdering) {
        object.clock.Join(Running().clock);
        Tick();
    }
    if (--object.depth == 0) {
        object.owner = Object::NoOwner;
        Wake(mutex);
    }
}

void Scheduler::Wait(void const* condition, void const* mutex, bool isOrdering) {
    Unlock(mutex, isOrdering);
    Block(condition);
    Lock(mutex, false, isOrdering);
}

void Scheduler::Signal(void const* condition, bool isForAll) {
    Thread* first = nullptr;
    for (Thread& thread : threads_) {
        if (thread.state != State_t::Blocked || thread.waitsFor != condition) {
            continue;
        }
        if (isForAll) {
            thread.clock.Join(Running().clock);
            MakeReady(thread);
        } else if (first == nullptr || thread.ticket < first->ticket) {
            first = &thread;
        }
    }
    if (first != nullptr) {
        first->clock.Join(Running().clock);
        MakeReady(*first);
    }
    Tick();
}

// --- threads

ThreadId Scheduler::AddThread() {
    ThreadId const added = threadCount_++;
    Thread& thread = threads_.at(added);
    thread.state = State_t::Ready;
    thread.waitsFor = nullptr;
    thread.loads = 0;
    thread.clock = Clock();
    if (added != 0) {
        thread.clock.Join(Running().clock);
        Tick();
        // A new thread may get the stack of one that has ended.
        for (ThreadId other = 0; other < added; ++other) {
            if (threads_[other].state == State_t::Ended) {
                thread.clock.Join(threads_[other].clock);
            }
        }
    }
    thread.clock.known[added] = 1;
    return added;
}

void Scheduler::BeginThread(ThreadId thread, Turn& turn) {
    self = thread;
    TakeTurn(turn);
}

void Scheduler::EndThread() {
    Thread& mine = Running();
    mine.state = State_t::Ended;
    // Others may join it from here on.
    Wake(&mine);
    self = NotManaged;
    HandOn(true);
}

void Scheduler::Join(ThreadId thread) {
    while (threads_[thread].state != State_t::Ended) {
        Block(&threads_[thread]);
    }
    Running().clock.Join(threads_[thread].clock);
}

// --- memory

void Scheduler::Acquire(void const* atomic) {
    Running().clock.Join(objects_[atomic].clock);
}

void Scheduler::Release(void const* atomic, bool doesReplace) {
    Clock& clock = objects_[atomic].clock;
    if (doesReplace) {
        clock = Running().clock;
    } else {
        clock.Join(Running().clock);
    }
    Tick();
}

void Scheduler::Forget(void const* atomic) {
    objects_[atomic].clock = Clock();
}

void Scheduler::Loaded(void const* atomic, std::uint64_t value) {
    Thread& mine = Running();
    if (mine.loads == 0 || mine.lastLoaded != atomic || mine.lastValue != value) {
        mine.lastLoaded = atomic;
        mine.lastValue = value;
        mine.loads = 0;
    }
    if (++mine.loads >= SpinLoads) {
        mine.loads = 0;
        Block(atomic);
    }
}

void Scheduler::Stored(void const* atomic) {
    Running().loads = 0;
    Wake(atomic);
}

void Scheduler::Read(void const* field, void const* place) {
    std::string const race = accesses_.Read(field, running_, Running().clock, place);
    if (!race.empty()) {
        Report(race);
    }
}

void Scheduler::Write(void const* field, void const* place) {
    std::string const race = accesses_.Write(field, running_, Running().clock, place);
    if (!race.empty()) {
        Report(race);
    }
}

} // namespace Schedules
