#include "run/processfigures.h"

#include <windows.h>
// After windows.h, on which they build.
#include <psapi.h>
#include <tlhelp32.h>

#include <memory>

#include "support/process/processresources.h"

namespace Soak {

namespace {

constexpr double FileTimePerSec = 1e7;

struct HandleCloser {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using OwnedHandle = std::unique_ptr<void, HandleCloser>;

double ToSeconds(FILETIME const& time) {
    ULARGE_INTEGER value = {};
    value.LowPart = time.dwLowDateTime;
    value.HighPart = time.dwHighDateTime;
    return static_cast<double>(value.QuadPart) / FileTimePerSec;
}

std::string NameOf(HANDLE thread) {
    // Not there before Windows 10, version 1607, so it cannot be linked against.
    using GetDescription = HRESULT(WINAPI*)(HANDLE, PWSTR*);
    static auto const getDescription = reinterpret_cast<GetDescription>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernel32.dll"), "GetThreadDescription")));
    PWSTR wide = nullptr;
    if (getDescription == nullptr || FAILED(getDescription(thread, &wide)) || wide == nullptr) {
        return {};
    }
    std::string name;
    for (PCWSTR letter = wide; *letter != 0; ++letter) {
        name += *letter < 128 ? static_cast<char>(*letter) : '?';
    }
    LocalFree(wide);
    return name;
}

std::map<std::string, double> ReadThreads() {
    std::map<std::string, double> cpuSeconds;
    OwnedHandle const snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Thread32First(snapshot.get(), &entry); more != 0;
         more = Thread32Next(snapshot.get(), &entry)) {
        if (entry.th32OwnerProcessID != GetCurrentProcessId()) {
            continue;
        }
        OwnedHandle const thread(OpenThread(THREAD_QUERY_INFORMATION, FALSE, entry.th32ThreadID));
        FILETIME created = {};
        FILETIME ended = {};
        FILETIME kernel = {};
        FILETIME user = {};
        if (thread && GetThreadTimes(thread.get(), &created, &ended, &kernel, &user) != 0) {
            cpuSeconds[NameOf(thread.get())] += ToSeconds(kernel) + ToSeconds(user);
        }
    }
    return cpuSeconds;
}

} // namespace

ProcessFigures ReadProcessFigures() {
    ProcessFigures figures;
    figures.handles = TestSupport::CountHandles();
    figures.threads = TestSupport::CountThreads();
    PROCESS_MEMORY_COUNTERS_EX memory = {};
    memory.cb = sizeof(memory);
    if (GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory),
                             sizeof(memory)) != 0) {
        figures.workingSetBytes = memory.WorkingSetSize;
        figures.privateBytes = memory.PrivateUsage;
    }
    FILETIME created = {};
    FILETIME ended = {};
    FILETIME kernel = {};
    FILETIME user = {};
    if (GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user) != 0) {
        figures.cpuSeconds = ToSeconds(kernel) + ToSeconds(user);
    }
    figures.cpuSecondsOfThreads = ReadThreads();
    return figures;
}

} // namespace Soak
