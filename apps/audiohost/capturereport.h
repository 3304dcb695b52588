#pragma once

#include <string>

#include "capturerecord.h"

namespace AudioHost {

/// The report of a recording as one self-contained HTML page: summary, pictures, table.
std::string FormatReport(CaptureRecord const& record);

} // namespace AudioHost
