// The Win32 calls that the module makes. Outside Windows these are the functions of those names; for Windows
// the redirecting header gives them names of their own.

#include <array>

#include "simulation/win32/invocation.h"
#include "simulation/world.h"

namespace {

using Simulation::Call_t;
using Simulation::EventObject;
using Simulation::Invocation;
using Simulation::World;

std::uint32_t NumberOf(World& world, HANDLE handle) {
    Simulation::PlatformLock const lock(Simulation::PlatformMutex());
    return world.Events().NumberOf(handle);
}

} // namespace

HANDLE WINAPI CreateEventA(LPSECURITY_ATTRIBUTES, BOOL isManualReset, BOOL isSignalled, LPCSTR name) {
    World& world = World::Current("CreateEventA");
    Invocation invocation(world, Call_t::Win32CreateEvent, 0, {isManualReset, isSignalled});
    if (invocation.Fault()) {
        return invocation.Return<HANDLE>(nullptr, 0, true);
    }
    if (name != nullptr) {
        world.ReportMisuse("CreateEventA: named events are not simulated");
    }
    HANDLE const handle = world.Events().Create(isManualReset != FALSE, isSignalled != FALSE);
    std::uint32_t const number = world.Events().NumberOf(handle);
    invocation.SetObject(number);
    return invocation.Return(handle, number, false);
}

BOOL WINAPI SetEvent(HANDLE handle) {
    World& world = World::Current("SetEvent");
    std::uint32_t const number = NumberOf(world, handle);
    Invocation invocation(world, Call_t::Win32SetEvent, number, {number});
    if (invocation.Fault()) {
        return invocation.Return(FALSE, FALSE, true);
    }
    EventObject* const event = world.Events().Find(handle);
    if (event == nullptr) {
        world.ReportMisuse("SetEvent on a handle that is not open");
        return invocation.Return(FALSE, FALSE, true);
    }
    // Before the waiting threads run, so that the journal keeps the order.
    invocation.Return(TRUE, TRUE, false);
    world.Threads().Signal(*event);
    return TRUE;
}

BOOL WINAPI CloseHandle(HANDLE handle) {
    World& world = World::Current("CloseHandle");
    std::uint32_t const number = NumberOf(world, handle);
    Invocation invocation(world, Call_t::Win32CloseHandle, number, {number});
    if (invocation.Fault()) {
        return invocation.Return(FALSE, FALSE, true);
    }
    if (!world.Events().Close(handle)) {
        world.ReportMisuse("CloseHandle on a handle that is not open");
        return invocation.Return(FALSE, FALSE, true);
    }
    BOOL const result = invocation.HasLateFault() ? FALSE : TRUE;
    return invocation.Return(result, result, result == FALSE);
}

DWORD WINAPI WaitForMultipleObjects(DWORD count, HANDLE const* handles, BOOL waitForAll,
                                    DWORD timeoutMilliSec) {
    World& world = World::Current("WaitForMultipleObjects");
    Invocation invocation(world, Call_t::Win32Wait, 0, {count, timeoutMilliSec});
    world.Threads().CountWaitCall();
    if (invocation.Fault()) {
        auto const result = static_cast<DWORD>(*invocation.Fault());
        return invocation.Return(result, result, result == WAIT_FAILED);
    }
    if (waitForAll != FALSE) {
        world.ReportMisuse("WaitForMultipleObjects: waiting for all is not simulated");
    }
    std::array<EventObject*, MAXIMUM_WAIT_OBJECTS> events{};
    bool isValid = count != 0 && count <= events.size() && handles != nullptr && waitForAll == FALSE;
    for (DWORD i = 0; isValid && i < count; ++i) {
        events[i] = world.Events().Find(handles[i]);
        isValid = events[i] != nullptr;
    }
    if (!isValid) {
        world.Threads().LetGo();
        return invocation.Return(WAIT_FAILED, WAIT_FAILED, true);
    }
    DWORD const result = world.Threads().Wait(invocation.Lock(), events.data(), count, timeoutMilliSec);
    return invocation.Return(result, result, false);
}

VOID WINAPI Sleep(DWORD milliSec) {
    World& world = World::Current("Sleep");
    Invocation invocation(world, Call_t::Win32Sleep, 0, {milliSec});
    world.Threads().Wait(invocation.Lock(), nullptr, 0, milliSec);
    invocation.Return(0, 0, false);
}

HWND WINAPI GetDesktopWindow(void) {
    World& world = World::Current("GetDesktopWindow");
    Invocation invocation(world, Call_t::Win32DesktopWindow, 0, {});
    HWND const window = invocation.Fault() ? nullptr : World::DesktopWindow();
    return invocation.Return(window, 0, window == nullptr);
}
