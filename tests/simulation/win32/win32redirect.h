#pragma once

// Force-included into every source that is built on the simulated platform for Windows: the Win32 calls that
// the simulation serves go to it, natively named ones stay the real ones for everybody else. The headers
// come first, so that Boost's own inline functions are compiled against the real calls.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#ifdef __cplusplus
#include <boost/bind/bind.hpp>
#include <boost/thread.hpp>

extern "C" {
#endif
HANDLE WINAPI SimulatedCreateEventA(LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCSTR);
BOOL WINAPI SimulatedSetEvent(HANDLE);
BOOL WINAPI SimulatedCloseHandle(HANDLE);
DWORD WINAPI SimulatedWaitForMultipleObjects(DWORD, HANDLE const*, BOOL, DWORD);
VOID WINAPI SimulatedSleep(DWORD);
HWND WINAPI SimulatedGetDesktopWindow(void);
#ifdef __cplusplus
}
#endif

#define CreateEventA SimulatedCreateEventA
#define SetEvent SimulatedSetEvent
#define CloseHandle SimulatedCloseHandle
#define WaitForMultipleObjects SimulatedWaitForMultipleObjects
#define Sleep SimulatedSleep
#define GetDesktopWindow SimulatedGetDesktopWindow
