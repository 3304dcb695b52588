#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <mutex>
#include <vector>

#include "kovra/log.h"

namespace Kovra {

/// Where records wait for the log's thread, and that thread. Not the asynchronous sink of Boost.Log: that one
/// cannot tell what its queue drops, makes several objects of its own on the thread that pushes, and knows no
/// observers.
///
/// **Threads:** all operations from any thread.
/// **Ownership:** one in a process, never destroyed: nobody could join its thread under the loader lock.
class LogQueue {
public:
    /// What the log's thread does. Nothing here may throw.
    class Consumer {
    public:
        virtual ~Consumer() = default;
        virtual void Take(LogRecord const& record) noexcept = 0;
        /// No record is left for now.
        virtual void Pause() noexcept = 0;
        /// Nothing that was taken may be held back any more.
        virtual void Flush() noexcept = 0;
    };

    explicit LogQueue(Consumer& consumer) : consumer_(consumer) {}

    /// True on the log's thread, which must not wait for itself.
    static bool IsOwnThread();

    /// Of a record that is not complete, for want of memory, only the times are needed: it counts as lost.
    void Push(LogRecord&& record, bool isComplete) noexcept;
    std::uint64_t CountLost() const;

    /// Runs `call` on the log's thread behind all that was pushed before, and returns when it has run; throws
    /// what `call` throws. Starts the thread. Runs it at once when called on that thread, and not at all when
    /// the process is ending.
    void Execute(std::function<void()> call);

    /// Returns when all that was pushed before has been taken and flushed; at once on the log's thread.
    void Flush();

private:
    /// Of records lost since the last record that was not.
    struct Loss {
        std::uint64_t count = 0;
        JiffyTime time;
        SysTime wallTime;
    };

    void Start();
    void Run(std::vector<LogRecord> batch);
    bool AwaitWork(std::unique_lock<std::mutex>& guard);
    void TakeLoss(Loss const& loss) noexcept;

    // --- immutable
    Consumer& consumer_;

    /// Held by the one whose command waits or runs.
    std::mutex commandLock_;

    mutable std::mutex lock_;
    /// There is work for a thread that is asleep, or a command.
    std::condition_variable wake_;

    // --- guarded by lock
    bool hasThread_ = false;
    bool isAsleep_ = false;
    std::vector<LogRecord> waiting_;
    std::packaged_task<void()> command_;
    Loss loss_;
    std::uint64_t lostCount_ = 0;
    /// Records pushed, lost ones included, and how many of them were at the last flush.
    std::uint64_t pushedCount_ = 0;
    std::uint64_t flushedCount_ = 0;
};

} // namespace Kovra
