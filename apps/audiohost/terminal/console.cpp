#include "terminal/console.h"

// windows.h must come before shellapi.h.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <shellapi.h>

#include "terminal/hosterror.h"

namespace AudioHost {

namespace {

StopSignal* interrupted = nullptr;

/// Windows runs it on a thread of its own. Found by trying under Wine 8: a SIGINT sent to the Unix process
/// (`kill -INT`, or Ctrl-C in its terminal) arrives here as CTRL_C_EVENT, so the program ends cleanly with
/// 130; SIGTERM and SIGHUP never reach the program, they end the process at once, without summary and report.
BOOL WINAPI OnConsoleEvent(DWORD event) {
    if (!interrupted->Request()) {
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(ExitCode_t::Interrupted));
    }
    if (event == CTRL_CLOSE_EVENT || event == CTRL_LOGOFF_EVENT || event == CTRL_SHUTDOWN_EVENT) {
        // The process ends when this returns, in five seconds at the latest: time for the summary and the
        // report.
        Sleep(INFINITE);
    }
    return TRUE;
}

std::string ToUtf8(wchar_t const* text) {
    int const size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 1) {
        return "";
    }
    std::string converted(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, converted.data(), size, nullptr, nullptr);
    converted.pop_back(); // the terminating zero
    return converted;
}

} // namespace

std::vector<std::string> GetArguments() {
    int count = 0;
    LPWSTR* const wide = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int i = 1; wide && i < count; ++i) {
        arguments.push_back(ToUtf8(wide[i]));
    }
    LocalFree(wide);
    return arguments;
}

bool SetUpConsole() {
    SetConsoleOutputCP(CP_UTF8);
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != 0;
}

void StopOnInterrupt(StopSignal& stop) {
    interrupted = &stop;
    SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

} // namespace AudioHost
