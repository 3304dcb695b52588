#include "kovra/thread.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <pthread.h>
#endif

namespace Kovra {

namespace {

// Plain data without a destructor: it can be read as long as the thread runs, also while the runtime takes
// the thread's other data down.
thread_local char threadName[MaxThreadNameBytes + 1] = "";
thread_local ThreadPriority_t threadPriority = ThreadPriority_t::Normal;
static_assert(std::is_trivially_destructible_v<decltype(threadName)>);
static_assert(std::is_trivially_destructible_v<decltype(threadPriority)>);

std::size_t CopyCut(char const* from, char* to, std::size_t maxBytes) {
    std::size_t const length = std::min(std::strlen(from), maxBytes);
    std::memcpy(to, from, length);
    to[length] = '\0';
    return length;
}

#ifdef _WIN32

int ToSystemPriority(ThreadPriority_t priority) {
    switch (priority) {
        case ThreadPriority_t::Idle:
            return THREAD_PRIORITY_IDLE;
        case ThreadPriority_t::Lowest:
            return THREAD_PRIORITY_LOWEST;
        case ThreadPriority_t::BelowNormal:
            return THREAD_PRIORITY_BELOW_NORMAL;
        case ThreadPriority_t::Normal:
            return THREAD_PRIORITY_NORMAL;
        case ThreadPriority_t::AboveNormal:
            return THREAD_PRIORITY_ABOVE_NORMAL;
        case ThreadPriority_t::Highest:
            return THREAD_PRIORITY_HIGHEST;
        case ThreadPriority_t::TimeCritical:
            return THREAD_PRIORITY_TIME_CRITICAL;
    }
    return THREAD_PRIORITY_NORMAL;
}

void TellSystemPriority(ThreadPriority_t priority) {
    ::SetThreadPriority(::GetCurrentThread(), ToSystemPriority(priority));
}

void TellSystemName(char const* name) {
    // Not there before Windows 10, version 1607, so it cannot be linked against.
    using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    static SetDescription const setDescription = [] {
        HMODULE const kernel = ::GetModuleHandleA("kernel32.dll");
        FARPROC const address = kernel ? ::GetProcAddress(kernel, "SetThreadDescription") : nullptr;
        return reinterpret_cast<SetDescription>(reinterpret_cast<void*>(address));
    }();
    if (!setDescription) {
        return;
    }
    wchar_t wide[MaxThreadNameBytes + 1];
    if (::MultiByteToWideChar(CP_UTF8, 0, name, -1, wide, static_cast<int>(MaxThreadNameBytes + 1)) > 0) {
        setDescription(::GetCurrentThread(), wide);
    }
}

#else

// An ordinary user may only lower the class of a single thread, never raise it again, so the class is only
// remembered.
void TellSystemPriority(ThreadPriority_t) {}

void TellSystemName(char const* name) {
    constexpr std::size_t MaxSystemNameBytes = 15;
    char cut[MaxSystemNameBytes + 1];
    CopyCut(name, cut, MaxSystemNameBytes);
    pthread_setname_np(pthread_self(), cut);
}

#endif

} // namespace

void SetThreadPriority(ThreadPriority_t priority) {
    threadPriority = priority;
    TellSystemPriority(priority);
}

ThreadPriority_t GetThreadPriority() {
    return threadPriority;
}

void SetThreadName(char const* name) {
    CopyCut(name ? name : "", threadName, MaxThreadNameBytes);
    TellSystemName(threadName);
}

char const* GetThreadName() {
    return threadName;
}

} // namespace Kovra
