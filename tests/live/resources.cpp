// resources NAME: handles, threads and bytes of its own that the process with this name has, for the long
// cases.

#include <windows.h>
// After windows.h, on which they build.
#include <psapi.h>
#include <tlhelp32.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "support/process/processresources.h"

namespace {

struct Resources {
    std::uint32_t handles = 0;
    unsigned long threads = 0;
    unsigned long long bytes = 0;
};

bool AddProcess(PROCESSENTRY32 const& entry, Resources& sum) {
    HANDLE const process = OpenProcess(PROCESS_ALL_ACCESS, FALSE, entry.th32ProcessID);
    PROCESS_MEMORY_COUNTERS memory = {};
    memory.cb = sizeof memory;
    bool const isTold = process != nullptr && GetProcessMemoryInfo(process, &memory, sizeof memory) != 0;
    if (isTold) {
        sum.handles += TestSupport::CountHandlesOf(process);
        sum.threads += entry.cntThreads;
        sum.bytes += memory.WorkingSetSize;
    }
    if (process != nullptr) {
        CloseHandle(process);
    }
    return isTold;
}

} // namespace

int main(int count, char* words[]) {
    HANDLE const snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    Resources sum;
    bool isFound = false;
    for (BOOL more = Process32First(snapshot, &entry); count == 2 && more != 0;
         more = Process32Next(snapshot, &entry)) {
        if (std::strcmp(entry.szExeFile, words[1]) == 0) {
            isFound = AddProcess(entry, sum) || isFound;
        }
    }
    CloseHandle(snapshot);
    if (!isFound) {
        std::fputs("resources: there is no such process, or it does not tell\n", stderr);
        return 1;
    }
    std::printf("%u %lu %llu\n", sum.handles, sum.threads, sum.bytes);
    return 0;
}
