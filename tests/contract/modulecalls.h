#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "loadedmodule.h"

namespace ContractTest {

/// What the loaded library asks of the kernel, and of the host for its playback thread: seen on the way
/// through the library's import table. The calls reach the kernel; of two things the test has the say:
///
/// - Each playback thread is held when it names itself, until `LetThreadStart`: one that is quicker than its
///   opener would end at once.
/// - A wait with a timeout ends by its events, or by `LetWaitTimeOut`, never by the passing of real time.
///
/// It fails the running test when it ends while an event of the library's is still open.
///
/// **Threads:** all operations from any thread. One object at a time, made before anything of the library's
/// and ended after it, but before the library is unloaded.
class ModuleCalls {
public:
    explicit ModuleCalls(LoadedModule const& module);
    ~ModuleCalls();
    ModuleCalls(ModuleCalls const&) = delete;
    ModuleCalls& operator=(ModuleCalls const&) = delete;

    /// Events that the library has made so far. A lock that is contended for the first time makes one too.
    std::size_t CreatedEvents() const;
    /// Those of them that are not closed.
    std::size_t OpenEvents() const;
    /// True when the library has closed an event of this handle.
    bool HasClosed(void* event) const;

    /// Lets one playback thread that names itself go on, now or later.
    void LetThreadStart();
    /// What the playback threads did before their first waits: "SetThreadPriority(6)" and the like.
    std::vector<std::string> ThreadTexts() const;

    /// Returns when the playback thread waits for `handles` events for `timeoutMilliSec`.
    void AwaitWait(std::uint32_t handles, std::uint32_t timeoutMilliSec) const;
    /// Ends one wait by its timeout, after those that events end, and returns when the thread waits again.
    void LetWaitTimeOut();

private:
    struct Import {
        void* module;
        char const* library;
        char const* name;
        void* original;
    };

    static void* __stdcall CreateEventHook(void* security, int isManual, int isSignalled, char const* name);
    static int __stdcall CloseHandleHook(void* handle);
    static unsigned long __stdcall WaitHook(unsigned long count, void* const* handles, int forAll,
                                            unsigned long timeoutMilliSec);
    static void NameHook(char const* name);
    static void PriorityHook(int priority);

    template <class Function>
    void Redirect(void* module, char const* library, char const* name, Function* hook);
    unsigned long Wait(unsigned long count, void* const* handles, unsigned long timeoutMilliSec);
    /// Waits in real time until `isDone`; throws after a while, with `what` in the message.
    void WaitUntil(std::unique_lock<std::mutex>& lock, std::function<bool()> const& isDone,
                   char const* what) const;

    static ModuleCalls* current_;

    std::vector<Import> imports_;
    void* const timeoutEvent_;

    mutable std::mutex lock_;
    mutable std::condition_variable changed_;
    // --- guarded by lock_
    std::set<void*> events_;
    std::set<void*> closedEvents_;
    std::size_t createdEvents_ = 0;
    /// Threads that may still go on.
    int startLeaves_ = 0;
    std::vector<std::string> threadTexts_;
    bool isWaiting_ = false;
    std::uint32_t waitHandles_ = 0;
    std::uint32_t waitTimeoutMilliSec_ = 0;
    std::uint64_t waitsBegun_ = 0;
    /// Number of the latest wait that its timeout ended.
    std::uint64_t timedOutWait_ = 0;
};

} // namespace ContractTest
