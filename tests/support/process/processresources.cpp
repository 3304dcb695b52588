#include "support/process/processresources.h"

#include <windows.h>
// After windows.h, on which it builds.
#include <tlhelp32.h>

namespace TestSupport {

namespace {

/// Handles are multiples of four, given out from the bottom; this process has some hundred. Each is asked
/// after, because Wine does not tell their number.
constexpr std::uintptr_t HandleStep = 4;
constexpr std::uintptr_t HandleLimit = 0x8000;

} // namespace

std::uint32_t CountHandles() {
    std::uint32_t count = 0;
    for (std::uintptr_t value = HandleStep; value < HandleLimit; value += HandleStep) {
        DWORD flags = 0;
        count += GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) != 0 ? 1 : 0;
    }
    return count;
}

std::uint32_t CountHandlesOf(void* process) {
    std::uint32_t count = 0;
    for (std::uintptr_t value = HandleStep; value < HandleLimit; value += HandleStep) {
        HANDLE copy = nullptr;
        if (DuplicateHandle(process, reinterpret_cast<HANDLE>(value), GetCurrentProcess(), &copy, 0, FALSE,
                            DUPLICATE_SAME_ACCESS) != 0) {
            ++count;
            CloseHandle(copy);
        }
    }
    return count;
}

std::uint32_t CountThreads() {
    HANDLE const snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    std::uint32_t count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more != 0; more = Thread32Next(snapshot, &entry)) {
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    }
    CloseHandle(snapshot);
    return count;
}

} // namespace TestSupport
