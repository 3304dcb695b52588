#include "terminal/widetext.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

namespace AudioHost {

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

} // namespace AudioHost
