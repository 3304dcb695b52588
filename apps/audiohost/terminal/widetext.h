#pragma once

#include <string>

namespace AudioHost {

/// `text` (of the system, ended by 0) in UTF-8.
std::string ToUtf8(wchar_t const* text);

} // namespace AudioHost
