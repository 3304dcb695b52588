#include "logqueue.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

#include "kovra/thread.h"

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif

namespace Kovra {

namespace {

constexpr char const* LossChannel = "Kovra.Log";

/// After a batch the thread rests so long, whatever is pushed: who logs with every frame, each 20 ms, need
/// not wake it.
constexpr std::chrono::milliseconds GatherMilliSec{50};
/// After so long without a record nothing is held back any more.
constexpr std::chrono::seconds QuietSec{10};

thread_local bool isLogThread = false;
static_assert(std::is_trivially_destructible_v<decltype(isLogThread)>);

#ifdef _WIN32

/// The system has stopped all other threads, wherever they were: there is nobody to wait for, and a lock may
/// never come free.
bool IsProcessEnding() {
    // Not in the headers.
    using IsEnding = BOOLEAN(WINAPI*)();
    static IsEnding const isEnding = [] {
        FARPROC const address = ::GetProcAddress(::GetModuleHandleA("ntdll.dll"), "RtlDllShutdownInProgress");
        return reinterpret_cast<IsEnding>(reinterpret_cast<void*>(address));
    }();
    return isEnding && isEnding();
}

/// Keeps this library loaded to the end of the process: nobody joins its thread.
void KeepLoaded() {
    HMODULE self = nullptr;
    ::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, LossChannel,
                         &self);
}

#else

bool IsProcessEnding() {
    return false;
}

void KeepLoaded() {}

#endif

} // namespace

bool LogQueue::IsOwnThread() {
    return isLogThread;
}

void LogQueue::Push(LogRecord&& record, bool isComplete) noexcept {
    if (IsProcessEnding()) {
        return;
    }
    bool wakes = false;
    {
        std::lock_guard<std::mutex> const guard(lock_);
        ++pushedCount_;
        // Memory for all of them was taken before the thread started.
        if (isComplete && waiting_.size() < MaxWaitingLogRecords) {
            waiting_.push_back(std::move(record));
        } else {
            loss_ = {loss_.count + 1, record.time, record.wallTime};
            ++lostCount_;
        }
        wakes = std::exchange(isAsleep_, false);
    }
    if (wakes) {
        wake_.notify_one();
    }
}

std::uint64_t LogQueue::CountLost() const {
    std::lock_guard<std::mutex> const guard(lock_);
    return lostCount_;
}

void LogQueue::Execute(std::function<void()> call) {
    if (isLogThread) {
        call();
        return;
    }
    if (IsProcessEnding()) {
        return;
    }
    std::packaged_task<void()> command(std::move(call));
    std::future<void> done = command.get_future();
    std::lock_guard<std::mutex> const turn(commandLock_);
    {
        std::lock_guard<std::mutex> const guard(lock_);
        Start();
        command_ = std::move(command);
    }
    wake_.notify_one();
    done.get();
}

void LogQueue::Flush() {
    std::uint64_t pushedCount = 0;
    {
        std::lock_guard<std::mutex> const guard(lock_);
        pushedCount = pushedCount_;
        if (isLogThread || flushedCount_ == pushedCount) {
            return;
        }
    }
    Execute([this] { consumer_.Flush(); });
    std::lock_guard<std::mutex> const guard(lock_);
    flushedCount_ = std::max(flushedCount_, pushedCount);
}

void LogQueue::Start() {
    if (hasThread_) {
        return;
    }
    std::vector<LogRecord> batch;
    batch.reserve(MaxWaitingLogRecords);
    waiting_.reserve(MaxWaitingLogRecords);
    KeepLoaded();
    std::thread([this, batch = std::move(batch)]() mutable { Run(std::move(batch)); }).detach();
    hasThread_ = true;
}

void LogQueue::Run(std::vector<LogRecord> batch) {
    SetThreadName("Kovra.Log");
    isLogThread = true;
    std::unique_lock<std::mutex> guard(lock_);
    for (;;) {
        bool const isQuiet = !AwaitWork(guard);
        batch.swap(waiting_);
        Loss const loss = std::exchange(loss_, {});
        std::packaged_task<void()> command = std::move(command_);
        guard.unlock();

        for (LogRecord const& record : batch) {
            consumer_.Take(record);
        }
        batch.clear();
        // They were lost while the queue was full of the others.
        if (loss.count != 0) {
            TakeLoss(loss);
        }
        if (command.valid()) {
            command();
        }
        if (isQuiet) {
            consumer_.Flush();
        } else {
            consumer_.Pause();
        }
        guard.lock();
    }
}

/// False when nothing has come for a long time.
bool LogQueue::AwaitWork(std::unique_lock<std::mutex>& guard) {
    wake_.wait_for(guard, GatherMilliSec, [this] { return command_.valid(); });
    auto const hasWork = [this] { return !waiting_.empty() || loss_.count != 0 || command_.valid(); };
    isAsleep_ = true;
    wake_.wait_for(guard, QuietSec, hasWork);
    isAsleep_ = false;
    return hasWork();
}

void LogQueue::TakeLoss(Loss const& loss) noexcept {
    try {
        LogRecord record;
        record.channel = LossChannel;
        record.level = LogLevel_t::Warning;
        record.message = std::to_string(loss.count) + (loss.count == 1 ? " record" : " records") +
                         " lost, for want of time or memory";
        record.time = loss.time;
        record.wallTime = loss.wallTime;
        record.threadName = GetThreadName();
        consumer_.Take(record);
    } catch (std::bad_alloc const&) {
        // The count that the log manager tells has them still.
    }
}

} // namespace Kovra
