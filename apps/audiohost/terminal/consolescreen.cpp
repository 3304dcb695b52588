#include "terminal/consolescreen.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <algorithm>

namespace AudioHost {

namespace {

CONSOLE_SCREEN_BUFFER_INFO GetInfo() {
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    // What everybody has.
    info.srWindow = {0, 0, 79, 23};
    GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info);
    return info;
}

std::size_t CountFrom(SHORT first, SHORT last) {
    return static_cast<std::size_t>(std::max(last - first + 1, 1));
}

} // namespace

std::size_t ConsoleScreen::GetColumns() const {
    SMALL_RECT const window = GetInfo().srWindow;
    return CountFrom(window.Left, window.Right);
}

std::size_t ConsoleScreen::GetRows() const {
    SMALL_RECT const window = GetInfo().srWindow;
    return CountFrom(window.Top, window.Bottom);
}

// Not by escape sequences: Wine's console and older Windows show them as they are.
void ConsoleScreen::MoveUp(std::size_t lines) {
    int const row = GetInfo().dwCursorPosition.Y - static_cast<int>(lines);
    SetConsoleCursorPosition(GetStdHandle(STD_OUTPUT_HANDLE), {0, static_cast<SHORT>(std::max(row, 0))});
}

} // namespace AudioHost
