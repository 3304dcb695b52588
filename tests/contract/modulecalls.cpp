#include "modulecalls.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <boost/thread/thread.hpp>
#include <chrono>
#include <stdexcept>

#include "image.h"
#include "kovra/thread.h"
#include "names.h"

namespace ContractTest {

namespace {

constexpr char const* Kernel = "KERNEL32.dll";

/// Real time after which something that the library's threads should have done is taken for never done.
constexpr std::chrono::seconds WatchdogSec{30};

/// The library that a function is in, whatever it is called.
void* LibraryOf(void* function) {
    HMODULE library = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       static_cast<char const*>(function), &library);
    return library;
}

} // namespace

ModuleCalls* ModuleCalls::current_ = nullptr;

ModuleCalls::ModuleCalls(LoadedModule const& module)
    : timeoutEvent_(CreateEventA(nullptr, FALSE, FALSE, nullptr)) {
    current_ = this;
    Redirect(module.GetHandle(), Kernel, "CreateEventA", &CreateEventHook);
    Redirect(module.GetHandle(), Kernel, "CloseHandle", &CloseHandleHook);
    Redirect(module.GetHandle(), Kernel, "WaitForMultipleObjects", &WaitHook);
    Redirect(module.GetHandle(), Names::Base, Names::SetThreadName, &NameHook);
    Redirect(module.GetHandle(), Names::Base, Names::SetThreadPriority, &PriorityHook);
    // A thread has an event too, which the library makes and this one closes.
    Redirect(LibraryOf(reinterpret_cast<void*>(&boost::thread::hardware_concurrency)), Kernel, "CloseHandle",
             &CloseHandleHook);
}

ModuleCalls::~ModuleCalls() {
    for (Import const& import : imports_) {
        ReplaceImport(import.module, import.library, import.name, import.original);
    }
    current_ = nullptr;
    CloseHandle(timeoutEvent_);
    EXPECT_EQ(OpenEvents(), 0U) << "events of the library's are not closed";
}

template <class Function>
void ModuleCalls::Redirect(void* module, char const* library, char const* name, Function* hook) {
    void* const original = ReplaceImport(module, library, name, reinterpret_cast<void*>(hook));
    imports_.push_back({module, library, name, original});
}

std::size_t ModuleCalls::CreatedEvents() const {
    std::lock_guard<std::mutex> const guard(lock_);
    return createdEvents_;
}

std::size_t ModuleCalls::OpenEvents() const {
    std::lock_guard<std::mutex> const guard(lock_);
    return events_.size();
}

bool ModuleCalls::HasClosed(void* event) const {
    std::lock_guard<std::mutex> const guard(lock_);
    return closedEvents_.count(event) != 0;
}

void ModuleCalls::LetThreadStart() {
    std::lock_guard<std::mutex> const guard(lock_);
    ++startLeaves_;
    changed_.notify_all();
}

std::vector<std::string> ModuleCalls::ThreadTexts() const {
    std::lock_guard<std::mutex> const guard(lock_);
    return threadTexts_;
}

void ModuleCalls::AwaitWait(std::uint32_t handles, std::uint32_t timeoutMilliSec) const {
    std::unique_lock<std::mutex> lock(lock_);
    WaitUntil(
        lock,
        [&] { return isWaiting_ && waitHandles_ == handles && waitTimeoutMilliSec_ == timeoutMilliSec; },
        "wait as expected");
}

void ModuleCalls::LetWaitTimeOut() {
    std::unique_lock<std::mutex> lock(lock_);
    std::uint64_t const begun = waitsBegun_;
    SetEvent(timeoutEvent_);
    WaitUntil(
        lock, [&] { return timedOutWait_ >= begun && waitsBegun_ > timedOutWait_; },
        "wait again after a timeout");
}

void ModuleCalls::WaitUntil(std::unique_lock<std::mutex>& lock, std::function<bool()> const& isDone,
                            char const* what) const {
    if (!changed_.wait_for(lock, WatchdogSec, isDone)) {
        throw std::runtime_error(std::string("the playback thread does not ") + what);
    }
}

// --- the hooks, on the library's threads

void* __stdcall ModuleCalls::CreateEventHook(void* security, int isManual, int isSignalled,
                                             char const* name) {
    HANDLE const event =
        CreateEventA(static_cast<SECURITY_ATTRIBUTES*>(security), isManual, isSignalled, name);
    std::lock_guard<std::mutex> const guard(current_->lock_);
    current_->events_.insert(event);
    ++current_->createdEvents_;
    return event;
}

int __stdcall ModuleCalls::CloseHandleHook(void* handle) {
    {
        // Forgotten first: a closed handle's value may be given out again at once.
        std::lock_guard<std::mutex> const guard(current_->lock_);
        if (current_->events_.erase(handle) != 0) {
            current_->closedEvents_.insert(handle);
        }
    }
    return CloseHandle(handle);
}

unsigned long __stdcall ModuleCalls::WaitHook(unsigned long count, void* const* handles, int forAll,
                                              unsigned long timeoutMilliSec) {
    EXPECT_FALSE(forAll) << "the library waits for all of its events at once";
    return current_->Wait(count, handles, timeoutMilliSec);
}

unsigned long ModuleCalls::Wait(unsigned long count, void* const* handles, unsigned long timeoutMilliSec) {
    std::vector<HANDLE> all(handles, handles + count);
    if (timeoutMilliSec != INFINITE) {
        // The last one: it counts only when no other is signalled.
        all.push_back(timeoutEvent_);
    }
    {
        std::lock_guard<std::mutex> const guard(lock_);
        isWaiting_ = true;
        waitHandles_ = static_cast<std::uint32_t>(count);
        waitTimeoutMilliSec_ = static_cast<std::uint32_t>(timeoutMilliSec);
        ++waitsBegun_;
        changed_.notify_all();
    }
    DWORD const result = WaitForMultipleObjects(static_cast<DWORD>(all.size()), all.data(), FALSE, INFINITE);
    std::lock_guard<std::mutex> const guard(lock_);
    isWaiting_ = false;
    if (result != WAIT_OBJECT_0 + count) {
        return result;
    }
    timedOutWait_ = waitsBegun_;
    return WAIT_TIMEOUT;
}

void ModuleCalls::NameHook(char const* name) {
    Kovra::SetThreadName(name);
    if (std::string(name) != "Media.RendererAudio.Playback") {
        return;
    }
    std::unique_lock<std::mutex> lock(current_->lock_);
    current_->threadTexts_.push_back(std::string("SetThreadName(") + name + ")");
    current_->WaitUntil(
        lock, [calls = current_] { return calls->startLeaves_ > 0; }, "get leave to start");
    --current_->startLeaves_;
}

void ModuleCalls::PriorityHook(int priority) {
    Kovra::SetThreadPriority(static_cast<Kovra::ThreadPriority_t>(priority));
    std::lock_guard<std::mutex> const guard(current_->lock_);
    current_->threadTexts_.push_back("SetThreadPriority(" + std::to_string(priority) + ")");
}

} // namespace ContractTest
