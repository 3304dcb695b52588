#pragma once

#include <string>

#include "record/capturelog.h"

namespace AudioHost {

/// The report of a take as one self-contained HTML page: summary, pictures, table.
std::string FormatReport(CaptureLog const& log);

} // namespace AudioHost
