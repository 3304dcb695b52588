#pragma once

#include <string>

#include "kovra/time.h"

namespace AudioHost {

/// "2026-01-02 03:04:05 UTC"; with another `format` (strftime's) as that says. One thread at a time.
std::string FormatUtc(Kovra::SysTime time, char const* format = "%Y-%m-%d %H:%M:%S UTC");

std::string Base64(std::string const& bytes);

} // namespace AudioHost
