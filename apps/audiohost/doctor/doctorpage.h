#pragma once

#include <string>

#include "doctor/checkup.h"
#include "report/soundwords.h"

namespace AudioHost {

/// Whether the machine's sound is well, and if not what ails it first.
Verdict Judge(CheckupLog const& log);

/// One page of text to send along, with the verdict on top.
std::string FormatPage(CheckupLog const& log);

} // namespace AudioHost
