#include "terminal/console.h"

// windows.h must come before shellapi.h.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <cstdio>

#include "terminal/hosterror.h"
#include "terminal/surroundings.h"
#include "terminal/widetext.h"

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

HANDLE GetHandle(Stream_t stream) {
    return GetStdHandle(stream == Stream_t::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
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

void SetUpConsole() {
    SetConsoleOutputCP(CP_UTF8);
    // Sound may come in there.
    _setmode(_fileno(stdin), _O_BINARY);
}

bool IsTerminal(Stream_t stream) {
    DWORD mode = 0;
    return GetConsoleMode(GetHandle(stream), &mode) != 0;
}

std::size_t CountColumns(Stream_t stream) {
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    bool const isTold = GetConsoleScreenBufferInfo(GetHandle(stream), &info) != 0;
    int const columns = info.srWindow.Right - info.srWindow.Left + 1;
    return isTold && columns > 0 ? static_cast<std::size_t>(columns) : UsualColumns;
}

void StopOnInterrupt(StopSignal& stop) {
    interrupted = &stop;
    SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

} // namespace AudioHost
